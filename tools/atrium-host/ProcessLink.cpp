#include "ProcessLink.h"

#if !defined(_WIN32)

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <time.h>
#include <unistd.h>

#include <cstring>

namespace {

// A frame longer than this is taken for a broken stream.
constexpr std::size_t kMaxFrame = 64u << 20;

void SetNonBlocking(int fd) {
  if (fd < 0) return;
  const int flags = fcntl(fd, F_GETFL);
  if (flags >= 0) fcntl(fd, F_SETFL, flags | O_NONBLOCK);
}

void CloseFd(int& fd) {
  if (fd >= 0) close(fd);
  fd = -1;
}

}  // namespace

long long NowMs() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

ProcessLink::ProcessLink(int controlIn, int controlOut, int relayIn, int relayOut)
    : controlIn_(controlIn), controlOut_(controlOut), relayIn_(relayIn), relayOut_(relayOut) {
  SetNonBlocking(controlIn_);
  SetNonBlocking(controlOut_);
  SetNonBlocking(relayIn_);
  SetNonBlocking(relayOut_);
}

ProcessLink::~ProcessLink() {
  CloseFd(controlIn_);
  CloseFd(controlOut_);
  CloseFd(relayIn_);
  CloseFd(relayOut_);
}

void ProcessLink::CloseOutput() {
  CloseFd(controlOut_);
  CloseFd(relayOut_);
}

ProcessLink::Result ProcessLink::Fail(const std::string& what) {
  error_ = what + ": " + std::strerror(errno);
  return Result::Failed;
}

bool ProcessLink::ReadInto(int& fd, std::string& buffer, bool& closed) {
  char chunk[16384];
  for (;;) {
    const ssize_t n = read(fd, chunk, sizeof chunk);
    if (n > 0) {
      buffer.append(chunk, static_cast<std::size_t>(n));
      continue;
    }
    if (n == 0) {
      closed = true;
      return true;
    }
    if (errno == EINTR) continue;
    if (errno == EAGAIN || errno == EWOULDBLOCK) return true;
    return false;
  }
}

bool ProcessLink::WriteFrom(int& fd, std::string& buffer) {
  std::size_t done = 0;
  while (done < buffer.size()) {
    const ssize_t n = write(fd, buffer.data() + done, buffer.size() - done);
    if (n > 0) {
      done += static_cast<std::size_t>(n);
      continue;
    }
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) break;
    buffer.erase(0, done);
    return false;
  }
  buffer.erase(0, done);
  return true;
}

void ProcessLink::ParseFrames() {
  std::size_t at = 0;
  while (relayRead_.size() - at >= 4) {
    const auto* p = reinterpret_cast<const unsigned char*>(relayRead_.data() + at);
    const std::size_t length = (std::size_t(p[0]) << 24) | (std::size_t(p[1]) << 16) |
                               (std::size_t(p[2]) << 8) | std::size_t(p[3]);
    if (length > kMaxFrame) {  // not a frame: the stream is broken
      relayClosed_ = true;
      error_ = "a room message frame is too long";
      break;
    }
    if (relayRead_.size() - at - 4 < length) break;
    relayFrames_.push_back(relayRead_.substr(at + 4, length));
    at += 4 + length;
  }
  relayRead_.erase(0, at);
}

