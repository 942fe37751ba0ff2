// UTF-8, UTF-16 and UTF-32 conversions of the host's string library.
#include <cstdint>

#include "Kit/CStringT.h"

namespace Kit {
namespace kit_str_convert {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

// Decodes one code point at s[i], advancing i; malformed input gives U+FFFD
// and consumes the longest prefix that could have started a valid sequence.
char32_t DecodeUtf8(const unsigned char* s, std::size_t n, std::size_t& i) {
  const unsigned char b0 = s[i++];
  if (b0 < 0x80) return b0;
  std::size_t need;
  char32_t cp;
  char32_t lo = 0x80, hi = 0xBF;  // allowed range of the second byte
  if (b0 >= 0xC2 && b0 <= 0xDF) {
    need = 1; cp = b0 & 0x1F;
  } else if (b0 >= 0xE0 && b0 <= 0xEF) {
    need = 2; cp = b0 & 0x0F;
    if (b0 == 0xE0) lo = 0xA0;
    if (b0 == 0xED) hi = 0x9F;  // no surrogates
  } else if (b0 >= 0xF0 && b0 <= 0xF4) {
    need = 3; cp = b0 & 0x07;
    if (b0 == 0xF0) lo = 0x90;
    if (b0 == 0xF4) hi = 0x8F;
  } else {
    return kReplacement;
  }
  for (std::size_t k = 0; k < need; ++k) {
    if (i >= n) return kReplacement;
    const unsigned char b = s[i];
    const unsigned char min = k == 0 ? static_cast<unsigned char>(lo) : 0x80;
    const unsigned char max = k == 0 ? static_cast<unsigned char>(hi) : 0xBF;
    if (b < min || b > max) return kReplacement;
    cp = (cp << 6) | (b & 0x3F);
    ++i;
  }
  return cp;
}

void AppendUtf8(std::string& out, char32_t cp) {
  if (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) cp = kReplacement;
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

template <class Unit>
std::basic_string<Unit> ToUtf16(const char* s, std::size_t n) {
  std::basic_string<Unit> out;
  out.reserve(n);
  const auto* u = reinterpret_cast<const unsigned char*>(s);
  for (std::size_t i = 0; i < n;) {
    const char32_t cp = DecodeUtf8(u, n, i);
    if (cp >= 0x10000) {
      out += static_cast<Unit>(0xD800 + ((cp - 0x10000) >> 10));
      out += static_cast<Unit>(0xDC00 + ((cp - 0x10000) & 0x3FF));
    } else {
      out += static_cast<Unit>(cp);
    }
  }
  return out;
}

template <class Unit>
std::string FromUtf16(const Unit* s, std::size_t n) {
  std::string out;
  out.reserve(n);
  for (std::size_t i = 0; i < n; ++i) {
    const char32_t u = static_cast<char32_t>(s[i]) & 0xFFFF;
    if (u >= 0xD800 && u <= 0xDBFF && i + 1 < n) {
      const char32_t v = static_cast<char32_t>(s[i + 1]) & 0xFFFF;
      if (v >= 0xDC00 && v <= 0xDFFF) {
        AppendUtf8(out, 0x10000 + ((u - 0xD800) << 10) + (v - 0xDC00));
        ++i;
        continue;
      }
    }
    AppendUtf8(out, u);  // a lone surrogate becomes U+FFFD
  }
  return out;
}

template <class Unit>
std::basic_string<Unit> ToUtf32(const char* s, std::size_t n) {
  std::basic_string<Unit> out;
  out.reserve(n);
  const auto* u = reinterpret_cast<const unsigned char*>(s);
  for (std::size_t i = 0; i < n;) out += static_cast<Unit>(DecodeUtf8(u, n, i));
  return out;
}

template <class Unit>
std::string FromUtf32(const Unit* s, std::size_t n) {
  std::string out;
  out.reserve(n);
  for (std::size_t i = 0; i < n; ++i) AppendUtf8(out, static_cast<char32_t>(s[i]));
  return out;
}

}  // namespace

std::u16string Utf8ToUtf16(const char* s, std::size_t n) { return ToUtf16<char16_t>(s, n); }
std::string Utf16ToUtf8(const char16_t* s, std::size_t n) { return FromUtf16(s, n); }
std::u32string Utf8ToUtf32(const char* s, std::size_t n) { return ToUtf32<char32_t>(s, n); }
std::string Utf32ToUtf8(const char32_t* s, std::size_t n) { return FromUtf32(s, n); }

CStringW Utf8ToWide(const char* s, std::size_t n) {
  if (s == nullptr) return CStringW();
  if (sizeof(wchar_t) == 2) return CStringW(ToUtf16<wchar_t>(s, n));
  return CStringW(ToUtf32<wchar_t>(s, n));
}

CStringA WideToUtf8(const wchar_t* s, std::size_t n) {
  if (s == nullptr) return CStringA();
  if (sizeof(wchar_t) == 2) return CStringA(FromUtf16(s, n));
  return CStringA(FromUtf32(s, n));
}

}  // namespace kit_str_convert
}  // namespace Kit
