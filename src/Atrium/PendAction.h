// Work kept for later: the deferred home page, and the newest USB message and
// deep-link data that arrived before the page was ready.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "IAtriumClient.h"

namespace tessel_atriumclient {

enum PendActionType : int32_t {
  kPendActionInvalid = 0,
  kPendActionHomePage = 1,
  kPendActionUSBMsg = 2,
  kPendActionDeepLink = 3,
};

// One message of the USB (HID) path.
struct USBMessage {
  int32_t type = 0;
  std::vector<uint8_t> bytes;
};

class PendAction {
 public:
  using Callback = std::function<void(const PendAction*)>;

  explicit PendAction(int32_t type) : type(type) {}
  virtual ~PendAction();
  // Calls the callback with this action, if one is set.
  virtual void Execute();

  int32_t type;
  Callback callback;
};

class HomePageAction : public PendAction {
 public:
  HomePageAction() : PendAction(kPendActionHomePage) {}
  int32_t attemptCount = 0;
  int32_t attemptLimit = 2;
};

class RecvUSBMsgAction : public PendAction {
 public:
  RecvUSBMsgAction() : PendAction(kPendActionUSBMsg) {}
  USBMessage message;
};

class RecvDeepLinkDataAction : public PendAction {
 public:
  RecvDeepLinkDataAction() : PendAction(kPendActionDeepLink) {}
  AtriumDeepLinkData data;
};

}  // namespace tessel_atriumclient
