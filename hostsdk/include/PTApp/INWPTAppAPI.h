// The main-application module "com.tesselus.module.PTApp", interface
// "tesselus.class.INWPTAppAPI".
#pragma once

#include <cstddef>

#include "HostCommon/HostUser.h"
#include "KRC/IKRController.h"
#include "NW_webservice/WebService.h"

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

// Message kind of the plug-in's room messages from the main application to
// the meeting process.
constexpr int kMsgToMeetingProcess = 20089;

class KIT_API INWPTAppAPI {
 public:
  virtual ~INWPTAppAPI();
  virtual IPTSession* GetSession() = 0;
  virtual IHostUser* GetCurrentUser() = 0;
  virtual IHostSettings* GetSettings(int category, int item) = 0;
  // Opens `address` the way `kind` says (5: outside the client's web view).
  virtual void OpenAddress(const wchar_t* address, int kind) = 0;
  // The room-controller component and the key its sinks register under.
  virtual IKRController* GetRoomController() = 0;
  virtual Kit::CStringA GetRoomControllerKey() = 0;
  // Hands `length` bytes of `data` to the meeting process as a message of
  // `kind`. False when there is no meeting process to take it.
  virtual bool SendToMeetingProcess(int kind, const char* data, std::size_t length) = 0;
  virtual NW_webservice::IWebService* GetWebService() = 0;
};

}  // namespace tesselus
