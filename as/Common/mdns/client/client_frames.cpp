#include "client_frames.h"

#include <netinet/in.h>

#include <cstring>

#include "mdns/mdns_wire.h"

namespace mdns_client {
namespace {

bool Error(mdns_wire::Reader& r, int32_t& error) {
  uint32_t v = 0;
  if (!r.Int(v)) return false;
  error = static_cast<int32_t>(v);
  return true;
}

}  // namespace

bool DecodeReply(uint8_t op, uint32_t id, const uint8_t* payload, std::size_t size, Reply& out) {
  mdns_wire::Reader r(payload, size);
  out = Reply();
  out.op = op;
  out.id = id;
  if (!r.Int(out.flags) || !r.Int(out.interfaceIndex) || !Error(r, out.error)) return false;
  switch (op) {
    case mdns_wire::kBrowseReply:
    case mdns_wire::kRegisterReply:
      if (!r.Text(out.a) || !r.Text(out.b) || !r.Text(out.c)) return false;
      break;
    case mdns_wire::kResolveReply: {
      uint32_t port = 0;
      if (!r.Text(out.a) || !r.Text(out.b) || !r.Int(port) || port > 0xFFFF ||
          !r.Blob(out.bytes))
        return false;
      out.port = static_cast<uint16_t>(port);
      break;
    }
    case mdns_wire::kAddrReply:
      if (!r.Text(out.a) || !r.Int(out.family) || !r.Blob(out.bytes) || !r.Int(out.ttl))
        return false;
      if ((out.family == 4 && out.bytes.size() == 4) || (out.family == 6 && out.bytes.size() == 16))
        break;
      // A failed look-up may come without an address; a success may not.
      if (out.error == 0 || !out.bytes.empty()) return false;
      out.family = 0;
      break;
    default:
      return false;
  }
  return r.AtEnd();
}

bool CutFrames(std::vector<uint8_t>& buffer, StatusSink& sink, std::deque<Reply>& replies) {
  std::size_t at = 0;
  bool ok = true;
  while (buffer.size() - at >= mdns_wire::kHeaderSize) {
    mdns_wire::Header h;
    if (!mdns_wire::ParseHeader(buffer.data() + at, buffer.size() - at, h)) {
      ok = false;
      break;
    }
    if (buffer.size() - at - mdns_wire::kHeaderSize < h.length) break;  // not all there yet
    const uint8_t* payload = buffer.data() + at + mdns_wire::kHeaderSize;
    if (h.op == mdns_wire::kStatus) {
      mdns_wire::Reader r(payload, h.length);
      uint32_t error = 0;
      if (!r.Int(error) || !r.AtEnd()) {
        ok = false;
        break;
      }
      sink.OnStatus(h.id, static_cast<int32_t>(error));
    } else {
      Reply reply;
      if (!DecodeReply(h.op, h.id, payload, h.length, reply)) {  // client ops land here too
        ok = false;
        break;
      }
      replies.push_back(std::move(reply));
    }
    at += mdns_wire::kHeaderSize + h.length;
  }
  buffer.erase(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(at));
  return ok;
}

bool ReplyAddress(const Reply& reply, sockaddr_storage& out) {
  std::memset(&out, 0, sizeof out);
  if (reply.family == 4 && reply.bytes.size() == 4) {
    auto* in = reinterpret_cast<sockaddr_in*>(&out);
    in->sin_family = AF_INET;
    std::memcpy(&in->sin_addr, reply.bytes.data(), 4);
    return true;
  }
  if (reply.family == 6 && reply.bytes.size() == 16) {
    auto* in6 = reinterpret_cast<sockaddr_in6*>(&out);
    in6->sin6_family = AF_INET6;
    std::memcpy(&in6->sin6_addr, reply.bytes.data(), 16);
    const bool linkLocal = reply.bytes[0] == 0xFE && (reply.bytes[1] & 0xC0) == 0x80;
    if (linkLocal) in6->sin6_scope_id = reply.interfaceIndex;
    return true;
  }
  return false;
}

}  // namespace mdns_client
