// The meeting-process module "com.tesselus.module.ConfApp". The module object
// itself implements this interface.
#pragma once

#include <cstddef>

#include "HostCommon/HostUser.h"

namespace tesselus {

constexpr const char* kConfAppModuleId = "com.tesselus.module.ConfApp";

// Message kind of the plug-in's room messages from the meeting process to the
// main application.
constexpr int kMsgToMainProcess = 20090;

class KIT_API IConfAppAPI {
 public:
  virtual ~IConfAppAPI();
  virtual IHostUser* GetCurrentUser() = 0;
  virtual IHostSettings* GetSettings(int category, int item) = 0;
  // Hands `length` bytes of `data` to the main application as a message of
  // `kind`. False when the main application cannot take it.
  virtual bool SendToMainProcess(int kind, const char* data, std::size_t length) = 0;
};

}  // namespace tesselus
