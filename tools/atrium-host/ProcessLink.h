// One process's end of the split host's channels to the other process:
//
//   control  lines of JSON text: the parent's commands to the meeting process
//            and that process's printed lines and answers. This is the test
//            harness's own path; nothing of the plug-in travels on it.
//   relay    the room messages that the plug-in's two halves send each
//            other, each framed as a 4-byte big-endian length and the text.
//
// All four descriptors are non-blocking. Every wait polls all of them, so
// that a peer blocked writing one channel is always drained: neither process
// can wait on the other while the other waits on it.
#pragma once

#if !defined(_WIN32)

#include <cstddef>
#include <deque>
#include <string>

class ProcessLink {
 public:
  enum class Result { Ok, Closed, TimedOut, Failed };

  // Takes the descriptors over; the destructor closes them.
  ProcessLink(int controlIn, int controlOut, int relayIn, int relayOut);
  ~ProcessLink();
  ProcessLink(const ProcessLink&) = delete;
  ProcessLink& operator=(const ProcessLink&) = delete;

  // Writes one control line (without its newline). `timeoutMs` < 0: no limit.
  Result SendLine(const std::string& line, int timeoutMs);
  // Waits for the next control line.
  Result ReadLine(std::string& line, int timeoutMs);

  // Queues a room message for the other process; written by FlushRelay.
  // Only appends to memory, so it is safe inside the plug-in's calls.
  void QueueRelay(const std::string& text) noexcept;
  // Writes every queued room message; returns how many were queued since
  // the last call in `sent`.
  Result FlushRelay(std::size_t& sent, int timeoutMs);
  // Waits until `count` room messages from the other process have arrived
  // and moves them, oldest first, to `out`.
  Result TakeRelay(std::size_t count, std::deque<std::string>& out, int timeoutMs);

  // Closes both writing ends: the other process reads the end of both channels.
  void CloseOutput();

  const std::string& LastError() const { return error_; }

 private:
  // One poll over every open descriptor: reads what is there, writes what
  // is queued. TimedOut when nothing happened before `deadlineMs`.
  Result Pump(long long deadlineMs);
  bool ReadInto(int& fd, std::string& buffer, bool& closed);
  bool WriteFrom(int& fd, std::string& buffer);
  void ParseFrames();
  Result Fail(const std::string& what);

  int controlIn_, controlOut_, relayIn_, relayOut_;
  bool controlClosed_ = false, relayClosed_ = false;
  std::string controlRead_, controlWrite_;
  std::string relayRead_, relayWrite_;
  std::deque<std::string> relayFrames_;
  std::size_t queued_ = 0;
  bool queueFailed_ = false;
  std::string error_;
};

// Milliseconds of a monotonic clock.
long long NowMs();

#endif  // !_WIN32
