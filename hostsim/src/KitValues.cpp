// Base64, GUIDs and integer parsing of the host's common library.
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "Kit/Base64.h"
#include "Kit/KitGUID.h"
#include "Kit/StringToInt.h"

namespace Kit {
namespace {
constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int Sextet(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

template <class T>
bool ParseDecimal(const std::string& text, T& out) {
  if (text.empty()) return false;
  std::size_t i = 0;
  bool negative = false;
  if (text[0] == '+' || text[0] == '-') {
    negative = text[0] == '-';
    i = 1;
  }
  if (i == text.size()) return false;
  // Accumulate negatively so that the minimum value parses too.
  T value = 0;
  for (; i < text.size(); ++i) {
    const char c = text[i];
    if (c < '0' || c > '9') return false;
    const T digit = static_cast<T>(c - '0');
    if (value < (std::numeric_limits<T>::min() + digit) / 10) return false;
    value = static_cast<T>(value * 10 - digit);
  }
  if (!negative) {
    if (value == std::numeric_limits<T>::min()) return false;
    value = static_cast<T>(-value);
  }
  out = value;
  return true;
}
}  // namespace

std::string Base64Encode(const void* data, std::size_t length) {
  const auto* p = static_cast<const unsigned char*>(data);
  std::string out;
  out.reserve((length + 2) / 3 * 4);
  std::size_t i = 0;
  for (; i + 3 <= length; i += 3) {
    const uint32_t v = (p[i] << 16) | (p[i + 1] << 8) | p[i + 2];
    out += kAlphabet[v >> 18];
    out += kAlphabet[(v >> 12) & 63];
    out += kAlphabet[(v >> 6) & 63];
    out += kAlphabet[v & 63];
  }
  if (length - i == 1) {
    const uint32_t v = p[i] << 16;
    out += kAlphabet[v >> 18];
    out += kAlphabet[(v >> 12) & 63];
    out += "==";
  } else if (length - i == 2) {
    const uint32_t v = (p[i] << 16) | (p[i + 1] << 8);
    out += kAlphabet[v >> 18];
    out += kAlphabet[(v >> 12) & 63];
    out += kAlphabet[(v >> 6) & 63];
    out += '=';
  }
  return out;
}

bool Base64Decode(const std::string& text, std::string& out) {
  out.clear();
  if (text.size() % 4 != 0) return false;
  std::string result;
  result.reserve(text.size() / 4 * 3);
  for (std::size_t i = 0; i < text.size(); i += 4) {
    const bool last = i + 4 == text.size();
    int v[4];
    int pad = 0;
    for (int k = 0; k < 4; ++k) {
      const char c = text[i + k];
      if (c == '=' && last && k >= 2) {
        v[k] = 0;
        ++pad;
        continue;
      }
      if (pad > 0) return false;  // data after padding
      v[k] = Sextet(c);
      if (v[k] < 0) return false;
    }
    const uint32_t bits = (v[0] << 18) | (v[1] << 12) | (v[2] << 6) | v[3];
    result += static_cast<char>(bits >> 16);
    if (pad < 2) result += static_cast<char>((bits >> 8) & 0xFF);
    if (pad < 1) result += static_cast<char>(bits & 0xFF);
  }
  out.swap(result);
  return true;
}

bool StringToInt(const std::string& text, int32_t& out) { return ParseDecimal(text, out); }
bool StringToInt64(const std::string& text, int64_t& out) { return ParseDecimal(text, out); }

}  // namespace Kit

KitGUID KitGUID::Create() {
  // The simulated host hands out a deterministic sequence.
  static std::atomic<uint64_t> counter{0};
  const uint64_t n = ++counter;
  KitGUID g;
  g.data1 = 0x7E55E100u;
  g.data2 = 0x4000;
  g.data3 = 0x8000;
  for (int k = 0; k < 8; ++k) g.data4[k] = static_cast<uint8_t>(n >> (8 * (7 - k)));
  return g;
}

std::string KitGUID::ToString() const {
  char buf[37];
  std::snprintf(buf, sizeof buf, "%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X", data1, data2,
                data3, data4[0], data4[1], data4[2], data4[3], data4[4], data4[5], data4[6],
                data4[7]);
  return buf;
}

bool KitGUID::FromString(const std::string& text, KitGUID& out) {
  if (text.size() != 36) return false;
  uint8_t bytes[16];
  std::size_t b = 0;
  for (std::size_t i = 0; i < text.size();) {
    if (i == 8 || i == 13 || i == 18 || i == 23) {
      if (text[i] != '-') return false;
      ++i;
      continue;
    }
    const auto hex = [](char c) {
      if (c >= '0' && c <= '9') return c - '0';
      if (c >= 'a' && c <= 'f') return c - 'a' + 10;
      if (c >= 'A' && c <= 'F') return c - 'A' + 10;
      return -1;
    };
    const int hi = hex(text[i]), lo = hex(text[i + 1]);
    if (hi < 0 || lo < 0) return false;
    bytes[b++] = static_cast<uint8_t>(hi * 16 + lo);
    i += 2;
  }
  out.data1 = (uint32_t(bytes[0]) << 24) | (bytes[1] << 16) | (bytes[2] << 8) | bytes[3];
  out.data2 = static_cast<uint16_t>((bytes[4] << 8) | bytes[5]);
  out.data3 = static_cast<uint16_t>((bytes[6] << 8) | bytes[7]);
  for (int k = 0; k < 8; ++k) out.data4[k] = bytes[8 + k];
  return true;
}

bool KitGUID::IsNull() const {
  if (data1 || data2 || data3) return false;
  for (uint8_t b : data4)
    if (b) return false;
  return true;
}

bool KitGUID::operator==(const KitGUID& o) const {
  if (data1 != o.data1 || data2 != o.data2 || data3 != o.data3) return false;
  for (int k = 0; k < 8; ++k)
    if (data4[k] != o.data4[k]) return false;
  return true;
}
