#include "test_client.h"

#include <fcntl.h>
#include <net/if.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace responder_test {

using Clock = std::chrono::steady_clock;

namespace {

std::string& Problem() {
  static std::string problem = "not set up";
  return problem;
}

bool LoopbackUp(std::string& problem) {
  const int s = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (s < 0) {
    problem = std::string("socket: ") + std::strerror(errno);
    return false;
  }
  ifreq req{};
  std::strcpy(req.ifr_name, "lo");
  bool ok = ioctl(s, SIOCGIFFLAGS, &req) == 0;
  if (ok) {
    req.ifr_flags |= IFF_UP | IFF_MULTICAST;
    ok = ioctl(s, SIOCSIFFLAGS, &req) == 0;
  }
  if (!ok) problem = std::string("bringing up lo: ") + std::strerror(errno);
  close(s);
  return ok;
}

// Only lo may exist: nothing sent here can leave the namespace.
bool OnlyLoopback(std::string& problem) {
  struct if_nameindex* names = if_nameindex();
  if (!names) {
    problem = "cannot list interfaces";
    return false;
  }
  bool only = true;
  for (struct if_nameindex* n = names; n->if_index != 0; ++n)
    if (std::strcmp(n->if_name, "lo") != 0) only = false;
  if_freenameindex(names);
  if (!only) problem = "interfaces other than lo in the namespace";
  return only;
}

}  // namespace

const std::string& PrivateNetworkProblem() { return Problem(); }

void EnterPrivateNetwork() {
  std::string problem;
  if (unshare(CLONE_NEWNET) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) {
    Problem() = std::string("unshare: ") + std::strerror(errno);
    return;
  }
  if (!LoopbackUp(problem) || !OnlyLoopback(problem)) {
    Problem() = problem;
    return;
  }
  Problem().clear();
}

std::optional<Fields> Parse(const Frame& frame, const char* layout) {
  mdns_wire::Reader r(frame.payload.data(), frame.payload.size());
  Fields f;
  for (const char* c = layout; *c; ++c) {
    bool ok = false;
    if (*c == 'i') {
      uint32_t v;
      ok = r.Int(v);
      f.ints.push_back(v);
    } else if (*c == 't') {
      std::string s;
      ok = r.Text(s);
      f.texts.push_back(s);
    } else if (*c == 'b') {
      std::vector<uint8_t> b;
      ok = r.Blob(b);
      f.blobs.push_back(b);
    }
    if (!ok) return std::nullopt;
  }
  if (!r.AtEnd()) return std::nullopt;
  return f;
}

Client::Client(const std::string& socket_path) {
  sockaddr_un addr{};
  unsigned length = 0;
  if (socket_path.empty()) {
    if (!mdns_wire::SocketAddress(&addr, &length)) return;
  } else {
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, socket_path.c_str(), sizeof addr.sun_path - 1);
    length = sizeof addr;
  }
  const auto until = Clock::now() + std::chrono::seconds(5);
  while (Clock::now() < until) {
    fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(fd_, reinterpret_cast<sockaddr*>(&addr), length) == 0) return;
    close(fd_);
    fd_ = -1;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

Client::~Client() {
  if (fd_ >= 0) close(fd_);
}

bool Client::SendRaw(const std::vector<uint8_t>& bytes) {
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t n = send(fd_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    sent += static_cast<std::size_t>(n);
  }
  return !bytes.empty();
}

std::optional<Frame> Client::Await(uint8_t op, uint32_t id, std::chrono::milliseconds within) {
  const auto until = Clock::now() + within;
  for (;;) {
    // Whole frames first into the kept ones, then the first that matches.
    mdns_wire::Header h;
    while (mdns_wire::ParseHeader(in_.data(), in_.size(), h) &&
           in_.size() >= mdns_wire::kHeaderSize + h.length) {
      const auto payload = in_.begin() + mdns_wire::kHeaderSize;
      early_.push_back(Frame{h.op, h.id, std::vector<uint8_t>(payload, payload + h.length)});
      in_.erase(in_.begin(), payload + h.length);
    }
    for (auto it = early_.begin(); it != early_.end(); ++it) {
      if (it->op == op && it->id == id) {
        Frame f = std::move(*it);
        early_.erase(it);
        return f;
      }
    }
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now());
    pollfd p{fd_, POLLIN, 0};
    if (left.count() <= 0 || poll(&p, 1, static_cast<int>(left.count())) <= 0) return std::nullopt;
    uint8_t chunk[8192];
    const ssize_t n = recv(fd_, chunk, sizeof chunk, 0);
    if (n <= 0) return std::nullopt;
    in_.insert(in_.end(), chunk, chunk + n);
  }
}

