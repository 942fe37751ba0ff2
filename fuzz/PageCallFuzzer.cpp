// Fuzzes the page-call entry of the Atrium client. Each input is the text of
// one message from the page; it goes in twice, from the same starting state:
// straight into the function table, and through the web view as the browser
// engine posts it (wide text, to the view's sinks). After each delivery the
// main-thread queue runs and what reached the page and the host is checked:
//   - every script run in the view is one native2js call whose argument is a
//     JSON reply or notification;
//   - a page call never closes the HID channel or unbinds the client from its
//     view, and leaves no task behind;
//   - the client claims every message posted to its own view;
//   - when the text survives the UTF-8 -> wide -> UTF-8 trip unchanged, both
//     deliveries have the same effects, script for script, event for event.
// A broken check prints what failed and aborts, so libFuzzer keeps the input.
//
// Before each delivery a USB message and deep-link data wait for a page that
// is not ready yet, so "reservationReady" and "queryCachedMsg" have something
// to release.
#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "Atrium/AtriumClient.h"
#include "Kit/CStringT.h"
#include "hostsim/RecordingSinks.h"
#include "hostsim/SimHost.h"

namespace {

using tessel_atriumclient::AtriumClient;

const std::wstring kViewId = L"atrium.fuzz.view";
const std::wstring kScriptPrefix = L"window.tesselSdk.native2js(";
constexpr uint64_t kHIDParameter = 0x5a17;

// What one delivery left in the view and in the host's event log.
struct Effects {
  std::vector<std::wstring> scripts;
  std::vector<hostsim::SimEvent> events;
};

struct Harness {
  hostsim::RecordingHostSink hostSink;
  hostsim::RecordingClientUISink uiSink;
  AtriumClient* client = nullptr;
  std::unique_ptr<Json::CharReader> strictReader;
  tessel_atriumclient::USBMessage cachedUSB;
  tessel_atriumclient::AtriumDeepLinkData cachedLink;
};

// Never destroyed: the client keeps pointers to the sinks until the process ends.
Harness& TheHarness() {
  static Harness* harness = new Harness();
  return *harness;
}

[[noreturn]] void Fail(const char* what, const std::string& detail = std::string()) {
  std::fprintf(stderr, "page_call_fuzzer: check failed: %s\n", what);
  if (!detail.empty()) std::fprintf(stderr, "  %s\n", detail.c_str());
  std::abort();
}

void Require(bool condition, const char* what, const std::string& detail = std::string()) {
  if (!condition) Fail(what, detail);
}

std::string Narrow(const std::wstring& text) {
  return Kit::kit_str_convert::WideToUtf8(text);
}

// The client back to the state every input starts from: page not ready, one
// USB message and one set of deep-link data waiting, nothing recorded.
void Rearm(Harness& h) {
  AtriumClient& client = *h.client;
  client.SetPageReady(false);
  client.TakePendAction(tessel_atriumclient::kPendActionUSBMsg);
  client.TakePendAction(tessel_atriumclient::kPendActionDeepLink);
  client.OnRecvDeeplinkData(h.cachedLink);
  client.OnRecvUSBMsg(h.cachedUSB, /*replay=*/true);
  hostsim::RunMainQueue();
  hostsim::ClearWebViewScripts(kViewId);
  hostsim::ClearEvents();
}

// Runs what the delivery queued, takes its effects and clears them, so the
// recording stays bounded whatever the number of inputs.
Effects Collect() {
  hostsim::RunMainQueue();
  Effects effects{hostsim::WebViewScripts(kViewId), hostsim::Events()};
  hostsim::ClearWebViewScripts(kViewId);
  hostsim::ClearEvents();
  return effects;
}

void CheckScript(const Harness& h, const std::wstring& script) {
  const std::string shown = Narrow(script);
  Require(script.size() > kScriptPrefix.size() + 1 &&
              script.compare(0, kScriptPrefix.size(), kScriptPrefix) == 0 &&
              script.back() == L')',
          "a script is not one native2js call", shown);
  const std::string argument =
      Narrow(script.substr(kScriptPrefix.size(), script.size() - kScriptPrefix.size() - 1));
  Json::Value root;
  std::string errors;
  Require(h.strictReader->parse(argument.data(), argument.data() + argument.size(), &root,
                                &errors),
          "the native2js argument is not strict JSON", errors + " in " + shown);
  Require(root.isObject() && root.size() == 3, "the page message is not a three-member object",
          shown);
  Require(root["jsCallId"].isString(), "jsCallId is not a string", shown);
  Require(root["returnCode"].isInt(), "returnCode is not an integer", shown);
  Require(root.isMember("result") && !root["result"].isNull(), "result is missing or null",
          shown);
}

void CheckEffects(const Harness& h, const Effects& effects) {
  for (const std::wstring& script : effects.scripts) CheckScript(h, script);
  for (const hostsim::SimEvent& event : effects.events) {
    Require(event.kind != "hidDestroy" && event.kind != "hidCreate",
            "a page call recreated or closed the HID channel", event.kind);
    Require(event.kind != "load", "a page call loaded an address", event.data.toStyledString());
  }
  Require(hostsim::HIDChannelOpen(), "the HID channel is closed after a page call");
  Require(hostsim::WebViewSinkCount(kViewId) == 1, "the client is no longer bound to its view");
  Require(hostsim::PendingTaskCount() == 0, "a task is left on the main queue");
}

std::string Describe(const Effects& effects) {
  Json::StreamWriterBuilder oneLine;
  oneLine["indentation"] = "";
  std::string out;
  for (const std::wstring& script : effects.scripts) out += "\n    script " + Narrow(script);
  for (const hostsim::SimEvent& event : effects.events)
    out += "\n    event " + event.kind + " " + Json::writeString(oneLine, event.data);
  return out;
}

bool SameEffects(const Effects& a, const Effects& b) {
  if (a.scripts != b.scripts || a.events.size() != b.events.size()) return false;
  for (std::size_t i = 0; i < a.events.size(); ++i)
    if (a.events[i].kind != b.events[i].kind || a.events[i].data != b.events[i].data) return false;
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  Harness& h = TheHarness();
  hostsim::Reset();
  hostsim::SetSessionState(1);
  hostsim::SetWebToken("fuzz-web-token");
  hostsim::SetUserIdentity(L"fuzz.user@atrium.invalid");
  hostsim::SetPageAddress(L"https://atrium.invalid/home");
  hostsim::CreateWebView(kViewId);

  h.client = AtriumClient::GetInstance();
  h.client->SetWebViewId(kViewId);
  h.client->SetHostSink(&h.hostSink);
  h.client->SetClientUISink(&h.uiSink);
  h.client->InitHID(kHIDParameter);
  Require(hostsim::HIDChannelOpen(), "InitHID opened no HID channel");
  Require(hostsim::WebViewSinkCount(kViewId) == 1, "SetWebViewId did not bind the view");

  Json::CharReaderBuilder strict;
  Json::CharReaderBuilder::strictMode(&strict.settings_);
  h.strictReader.reset(strict.newCharReader());

  h.cachedUSB.type = 1;
  h.cachedUSB.bytes = {0x00, 0x7f, 0x80, 0xff};
  h.cachedLink = {{"action", "join"}, {"room", "r-42"}, {"note", "\xe2\x80\xa8 \"quoted\""}};

  hostsim::RunMainQueue();
  hostsim::ClearEvents();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  Harness& h = TheHarness();
  const Kit::CStringA text(reinterpret_cast<const char*>(data), size);
  const Kit::CStringW wide = Kit::kit_str_convert::Utf8ToWide(text);

  // The narrow entry: the bytes as they are.
  Rearm(h);
  h.client->JsHandler().HandleJsMessage(h.client->WebViewId(), text);
  const Effects direct = Collect();
  CheckEffects(h, direct);

  // The web view: the engine hands the sinks wide text, which ends at a NUL.
  Rearm(h);
  const bool handled = hostsim::PostJsMessage(kViewId, wide);
  const Effects viaView = Collect();
  CheckEffects(h, viaView);
  Require(handled, "the client did not claim a message posted to its own view");

  const bool lossless =
      text.find('\0') == std::string::npos && Kit::kit_str_convert::WideToUtf8(wide) == text;
  if (lossless && !SameEffects(direct, viaView))
    Fail("the two deliveries of one text differ",
         "direct:" + Describe(direct) + "\n  via view:" + Describe(viaView));
  return 0;
}
