// Arbitrary bytes from a client of the own responder. A responder core serves
// on a thread of this process, inside a network namespace of the process's
// own that holds nothing but a loopback (the responder sends multicast; the
// fuzzer exits at once when it cannot make that namespace). Each input goes
// over a fresh connection:
//
//   byte 0   how the rest is sent: bits 0-5 a chunk size (0: all at once),
//            bit 6 the chunk size in units of 16 bytes, bit 7 close after
//            the replies go quiet instead of half-closing and reading until
//            the responder closes
//   rest     the bytes the client writes
//
// Each chunk is read by the responder before the next goes out, so frames
// reach it cut at every place. Every whole frame that comes back must be a
// well-formed responder frame, and afterwards a new connection must still get
// its hello answered.
//
// MDNS_REQUEST_SEEDS=DIR writes the seed corpus (fuzz/corpus/mdns_request)
// into DIR and exits.
#include <linux/sockios.h>
#include <net/if.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "mdns/mdns_wire.h"
#include "responder.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Clock = std::chrono::steady_clock;

mdns_responder::Responder g_responder;
std::thread* g_thread = nullptr;
std::string g_folder;
std::string g_socket;

[[noreturn]] void Fatal(const char* what) {
  std::fprintf(stderr, "mdns_request_fuzzer: check failed: %s\n", what);
  std::abort();
}

// ---- the private network

// Brings up the namespace's loopback with multicast; the problem when that
// fails or the namespace holds any other interface.
std::string LoopbackOnly() {
  const int s = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (s < 0) return "socket: " + std::string(std::strerror(errno));
  ifreq req{};
  std::strcpy(req.ifr_name, "lo");
  bool ok = ioctl(s, SIOCGIFFLAGS, &req) == 0;
  if (ok) {
    req.ifr_flags |= IFF_UP | IFF_MULTICAST;
    ok = ioctl(s, SIOCSIFFLAGS, &req) == 0;
  }
  const int error = errno;
  close(s);
  if (!ok) return "bringing up lo: " + std::string(std::strerror(error));
  struct if_nameindex* names = if_nameindex();
  if (!names) return "cannot list the interfaces";
  std::string problem;
  for (struct if_nameindex* n = names; n->if_index != 0; ++n)
    if (std::strcmp(n->if_name, "lo") != 0) problem = std::string("interface ") + n->if_name;
  if_freenameindex(names);
  return problem;
}

// ---- a client connection

int Connect() {
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  std::strncpy(addr.sun_path, g_socket.c_str(), sizeof addr.sun_path - 1);
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd >= 0 && connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0) return fd;
  if (fd >= 0) close(fd);
  return -1;
}

// What the responder sent; whole frames are checked as they complete.
struct Replies {
  Bytes in;
  bool closed = false;
  std::vector<std::pair<uint32_t, int32_t>> statuses;

  // Reads what is there, waiting at most `millis` for the first bytes.
  // False when nothing came.
  bool Read(int fd, int millis) {
    pollfd p{fd, POLLIN, 0};
    if (closed || poll(&p, 1, millis) <= 0) return false;
    uint8_t chunk[16 * 1024];
    const ssize_t n = recv(fd, chunk, sizeof chunk, MSG_DONTWAIT);
    if (n <= 0) {
      closed = n == 0 || (errno != EAGAIN && errno != EINTR);
      return closed;
    }
    in.insert(in.end(), chunk, chunk + n);
    Check();
    return true;
  }