int32_t Client::Status(uint32_t id) {
  auto f = Await(mdns_wire::kStatus, id);
  if (!f) return INT32_MIN;
  auto fields = Parse(*f, "i");
  return fields ? static_cast<int32_t>(fields->ints[0]) : INT32_MIN;
}

bool Client::ClosedWithin(std::chrono::milliseconds within) {
  const auto until = Clock::now() + within;
  while (Clock::now() < until) {
    pollfd p{fd_, POLLIN, 0};
    if (poll(&p, 1, 50) <= 0) continue;
    uint8_t chunk[4096];
    const ssize_t n = recv(fd_, chunk, sizeof chunk, MSG_DONTWAIT);
    if (n == 0 || (n < 0 && errno == ECONNRESET)) return true;
  }
  return false;
}

int32_t Client::Request(mdns_wire::Writer& writer, uint32_t id) {
  return Send(writer) ? Status(id) : INT32_MIN;
}

int32_t Client::Hello(uint32_t id, uint32_t version) {
  mdns_wire::Writer w(mdns_wire::kHello, id);
  return Request(w.Int(version), id);
}

int32_t Client::Browse(uint32_t id, const std::string& type, const std::string& domain) {
  mdns_wire::Writer w(mdns_wire::kBrowse, id);
  return Request(w.Int(0).Int(0).Text(type).Text(domain), id);
}

int32_t Client::Resolve(uint32_t id, const std::string& name, const std::string& type,
                        const std::string& domain) {
  mdns_wire::Writer w(mdns_wire::kResolve, id);
  return Request(w.Int(0).Int(0).Text(name).Text(type).Text(domain), id);
}

int32_t Client::GetAddr(uint32_t id, uint32_t protocol, const std::string& host) {
  mdns_wire::Writer w(mdns_wire::kGetAddrInfo, id);
  return Request(w.Int(0).Int(0).Int(protocol).Text(host), id);
}

int32_t Client::Register(uint32_t id, const std::string& name, const std::string& type,
                         uint32_t port, const std::vector<uint8_t>& txt, uint32_t flags) {
  mdns_wire::Writer w(mdns_wire::kRegister, id);
  w.Int(flags).Int(0).Text(name).Text(type).Text("").Text("").Int(port);
  return Request(w.Blob(txt.data(), txt.size()), id);
}

void Client::Cancel(uint32_t id) {
  mdns_wire::Writer w(mdns_wire::kCancel, id);
  Send(w);
}

RunningResponder::RunningResponder(std::string socket_path, std::string interfaces)
    : path_(std::move(socket_path)) {
  mdns_responder::Options options;
  options.socket_path = path_;
  options.interfaces = std::move(interfaces);
  auto finished = std::make_shared<std::atomic<bool>>(false);
  thread_ = std::thread([this, options, finished] {
    served_ = responder_.Run(options);
    *finished = true;
  });
  // Serving once its socket answers.
  Eventually([&] {
    if (*finished) return true;
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, path_.c_str(), sizeof addr.sun_path - 1);
    const bool up = connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0;
    close(fd);
    return up;
  });
}

RunningResponder::~RunningResponder() { Stop(); }

std::chrono::milliseconds RunningResponder::Stop() {
  if (stopped_) return std::chrono::milliseconds(0);
  stopped_ = true;
  const auto start = Clock::now();
  responder_.Stop();
  thread_.join();
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
}

namespace {

// A private temporary folder, removed with whatever is left in it at exit.
struct TempFolder {
  TempFolder() {
    char templ[] = "/tmp/mdns-responder-test-XXXXXX";
    if (mkdtemp(templ)) path = templ;
  }
  ~TempFolder() {
    std::error_code ignored;
    if (!path.empty()) std::filesystem::remove_all(path, ignored);
  }
  std::string path;
};

}  // namespace

std::string TempSocket(const std::string& name) {
  static TempFolder folder;
  return (folder.path.empty() ? std::string("/tmp") : folder.path) + "/" + name;
}

bool Eventually(const std::function<bool()>& fn, std::chrono::milliseconds within) {
  const auto until = Clock::now() + within;
  for (;;) {
    if (fn()) return true;
    if (Clock::now() >= until) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

}  // namespace responder_test
