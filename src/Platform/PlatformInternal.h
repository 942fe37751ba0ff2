// What the platform implementations share with the platform-neutral part
// of the layer (PlatformNames.cpp).
#pragma once

#include <string>

namespace platform {
namespace internal {
// The folder of this module as the system reports it ("" when unknown).
std::string OwnModuleFolder();
}  // namespace internal
}  // namespace platform
