#include "TestHost.h"

#include <json/reader.h>

#include <memory>

namespace testhost {

Json::Value ParseJson(const std::string& text) {
  Json::Value out;
  std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  if (!reader->parse(text.data(), text.data() + text.size(), &out, nullptr)) return Json::Value();
  return out;
}

std::vector<Json::Value> Payloads(const std::wstring& view) {
  static const std::wstring kPrefix = L"window.tesselSdk.native2js(";
  std::vector<Json::Value> out;
  for (const auto& script : hostsim::WebViewScripts(view)) {
    EXPECT_EQ(0u, script.compare(0, kPrefix.size(), kPrefix)) << "unexpected script";
    const std::wstring body = script.substr(kPrefix.size(), script.size() - kPrefix.size() - 1);
    out.push_back(ParseJson(Kit::kit_str_convert::WideToUtf8(body)));
  }
  return out;
}

std::vector<Json::Value> Notifications(const std::wstring& view) {
  std::vector<Json::Value> out;
  for (const auto& p : Payloads(view))
    if (p["result"].isObject() && p["result"].isMember("notification")) out.push_back(p["result"]);
  return out;
}

void ClientTest::SetUp() {
  hostsim::Reset();
  hostsim::CreateWebView(L"main");
  client = tessel_atriumclient::AtriumClient::GetInstance();
  client->SetWebViewId(L"main");
}

void ClientTest::TearDown() {
  tessel_atriumclient::AtriumClient::Destroy();
  hostsim::Reset();
}

std::vector<Json::Value> ClientTest::Call(const std::string& callText, const std::wstring& view) {
  const std::size_t before = hostsim::WebViewScripts(view).size();
  hostsim::PostJsMessage(view, Kit::kit_str_convert::Utf8ToWide(callText));
  std::vector<Json::Value> all = Payloads(view);
  return std::vector<Json::Value>(all.begin() + static_cast<long>(before), all.end());
}

Json::Value ClientTest::CallFunction(const std::string& function, const std::string& paramsJson) {
  std::string text = "{\"functionName\":\"" + function + "\",\"jsCallId\":\"c1\"";
  if (!paramsJson.empty()) text += ",\"params\":" + paramsJson;
  text += "}";
  std::vector<Json::Value> replies = Call(text);
  EXPECT_LE(replies.size(), 1u);
  return replies.empty() ? Json::Value() : replies.front();
}

}  // namespace testhost