ProcessLink::Result ProcessLink::Pump(long long deadlineMs) {
  pollfd fds[4];
  int* owners[4];
  nfds_t count = 0;
  const auto add = [&](int& fd, short events) {
    fds[count] = pollfd{fd, events, 0};
    owners[count] = &fd;
    ++count;
  };
  if (controlIn_ >= 0 && !controlClosed_) add(controlIn_, POLLIN);
  if (relayIn_ >= 0 && !relayClosed_) add(relayIn_, POLLIN);
  if (controlOut_ >= 0 && !controlWrite_.empty()) add(controlOut_, POLLOUT);
  if (relayOut_ >= 0 && !relayWrite_.empty()) add(relayOut_, POLLOUT);
  if (count == 0) {
    error_ = "the other process has closed its channels";
    return Result::Closed;
  }
  int timeout = -1;
  if (deadlineMs >= 0) {
    const long long left = deadlineMs - NowMs();
    timeout = left <= 0 ? 0 : static_cast<int>(left);
  }
  const int ready = poll(fds, count, timeout);
  if (ready < 0) return errno == EINTR ? Result::Ok : Fail("poll");
  if (ready == 0) {
    error_ = "the other process did not answer in time";
    return Result::TimedOut;
  }
  for (nfds_t i = 0; i < count; ++i) {
    if (fds[i].revents == 0) continue;
    int& fd = *owners[i];
    if (&fd == &controlIn_) {
      if (!ReadInto(fd, controlRead_, controlClosed_)) return Fail("reading the control channel");
    } else if (&fd == &relayIn_) {
      if (!ReadInto(fd, relayRead_, relayClosed_)) return Fail("reading the relay");
      ParseFrames();
    } else if (&fd == &controlOut_) {
      if (!WriteFrom(fd, controlWrite_)) {
        Fail("writing the control channel");
        return Result::Closed;  // the reader is gone
      }
    } else if (!WriteFrom(fd, relayWrite_)) {
      Fail("writing the relay");
      return Result::Closed;
    }
  }
  return Result::Ok;
}

ProcessLink::Result ProcessLink::SendLine(const std::string& line, int timeoutMs) {
  if (controlOut_ < 0) return Result::Closed;
  const long long deadline = timeoutMs < 0 ? -1 : NowMs() + timeoutMs;
  controlWrite_ += line;
  controlWrite_ += '\n';
  while (!controlWrite_.empty()) {
    const Result r = Pump(deadline);
    if (r != Result::Ok) return r;
  }
  return Result::Ok;
}

ProcessLink::Result ProcessLink::ReadLine(std::string& line, int timeoutMs) {
  const long long deadline = timeoutMs < 0 ? -1 : NowMs() + timeoutMs;
  for (;;) {
    const auto end = controlRead_.find('\n');
    if (end != std::string::npos) {
      line.assign(controlRead_, 0, end);
      controlRead_.erase(0, end + 1);
      return Result::Ok;
    }
    if (controlClosed_) {
      error_ = "the other process has closed its control channel";
      return Result::Closed;
    }
    const Result r = Pump(deadline);
    if (r != Result::Ok) return r;
  }
}

void ProcessLink::QueueRelay(const std::string& text) noexcept {
  try {
    const std::size_t n = text.size();
    const char header[4] = {static_cast<char>((n >> 24) & 0xff), static_cast<char>((n >> 16) & 0xff),
                            static_cast<char>((n >> 8) & 0xff), static_cast<char>(n & 0xff)};
    relayWrite_.append(header, 4);
    relayWrite_ += text;
    ++queued_;
  } catch (const std::exception&) {
    queueFailed_ = true;
  }
}

ProcessLink::Result ProcessLink::FlushRelay(std::size_t& sent, int timeoutMs) {
  sent = queued_;
  queued_ = 0;
  if (queueFailed_) {
    queueFailed_ = false;
    error_ = "a room message could not be queued";
    return Result::Failed;
  }
  if (relayOut_ < 0) return relayWrite_.empty() ? Result::Ok : Result::Closed;
  const long long deadline = timeoutMs < 0 ? -1 : NowMs() + timeoutMs;
  while (!relayWrite_.empty()) {
    const Result r = Pump(deadline);
    if (r != Result::Ok) return r;
  }
  return Result::Ok;
}

ProcessLink::Result ProcessLink::TakeRelay(std::size_t count, std::deque<std::string>& out,
                                           int timeoutMs) {
  const long long deadline = timeoutMs < 0 ? -1 : NowMs() + timeoutMs;
  while (relayFrames_.size() < count) {
    if (relayClosed_) {
      if (error_.empty()) error_ = "the other process has closed the relay";
      return Result::Closed;
    }
    const Result r = Pump(deadline);
    if (r != Result::Ok) return r;
  }
  for (std::size_t i = 0; i < count; ++i) {
    out.push_back(std::move(relayFrames_.front()));
    relayFrames_.pop_front();
  }
  return Result::Ok;
}

#endif  // !_WIN32
