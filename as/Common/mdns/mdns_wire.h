// The local protocol between the own DNS-SD client library and the own
// responder: frames over a stream socket, each a fixed header and a payload
// of typed fields. Both sides check every length before they use it; a frame
// that does not parse ends the connection that sent it.
//
// Header (12 bytes, big-endian): magic 0x544D ("TM"), version (1), op,
// payload length (at most kMaxPayload), operation id.
// Fields: integers as 4 bytes big-endian; texts and blobs as a 2-byte
// big-endian length and that many bytes (texts are UTF-8 without NUL).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace mdns_wire {

constexpr uint16_t kMagic = 0x544D;
constexpr uint8_t kVersion = 1;
constexpr std::size_t kHeaderSize = 12;
constexpr uint32_t kMaxPayload = 16 * 1024;  // a TXT record of 8 KiB with room to spare
constexpr std::size_t kMaxText = 1009;       // a full domain name

// Client to responder.
enum Op : uint8_t {
  kHello = 1,        // version (int)                      answered by kStatus
  kBrowse = 2,       // flags, ifindex, type, domain       replies kBrowseReply
  kResolve = 3,      // flags, ifindex, name, type, domain replies kResolveReply
  kGetAddrInfo = 4,  // flags, ifindex, protocol, host     replies kAddrReply
  kRegister = 5,     // flags, ifindex, name, type, domain, host, port, txt (blob)
  kCancel = 6,       // (none): ends the operation with this id; no answer
  // Responder to client.
  kStatus = 64,         // error: the start of operation id (0) or why it failed
  kBrowseReply = 65,    // flags, ifindex, error, name, type, domain
  kResolveReply = 66,   // flags, ifindex, error, fullname, host, port, txt (blob)
  kAddrReply = 67,      // flags, ifindex, error, host, family (4|6), address (blob), ttl
  kRegisterReply = 68,  // flags, ifindex, error, name, type, domain
};

struct Header {
  uint8_t op = 0;
  uint32_t length = 0;
  uint32_t id = 0;
};

// Writes fields into one frame.
class Writer {
 public:
  Writer(uint8_t op, uint32_t id);
  Writer& Int(uint32_t v);
  // False (and the frame marked bad) when the text or blob is too long.
  Writer& Text(const std::string& s);
  Writer& Blob(const void* data, std::size_t size);
  // The whole frame; empty when a field did not fit.
  std::vector<uint8_t> Finish();

 private:
  std::vector<uint8_t> buf_;
  bool ok_ = true;
};

// Reads fields of one payload; every read checks what is left.
class Reader {
 public:
  Reader(const uint8_t* data, std::size_t size) : p_(data), end_(data + size) {}
  bool Int(uint32_t& v);
  bool Text(std::string& s);  // refuses texts with NUL or over kMaxText bytes
  bool Blob(std::vector<uint8_t>& b);
  bool AtEnd() const { return p_ == end_; }

 private:
  const uint8_t* p_;
  const uint8_t* end_;
};

// Checks a header: magic, version, a known op and a payload within bounds.
bool ParseHeader(const uint8_t* data, std::size_t size, Header& out);

// The responder's socket: the path in TESSEL_MDNS_SOCKET when set (a file
// path), otherwise the abstract name "tessel-mdns-<pid>" of this process.
// Fills `addr` (a sockaddr_un) and its length; false when the path is too long.
bool SocketAddress(void* addr, unsigned* length);

}  // namespace mdns_wire
