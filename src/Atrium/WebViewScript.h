// The one delivery path from native code to a page.
#pragma once

#include <string>

#include "Kit/CStringT.h"

namespace tessel_atriumclient {

// Runs "window.tesselSdk.native2js(<jsonText>)" in the web view `webViewId`.
// An empty text, or a view that does not exist (any more), sends nothing.
void SendToWebView(const Kit::CStringW& webViewId, const std::string& jsonText);

}  // namespace tessel_atriumclient
