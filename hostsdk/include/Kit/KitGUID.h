#pragma once

#include <cstdint>
#include <string>

#include "Kit/KitExport.h"

struct KIT_API KitGUID {
  uint32_t data1 = 0;
  uint16_t data2 = 0;
  uint16_t data3 = 0;
  uint8_t data4[8] = {};

  // A new identifier from the host.
  static KitGUID Create();
  // "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX", upper-case hexadecimal.
  std::string ToString() const;
  static bool FromString(const std::string& text, KitGUID& out);
  bool IsNull() const;
  bool operator==(const KitGUID& o) const;
};
