// What the client library reads from the responder: frames cut from the
// received bytes and their payloads decoded, every length checked against
// what is left. Kept apart from the connection handling so that tests and
// the fuzz target can feed it bytes directly.
#pragma once

#include <sys/socket.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace mdns_client {

// One decoded reply (ops kBrowseReply .. kRegisterReply). Texts by op:
// browse and register: a = name, b = type, c = domain; resolve: a = full
// name, b = host target; address: a = host name.
struct Reply {
  uint8_t op = 0;
  uint32_t id = 0;
  uint32_t flags = 0;
  uint32_t interfaceIndex = 0;
  int32_t error = 0;
  std::string a, b, c;
  uint16_t port = 0;           // resolve: host byte order
  std::vector<uint8_t> bytes;  // resolve: TXT record; address: 4 or 16 bytes (or none on error)
  uint32_t family = 0;         // address: 4 or 6
  uint32_t ttl = 0;            // address
};

// Receives the status frames found by CutFrames.
class StatusSink {
 public:
  virtual void OnStatus(uint32_t id, int32_t error) = 0;

 protected:
  ~StatusSink() = default;
};

// Takes every complete frame from the front of `buffer`: status frames go to
// `sink`, replies are appended to `replies`; an incomplete frame stays in the
// buffer. False when a frame does not parse (wrong header, an op the
// responder does not send, a field running past its frame, bytes left over):
// the connection must end then.
bool CutFrames(std::vector<uint8_t>& buffer, StatusSink& sink, std::deque<Reply>& replies);

// Decodes one reply payload; false when it does not parse.
bool DecodeReply(uint8_t op, uint32_t id, const uint8_t* payload, std::size_t size, Reply& out);

// The socket address of an address reply: sockaddr_in, or sockaddr_in6 with
// the interface as scope of a link-local address. False without an address.
bool ReplyAddress(const Reply& reply, sockaddr_storage& out);

}  // namespace mdns_client