  void Check() {
    std::size_t used = 0;
    while (in.size() - used >= mdns_wire::kHeaderSize) {
      mdns_wire::Header h;
      if (!mdns_wire::ParseHeader(in.data() + used, in.size() - used, h))
        Fatal("the responder sent a frame header that does not parse");
      if (h.op < mdns_wire::kStatus) Fatal("the responder sent a request");
      if (in.size() - used < mdns_wire::kHeaderSize + h.length) break;
      mdns_wire::Reader r(in.data() + used + mdns_wire::kHeaderSize, h.length);
      uint32_t v = 0;
      std::string s;
      Bytes b;
      bool ok = false;
      switch (h.op) {
        case mdns_wire::kStatus:
          ok = r.Int(v) && r.AtEnd();
          statuses.emplace_back(h.id, static_cast<int32_t>(v));
          break;
        case mdns_wire::kBrowseReply:
        case mdns_wire::kRegisterReply:
          ok = r.Int(v) && r.Int(v) && r.Int(v) && r.Text(s) && r.Text(s) && r.Text(s) &&
               r.AtEnd();
          break;
        case mdns_wire::kResolveReply:
          ok = r.Int(v) && r.Int(v) && r.Int(v) && r.Text(s) && r.Text(s) && r.Int(v) &&
               v <= 0xFFFF && r.Blob(b) && r.AtEnd();
          break;
        case mdns_wire::kAddrReply: {
          uint32_t error = 0, family = 0;
          ok = r.Int(v) && r.Int(v) && r.Int(error) && r.Text(s) && r.Int(family) && r.Blob(b) &&
               r.Int(v) && r.AtEnd() &&
               ((family == 4 && b.size() == 4) || (family == 6 && b.size() == 16) ||
                (error != 0 && b.empty()));
          break;
        }
        default:
          break;
      }
      if (!ok) Fatal("the responder sent a reply whose fields do not parse");
      used += mdns_wire::kHeaderSize + h.length;
    }
    in.erase(in.begin(), in.begin() + static_cast<std::ptrdiff_t>(used));
  }
};

// Bytes the peer has not read yet.
int Unread(int fd) {
  int queued = 0;
  return ioctl(fd, SIOCOUTQ, &queued) == 0 ? queued : 0;
}

