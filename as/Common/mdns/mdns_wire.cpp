#include "mdns/mdns_wire.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace mdns_wire {
namespace {

void Put16(std::vector<uint8_t>& b, uint16_t v) {
  b.push_back(static_cast<uint8_t>(v >> 8));
  b.push_back(static_cast<uint8_t>(v));
}

void Put32(std::vector<uint8_t>& b, uint32_t v) {
  for (int shift = 24; shift >= 0; shift -= 8) b.push_back(static_cast<uint8_t>(v >> shift));
}

uint32_t Get32(const uint8_t* p) {
  return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | p[3];
}

bool KnownOp(uint8_t op) {
  return (op >= kHello && op <= kCancel) || (op >= kStatus && op <= kRegisterReply);
}

}  // namespace

Writer::Writer(uint8_t op, uint32_t id) {
  buf_.reserve(64);
  Put16(buf_, kMagic);
  buf_.push_back(kVersion);
  buf_.push_back(op);
  Put32(buf_, 0);  // length, filled in by Finish
  Put32(buf_, id);
}

Writer& Writer::Int(uint32_t v) {
  Put32(buf_, v);
  return *this;
}

Writer& Writer::Text(const std::string& s) {
  if (s.size() > kMaxText || s.find('\0') != std::string::npos) {
    ok_ = false;
    return *this;
  }
  return Blob(s.data(), s.size());
}

Writer& Writer::Blob(const void* data, std::size_t size) {
  if (size > 0xFFFF || (size != 0 && !data)) {
    ok_ = false;
    return *this;
  }
  Put16(buf_, static_cast<uint16_t>(size));
  const auto* p = static_cast<const uint8_t*>(data);
  buf_.insert(buf_.end(), p, p + size);
  return *this;
}

std::vector<uint8_t> Writer::Finish() {
  const std::size_t payload = buf_.size() - kHeaderSize;
  if (!ok_ || payload > kMaxPayload) return {};
  for (int i = 0; i < 4; ++i) buf_[4 + i] = static_cast<uint8_t>(payload >> (24 - 8 * i));
  return std::move(buf_);
}

bool Reader::Int(uint32_t& v) {
  if (end_ - p_ < 4) return false;
  v = Get32(p_);
  p_ += 4;
  return true;
}

bool Reader::Blob(std::vector<uint8_t>& b) {
  if (end_ - p_ < 2) return false;
  const std::size_t size = (std::size_t(p_[0]) << 8) | p_[1];
  if (static_cast<std::size_t>(end_ - p_ - 2) < size) return false;
  b.assign(p_ + 2, p_ + 2 + size);
  p_ += 2 + size;
  return true;
}

bool Reader::Text(std::string& s) {
  if (end_ - p_ < 2) return false;
  const std::size_t size = (std::size_t(p_[0]) << 8) | p_[1];
  if (size > kMaxText || static_cast<std::size_t>(end_ - p_ - 2) < size) return false;
  const char* text = reinterpret_cast<const char*>(p_ + 2);
  if (std::memchr(text, '\0', size)) return false;
  s.assign(text, size);
  p_ += 2 + size;
  return true;
}

bool ParseHeader(const uint8_t* data, std::size_t size, Header& out) {
  if (!data || size < kHeaderSize) return false;
  if (((uint16_t(data[0]) << 8) | data[1]) != kMagic || data[2] != kVersion) return false;
  if (!KnownOp(data[3])) return false;
  const uint32_t length = Get32(data + 4);
  if (length > kMaxPayload) return false;
  out.op = data[3];
  out.length = length;
  out.id = Get32(data + 8);
  return true;
}

bool SocketAddress(void* addr, unsigned* length) {
  auto* un = static_cast<sockaddr_un*>(addr);
  std::memset(un, 0, sizeof(*un));
  un->sun_family = AF_UNIX;
  const char* path = std::getenv("TESSEL_MDNS_SOCKET");
  if (path && *path) {
    const std::size_t n = std::strlen(path);
    if (n >= sizeof(un->sun_path)) return false;
    std::memcpy(un->sun_path, path, n);
    *length = static_cast<unsigned>(offsetof(sockaddr_un, sun_path) + n + 1);
    return true;
  }
  // Abstract: a leading NUL, then the name, not NUL-terminated.
  char name[64];
  const int n = std::snprintf(name, sizeof(name), "tessel-mdns-%ld", static_cast<long>(getpid()));
  std::memcpy(un->sun_path + 1, name, static_cast<std::size_t>(n));
  *length = static_cast<unsigned>(offsetof(sockaddr_un, sun_path) + 1 + static_cast<std::size_t>(n));
  return true;
}

}  // namespace mdns_wire
