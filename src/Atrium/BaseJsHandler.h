// The script bridge's envelope: parses a page call, finds the native function
// by name, and writes replies and notifications back to the page.
#pragma once

#include <map>
#include <string>

#include "Atrium/AtriumJsTypes.h"

namespace tessel_atriumclient {

class BaseJsHandler {
 public:
  BaseJsHandler() = default;
  BaseJsHandler(const BaseJsHandler&) = delete;
  BaseJsHandler& operator=(const BaseJsHandler&) = delete;
  virtual ~BaseJsHandler();

  // Entry for one call from the page shown in `webViewId`.
  virtual void HandleJsMessage(const Kit::CStringW& webViewId, const Kit::CStringA& messageText);
  virtual void RegisterFunctions();
  // True when the text is a usable call: an object with "jsCallId" and
  // "functionName"; "params" is optional.
  virtual bool ParseRequest(const Kit::CStringA& messageText, AtriumJsReq& req);
  virtual void SendResponse(const AtriumJsRes& res);
  virtual void SendNotification(const AtriumJsReq& req);
  virtual void Dispatch(const AtriumJsReq& req);

  bool HasFunction(const std::string& name) const { return functions_.count(name) != 0; }

  // The texts that reach the page, as jsoncpp's default stream writer writes them.
  static std::string ResponseText(const AtriumJsRes& res);
  static std::string NotificationText(const AtriumJsReq& req);

 protected:
  void Register(const char* name, AtriumJsFunction function);

  std::map<Kit::CStringA, AtriumJsFunction> functions_;
};

}  // namespace tessel_atriumclient
