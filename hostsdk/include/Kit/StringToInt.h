#pragma once

#include <cstdint>
#include <string>

#include "Kit/KitExport.h"

namespace Kit {
// Decimal with an optional sign. False on empty text, trailing characters or
// overflow; `out` is then left as it was.
KIT_API bool StringToInt(const std::string& text, int32_t& out);
KIT_API bool StringToInt64(const std::string& text, int64_t& out);
}  // namespace Kit
