#include "Util/TextConvert.h"

namespace tessel_atriumclient {
namespace TextConvert {
namespace {

template <class T>
bool IsAscii(const T* text, std::size_t length) {
  unsigned long bits = 0;
  for (std::size_t i = 0; i < length; ++i) bits |= static_cast<unsigned long>(text[i]);
  return bits < 0x80;
}

}  // namespace

void AppendWide(std::wstring& out, const char* text, std::size_t length) {
  if (!IsAscii(reinterpret_cast<const unsigned char*>(text), length)) {
    out += Kit::kit_str_convert::Utf8ToWide(text, length);
    return;
  }
  const std::size_t start = out.size();
  out.resize(start + length);
  for (std::size_t i = 0; i < length; ++i) out[start + i] = static_cast<wchar_t>(text[i]);
}

Kit::CStringA ToUtf8(const wchar_t* text, std::size_t length) {
  if (!IsAscii(text, length)) return Kit::kit_str_convert::WideToUtf8(text, length);
  Kit::CStringA out(length, '\0');
  for (std::size_t i = 0; i < length; ++i) out[i] = static_cast<char>(text[i]);
  return out;
}

}  // namespace TextConvert
}  // namespace tessel_atriumclient
