// One script call (also the carrier of a notification) and one reply.
#pragma once

#include <json/value.h>

#include <cstdint>
#include <functional>

#include "Kit/CStringT.h"

namespace tessel_atriumclient {

// Declared for pages that cut long texts; nothing in the bridge limits length.
constexpr const char* kOverSizePrefix = "OVER_SIZE,";

struct AtriumJsReq {
  Kit::CStringW webViewId;     // the sending view, or the view a notification goes to
  Kit::CStringA jsCallId;      // echoed in the reply; empty for native notifications
  Kit::CStringA functionName;  // function called, or the notification's name
  Json::Value params;          // arguments (null when absent), or notification data
};

struct AtriumJsRes {
  Kit::CStringW webViewId;
  Kit::CStringA jsCallId;
  int32_t returnCode = 0;
  // Null until the function fills it. Mutable so that the reply writer can
  // borrow the value for the duration of a write instead of copying it; it
  // is back in place when the write returns.
  mutable Json::Value result;
};

// A page function: fills the reply and returns nonzero to have it sent now.
using AtriumJsFunction = std::function<int32_t(const AtriumJsReq&, AtriumJsRes&)>;

}  // namespace tessel_atriumclient
