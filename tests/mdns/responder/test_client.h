// Test support: a client of the local protocol written on mdns_wire alone,
// responders on threads of their own, and the private network the tests
// that send multicast run in.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "mdns/mdns_wire.h"
#include "responder.h"

namespace responder_test {

// Set up by main before any thread starts: this process's own network
// namespace with only a multicast loopback. Empty when it is there.
const std::string& PrivateNetworkProblem();
void EnterPrivateNetwork();

#define REQUIRE_PRIVATE_NETWORK()                                              \
  do {                                                                         \
    if (!responder_test::PrivateNetworkProblem().empty())                      \
      GTEST_SKIP() << "no private network namespace for multicast tests: "     \
                   << responder_test::PrivateNetworkProblem();                 \
  } while (0)

struct Frame {
  uint8_t op = 0;
  uint32_t id = 0;
  std::vector<uint8_t> payload;
};

// Fields of a reply, in order.
struct Fields {
  std::vector<uint32_t> ints;
  std::vector<std::string> texts;
  std::vector<std::vector<uint8_t>> blobs;
};

// Reads a payload laid out as `layout`: 'i' int, 't' text, 'b' blob.
std::optional<Fields> Parse(const Frame& frame, const char* layout);

class Client {
 public:
  explicit Client(const std::string& socket_path);  // "" : this process's abstract socket
  ~Client();
  bool connected() const { return fd_ >= 0; }
  int fd() const { return fd_; }

  bool SendRaw(const std::vector<uint8_t>& bytes);
  bool Send(mdns_wire::Writer& writer) { return SendRaw(writer.Finish()); }
  // The next frame of op for id, keeping others for later; nothing on
  // timeout or a closed socket.
  std::optional<Frame> Await(uint8_t op, uint32_t id,
                             std::chrono::milliseconds within = std::chrono::seconds(10));
  // The status answering id; INT32_MIN when none came.
  int32_t Status(uint32_t id);
  // True when the responder closed the connection within the time.
  bool ClosedWithin(std::chrono::milliseconds within);

  // Requests; each returns the status of its id.
  int32_t Hello(uint32_t id, uint32_t version = mdns_wire::kVersion);
  int32_t Browse(uint32_t id, const std::string& type, const std::string& domain = "");
  int32_t Resolve(uint32_t id, const std::string& name, const std::string& type,
                  const std::string& domain = "local.");
  int32_t GetAddr(uint32_t id, uint32_t protocol, const std::string& host);
  int32_t Register(uint32_t id, const std::string& name, const std::string& type, uint32_t port,
                   const std::vector<uint8_t>& txt, uint32_t flags = 0);
  void Cancel(uint32_t id);

 private:
  int32_t Request(mdns_wire::Writer& writer, uint32_t id);

  int fd_ = -1;
  std::vector<uint8_t> in_;
  std::vector<Frame> early_;  // frames read while awaiting others
};

// A responder serving on its own thread until stopped or destroyed.
class RunningResponder {
 public:
  explicit RunningResponder(std::string socket_path, std::string interfaces = "lo");
  ~RunningResponder();
  const std::string& path() const { return path_; }
  // Stops it and reports how long Run took to return.
  std::chrono::milliseconds Stop();
  bool served() const { return served_; }

 private:
  std::string path_;
  mdns_responder::Responder responder_;
  std::thread thread_;
  bool served_ = false;
  bool stopped_ = false;
};

// A fresh socket path in a private temporary folder.
std::string TempSocket(const std::string& name);

// Waits until fn() is true; false after the time.
bool Eventually(const std::function<bool()>& fn,
                std::chrono::milliseconds within = std::chrono::seconds(10));

}  // namespace responder_test
