// JSON text in and out for room messages and host records: compact writing
// and a parse that never throws.
#pragma once

#include <json/value.h>

#include <cstddef>
#include <string>

#include "Kit/CStringT.h"

namespace tessel_atriumclient {
namespace JsonText {

// False (and `out` null) when the text is not one JSON value.
bool Parse(const char* text, std::size_t length, Json::Value& out);
inline bool Parse(const std::string& text, Json::Value& out) {
  return Parse(text.data(), text.size(), out);
}
// The value on one line, without white space.
std::string Compact(const Json::Value& value);

inline std::string Utf8(const Kit::CStringW& text) {
  return Kit::kit_str_convert::WideToUtf8(text);
}
inline Kit::CStringW Wide(const std::string& text) { return Kit::kit_str_convert::Utf8ToWide(text); }

}  // namespace JsonText
}  // namespace tessel_atriumclient
