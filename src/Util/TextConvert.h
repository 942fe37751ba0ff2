// UTF-8 <-> wide conversions on the bridge's hot path. Page calls and replies
// are nearly always plain ASCII, which is widened or narrowed here in one
// pass; anything else goes through the host's converter.
#pragma once

#include <cstddef>
#include <string>

#include "Kit/CStringT.h"

namespace tessel_atriumclient {
namespace TextConvert {

// Appends the wide form of the UTF-8 text to `out`.
void AppendWide(std::wstring& out, const char* text, std::size_t length);
Kit::CStringA ToUtf8(const wchar_t* text, std::size_t length);
// The same, into `out` (replacing its contents, keeping its capacity).
void AssignUtf8(Kit::CStringA& out, const wchar_t* text, std::size_t length);

}  // namespace TextConvert
}  // namespace tessel_atriumclient