// Writes all of data in chunks of `chunk` bytes, each read by the responder
// before the next goes out; replies are taken meanwhile. False when the
// responder ended the connection first.
bool SendChunked(int fd, const uint8_t* data, std::size_t size, std::size_t chunk,
                 Replies& replies) {
  std::size_t done = 0;
  while (done < size) {
    const std::size_t part = std::min(chunk, size - done);
    std::size_t sent = 0;
    while (sent < part) {
      pollfd p{fd, POLLOUT | POLLIN, 0};
      if (poll(&p, 1, 1000) <= 0) return false;
      if (p.revents & POLLIN) replies.Read(fd, 0);
      if (!(p.revents & POLLOUT)) {
        if (p.revents & (POLLERR | POLLHUP)) return false;
        continue;
      }
      const ssize_t n =
          send(fd, data + done + sent, part - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
      if (n < 0 && (errno == EAGAIN || errno == EINTR)) continue;
      if (n <= 0) return false;
      sent += static_cast<std::size_t>(n);
    }
    done += part;
    // Until the responder took this chunk: yielding to it first, then in
    // steps of a millisecond up to 200 ms (a responder that no longer reads
    // this connection).
    for (int i = 0; i < 1200 && Unread(fd) > 0; ++i) {
      replies.Read(fd, i < 1000 ? 0 : 1);
      sched_yield();
    }
  }
  return true;
}

// A new connection gets its hello answered, and the responder lets it go.
void CheckAlive() {
  const int fd = Connect();
  if (fd < 0) Fatal("the responder takes no more connections");
  const Bytes hello = mdns_wire::Writer(mdns_wire::kHello, 0).Int(mdns_wire::kVersion).Finish();
  if (send(fd, hello.data(), hello.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(hello.size()))
    Fatal("the responder takes no hello");
  Replies replies;
  const auto until = Clock::now() + std::chrono::seconds(10);
  while (replies.statuses.empty() && !replies.closed && Clock::now() < until) replies.Read(fd, 100);
  if (replies.statuses.size() != 1 || replies.statuses[0] != std::make_pair(0u, 0))
    Fatal("the responder no longer answers a hello");
  shutdown(fd, SHUT_WR);
  while (!replies.closed && Clock::now() < until) replies.Read(fd, 100);
  close(fd);
  if (!replies.closed) Fatal("the responder keeps a connection its client closed");
}

void StopResponder() {
  if (!g_thread) return;
  g_responder.Stop();
  g_thread->join();
  delete g_thread;
  g_thread = nullptr;
  rmdir(g_folder.c_str());
}

// ---- seeds

Bytes Cat(std::initializer_list<Bytes> frames, uint8_t mode = 0) {
  Bytes out{mode};
  for (const Bytes& f : frames) out.insert(out.end(), f.begin(), f.end());
  return out;
}

void WriteSeeds(const std::string& dir) {
  using W = mdns_wire::Writer;
  namespace w = mdns_wire;
  const std::string rooms = "_tesselrooms._tcp";
  const Bytes txt = {9, 'c', 'o', 'd', 'e', '=', '4', '3', '2', '1'};
  const Bytes bad_txt = {9, 'c', 'o', 'd', 'e'};
  auto hello = [](uint32_t version) { return W(w::kHello, 0).Int(version).Finish(); };
  auto browse = [&](uint32_t id) { return W(w::kBrowse, id).Int(0).Int(0).Text(rooms).Text("").Finish(); };
  auto resolve = [&](uint32_t id) {
    return W(w::kResolve, id).Int(0).Int(0).Text("Atlas").Text(rooms + ".").Text("local.").Finish();
  };
  auto address = [](uint32_t id, uint32_t protocol, const std::string& host) {
    return W(w::kGetAddrInfo, id).Int(0).Int(0).Int(protocol).Text(host).Finish();
  };
  auto reg = [&](uint32_t id, uint32_t flags, const std::string& host, uint32_t port,
                 const Bytes& record) {
    return W(w::kRegister, id).Int(flags).Int(0).Text("Atlas").Text(rooms).Text("").Text(host)
        .Int(port).Blob(record.data(), record.size()).Finish();
  };
  auto cancel = [](uint32_t id) { return W(w::kCancel, id).Finish(); };

  Bytes bad_magic = hello(1);
  bad_magic[0] ^= 0xFF;
  Bytes too_long = browse(1);
  too_long[4] = 0x7F;  // a payload length over the limit
  Bytes past_end = resolve(1);
  past_end[mdns_wire::kHeaderSize + 8] = 0xFF;  // the name's length runs past the frame
  Bytes truncated = hello(1);
  truncated.resize(7);
  const Bytes from_responder = W(w::kStatus, 1).Int(0).Finish();

  const std::pair<const char*, Bytes> seeds[] = {
      {"hello", Cat({hello(1)})},
      {"hello-other-version", Cat({hello(7), hello(1)})},
      {"browse", Cat({hello(1), browse(1)}, 0x80)},
      {"resolve", Cat({resolve(2)})},
      {"get-address", Cat({address(3, 0, "atlas.local."), address(4, 2, "host.local")})},
      {"register-txt", Cat({reg(5, 0, "", 7100, txt)})},
      {"register-host-no-rename", Cat({reg(5, 0x8, "room.local.", 65535, txt), reg(6, 0x8, "", 1, {})})},
      {"register-browse-resolve-cancel",
       Cat({hello(1), reg(1, 0, "", 7100, txt), browse(2), resolve(3), address(4, 1, "atlas.local"),
            cancel(2), cancel(1), cancel(3)}, 0x80)},
      {"chunked-1", Cat({hello(1), browse(1), cancel(1), reg(2, 0, "", 7100, txt)}, 1)},
      {"chunked-13", Cat({reg(2, 0, "", 7100, txt), resolve(3), cancel(3)}, 13)},
      {"chunked-48", Cat({browse(1), browse(1), address(2, 3, "atlas.local.")}, 0x43)},
      {"bad-params", Cat({reg(1, 0, "", 70000, txt), reg(2, 0, "", 1, bad_txt),
                          address(3, 9, "atlas.local"), address(4, 0, ".."),
                          W(w::kBrowse, 5).Int(0).Int(0x80000000u).Text(rooms).Text("").Finish(),
                          W(w::kBrowse, 6).Int(0).Int(0).Text("").Text("").Finish(), hello(1)})},
      {"resolve-name-not-utf8",
       Cat({W(w::kResolve, 7).Int(0).Int(0).Text("Atla\x8e").Text(rooms).Text("").Finish()})},
      {"bad-magic", Cat({hello(1), bad_magic})},
      {"payload-over-limit", Cat({browse(1), too_long})},
      {"field-past-end", Cat({past_end}, 0x05)},
      {"responder-frame", Cat({from_responder})},
      {"cancel-with-payload", Cat({browse(1), W(w::kCancel, 1).Int(0).Finish()})},
      {"truncated", Cat({truncated})},
  };
  for (const auto& seed : seeds) {
    std::ofstream out(dir + "/" + seed.first, std::ios::binary);
    out.write(reinterpret_cast<const char*>(seed.second.data()),
              static_cast<std::streamsize>(seed.second.size()));
    if (!out) Fatal("cannot write a seed");
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  if (const char* dir = std::getenv("MDNS_REQUEST_SEEDS")) {
    WriteSeeds(dir);
    std::exit(0);
  }
  std::string problem;
  if (unshare(CLONE_NEWNET) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0)
    problem = "unshare: " + std::string(std::strerror(errno));
  if (problem.empty()) problem = LoopbackOnly();
  if (!problem.empty()) {
    std::fprintf(stderr,
                 "mdns_request_fuzzer: no private network namespace (%s); the responder sends "
                 "multicast and runs only inside one: not fuzzing\n",
                 problem.c_str());
    std::exit(1);
  }

  const char* tmp = std::getenv("TMPDIR");
  std::string templ = std::string(tmp && *tmp ? tmp : "/tmp") + "/mdns-request-fuzz.XXXXXX";
  if (!mkdtemp(templ.data())) Fatal("mkdtemp");
  g_folder = templ;
  g_socket = g_folder + "/socket";
  setenv("TESSEL_MDNS_SOCKET", g_socket.c_str(), 1);
  setenv("TESSEL_MDNS_INTERFACES", "lo", 1);
  const mdns_responder::Options options = mdns_responder::Options::FromEnvironment();
  g_thread = new std::thread([options] { g_responder.Run(options); });
  std::atexit(StopResponder);
  for (int i = 0; i < 500; ++i) {
    const int fd = Connect();
    if (fd >= 0) {
      close(fd);
      CheckAlive();
      return 0;
    }
    pollfd none{-1, 0, 0};
    poll(&none, 0, 10);
  }
  Fatal("the responder did not start");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0 || size > 64 * 1024) return 0;
  const uint8_t mode = data[0];
  std::size_t chunk = mode & 0x3F;
  if (mode & 0x40) chunk *= 16;
  if (chunk == 0) chunk = size;
  const bool half_close = !(mode & 0x80);

  const int fd = Connect();
  if (fd < 0) Fatal("the responder takes no more connections");
  Replies replies;
  const bool sent = SendChunked(fd, data + 1, size - 1, chunk, replies);
  if (sent && half_close) {
    // The responder sees the end, answers what came before it and closes.
    shutdown(fd, SHUT_WR);
    const auto until = Clock::now() + std::chrono::seconds(5);
    while (!replies.closed && Clock::now() < until) replies.Read(fd, 50);
    if (!replies.closed) Fatal("the responder keeps a connection its client closed");
  } else {
    while (replies.Read(fd, 2)) {
    }
  }
  close(fd);
  CheckAlive();
  return 0;
}
