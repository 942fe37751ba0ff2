#pragma once

#include <cstddef>
#include <string>

#include "Kit/KitExport.h"

namespace Kit {
// Standard alphabet with padding.
KIT_API std::string Base64Encode(const void* data, std::size_t length);
// False on any character outside the alphabet or a bad length; `out` is then empty.
KIT_API bool Base64Decode(const std::string& text, std::string& out);
}  // namespace Kit
