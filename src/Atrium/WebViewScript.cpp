#include "Atrium/WebViewScript.h"

#include "Util/AtriumUtil.h"

namespace tessel_atriumclient {

void SendToWebView(const Kit::CStringW& webViewId, const std::string& jsonText) {
  if (jsonText.empty()) return;
  tesselus::IUnifyWebViewInstance* instance = AtriumUtil::GetWebViewInstance(webViewId);
  if (!instance) return;
  // The JSON text goes in as it stands: it is already a valid script literal.
  std::string script;
  script.reserve(jsonText.size() + 32);
  script += "window.tesselSdk.native2js(";
  script += jsonText;
  script += ')';
  instance->ExecuteScript(Kit::kit_str_convert::Utf8ToWide(script).c_str());
}

}  // namespace tessel_atriumclient
