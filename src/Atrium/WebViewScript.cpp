#include "Atrium/WebViewScript.h"

#include "Util/AtriumUtil.h"
#include "Util/Scratch.h"
#include "Util/TextConvert.h"

namespace tessel_atriumclient {

void SendToWebView(const Kit::CStringW& webViewId, const std::string& jsonText) {
  if (jsonText.empty()) return;
  tesselus::IUnifyWebViewInstance* instance = AtriumUtil::GetWebViewInstance(webViewId);
  if (!instance) return;
  // The JSON text goes in as it stands: it is already a valid script literal.
  static const wchar_t kPrefix[] = L"window.tesselSdk.native2js(";
  thread_local ScratchSlot<std::wstring> slot;
  Scratch<std::wstring> scratch(slot);
  std::wstring& script = scratch.Get();
  script.reserve(sizeof kPrefix / sizeof kPrefix[0] + jsonText.size() + 1);
  script += kPrefix;
  TextConvert::AppendWide(script, jsonText.data(), jsonText.size());
  script += L')';
  instance->ExecuteScript(script.c_str());
}

}  // namespace tessel_atriumclient
