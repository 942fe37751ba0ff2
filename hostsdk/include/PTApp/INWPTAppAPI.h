// The main-application module "com.tesselus.module.PTApp", interface
// "tesselus.class.INWPTAppAPI".
#pragma once

#include "HostCommon/HostUser.h"

namespace tesselus {

constexpr const char* kPTAppModuleId = "com.tesselus.module.PTApp";
constexpr const char* kPTAppInterfaceName = "tesselus.class.INWPTAppAPI";

// The signed-in session.
class KIT_API IPTSession {
 public:
  virtual ~IPTSession();
  // 1 when signed in; any other value means not signed in.
  virtual int GetState() const = 0;
  virtual Kit::CStringA GetWebToken() const = 0;
};

// Kinds of the open-address request.
constexpr int kOpenAddressExternal = 5;

class KIT_API INWPTAppAPI {
 public:
  virtual ~INWPTAppAPI();
  virtual IPTSession* GetSession() = 0;
  virtual IHostUser* GetCurrentUser() = 0;
  virtual IHostSettings* GetSettings(int category, int item) = 0;
  // Opens `address` the way `kind` says (5: outside the client's web view).
  virtual void OpenAddress(const wchar_t* address, int kind) = 0;
};

}  // namespace tesselus
