// The host's string type, narrow (UTF-8) and wide, and conversions between them.
#pragma once

#include <cstddef>
#include <string>

#include "Kit/KitExport.h"

namespace Kit {

template <class T>
class CStringT : public std::basic_string<T> {
 public:
  using Base = std::basic_string<T>;
  using Base::Base;
  CStringT() = default;
  CStringT(const Base& s) : Base(s) {}        // NOLINT(google-explicit-constructor)
  CStringT(Base&& s) : Base(std::move(s)) {}  // NOLINT(google-explicit-constructor)
  CStringT(const T* s) : Base(s ? s : Empty()) {}  // NOLINT: null reads as empty

  const T* GetString() const { return this->c_str(); }
  std::size_t GetLength() const { return this->size(); }
  bool IsEmpty() const { return this->empty(); }

 private:
  static const T* Empty() {
    static const T kEmpty[1] = {T()};
    return kEmpty;
  }
};

using CStringA = CStringT<char>;
using CStringW = CStringT<wchar_t>;

// UTF-8 <-> wide conversions. wchar_t is UTF-16 (with surrogate pairs) where it
// is 16 bits wide and UTF-32 where it is 32 bits wide. Malformed input never
// fails a conversion: each bad sequence becomes U+FFFD.
namespace kit_str_convert {
KIT_API CStringW Utf8ToWide(const char* s, std::size_t length);
KIT_API CStringA WideToUtf8(const wchar_t* s, std::size_t length);
inline CStringW Utf8ToWide(const std::string& s) { return Utf8ToWide(s.data(), s.size()); }
inline CStringA WideToUtf8(const std::wstring& s) { return WideToUtf8(s.data(), s.size()); }

// The two encodings behind the wide form, usable whatever the width of wchar_t.
KIT_API std::u16string Utf8ToUtf16(const char* s, std::size_t length);
KIT_API std::string Utf16ToUtf8(const char16_t* s, std::size_t length);
KIT_API std::u32string Utf8ToUtf32(const char* s, std::size_t length);
KIT_API std::string Utf32ToUtf8(const char32_t* s, std::size_t length);
}  // namespace kit_str_convert

}  // namespace Kit
