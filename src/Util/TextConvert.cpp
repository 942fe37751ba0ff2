#include "Util/TextConvert.h"

namespace tessel_atriumclient {
namespace TextConvert {
namespace {

// Copies the text unit by unit while it is ASCII. Returns false, with `out`
// partly written, at the first unit that is not.
template <class From, class To>
bool CopyAscii(const From* text, std::size_t length, To* out) {
  unsigned long bits = 0;
  for (std::size_t i = 0; i < length; ++i) {
    bits |= static_cast<unsigned long>(text[i]);
    out[i] = static_cast<To>(text[i]);
  }
  return bits < 0x80;
}

}  // namespace

void AppendWide(std::wstring& out, const char* text, std::size_t length) {
  const std::size_t start = out.size();
  out.resize(start + length);
  if (CopyAscii(reinterpret_cast<const unsigned char*>(text), length, &out[start])) return;
  out.resize(start);
  out += Kit::kit_str_convert::Utf8ToWide(text, length);
}

void AssignUtf8(Kit::CStringA& out, const wchar_t* text, std::size_t length) {
  out.resize(length);
  if (!CopyAscii(text, length, &out[0])) out = Kit::kit_str_convert::WideToUtf8(text, length);
}

Kit::CStringA ToUtf8(const wchar_t* text, std::size_t length) {
  Kit::CStringA out;
  AssignUtf8(out, text, length);
  return out;
}

}  // namespace TextConvert
}  // namespace tessel_atriumclient
