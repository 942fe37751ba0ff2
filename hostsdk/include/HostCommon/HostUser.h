// Objects that both application modules hand out: the signed-in user and the
// settings services.
#pragma once

#include "Kit/CStringT.h"

namespace tesselus {

class KIT_API IHostUser {
 public:
  virtual ~IHostUser();
  virtual Kit::CStringW GetIdentity() const = 0;
};

// One settings service, chosen by category and item.
class KIT_API IHostSettings {
 public:
  virtual ~IHostSettings();
  // The page address that this service configures (empty when none).
  virtual Kit::CStringW GetWebAddress() const = 0;
  // Reads option `key` of `section`; false when the option is absent.
  virtual bool ReadOption(const char* key, const char* section, Kit::CStringA& value) const = 0;
};

// Settings category and item of the client's web settings.
constexpr int kWebSettingsCategory = 4;
constexpr int kWebSettingsItem = 5;

}  // namespace tesselus
