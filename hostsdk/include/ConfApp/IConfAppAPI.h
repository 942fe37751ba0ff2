// The meeting-process module "com.tesselus.module.ConfApp". The module object
// itself implements this interface.
#pragma once

#include "HostCommon/HostUser.h"

namespace tesselus {

constexpr const char* kConfAppModuleId = "com.tesselus.module.ConfApp";

class KIT_API IConfAppAPI {
 public:
  virtual ~IConfAppAPI();
  virtual IHostUser* GetCurrentUser() = 0;
  virtual IHostSettings* GetSettings(int category, int item) = 0;
};

}  // namespace tesselus
