// Control of the simulated host: the state that a real host would have
// (session, user, options, web views, devices), the main-thread queue that a
// test or the reference host runs explicitly, and a virtual clock.
//
// Everything here is meant for the host's main thread, except RaiseHIDEvent
// (which raises the event on a thread of its own) and the event log, which
// any thread may read.
#pragma once

#include <json/value.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "UnifyWebView/IUnifyWebViewModuleAPI.h"

namespace hostsim {

// One thing that the plug-in asked of the host, in the order asked. Kinds
// and their data members:
//   "script"       view, script         a script run in a web view
//   "load"         view, address        an address loaded into a web view
//   "openAddress"  address, kind        an address opened by the main app
//   "hidCreate"    parameter            the HID channel was created
//   "hidIdentity"  identity             the user identity given to it
//   "hidSend"      kind, bytes          bytes sent on it
//   "hidDestroy"                        the HID channel was destroyed
//   "reload"                            the page reload request (host sink)
//   "scanDelivery"                      the delivery scan request (host sink)
//   "clientUI"     kind, text           a client-UI record
struct SimEvent {
  std::string kind;
  Json::Value data;  // an object
};

// Back to a fresh host: signed out, no web views, no options, nothing
// failing, an empty queue and log, the clock at its start.
void Reset();

// ---- host state
void SetSessionState(int state);  // 1: signed in
void SetWebToken(const std::string& token);
void SetUserIdentity(const std::wstring& identity);      // main application
void SetConfUserIdentity(const std::wstring& identity);  // meeting process
void SetPageAddress(const std::wstring& address);
void SetOption(const std::string& section, const std::string& key, const std::string& value);
void RemoveOption(const std::string& section, const std::string& key);
void SetConfOption(const std::string& section, const std::string& key, const std::string& value);
void AddTrustedAddress(const std::wstring& address);

// Makes one look-up of the host fail (or succeed again). Names: "service"
// (the module registry), any module identifier, any interface name, and
// "webview.manager", "ptapp.session", "ptapp.user", "ptapp.settings",
// "ptapp.roomcontroller", "ptapp.webservice", "conf.user", "conf.settings",
// "tasks.manager", "hid.create".
void SetLookupFails(const std::string& name, bool fails);

// ---- web views
void CreateWebView(const std::wstring& id);
// Closes the view: its sinks hear OnClosed, then it is gone.
void CloseWebView(const std::wstring& id);
bool HasWebView(const std::wstring& id);
std::size_t WebViewSinkCount(const std::wstring& id);
std::vector<std::wstring> WebViewScripts(const std::wstring& id);
void ClearWebViewScripts(const std::wstring& id);
// Whether the view records its scripts (default true); they are still logged.
void SetWebViewRecording(const std::wstring& id, bool record);

// What the page and the browser engine do; each reaches the view's sinks.
bool PostJsMessage(const std::wstring& id, const std::wstring& message);  // handled?
int Navigate(const std::wstring& id, const std::wstring& address, bool* handled);  // allow
bool RequestHeaders(const std::wstring& id, const std::wstring& address,
                    tesselus::UnifyWebViewHeaders& headers);  // handled?
void ReportLoadState(const std::wstring& id, uint32_t state);

// ---- event log
std::vector<SimEvent> Events();
std::vector<SimEvent> EventsOf(const std::string& kind);
void ClearEvents();
// Called for every event as it is logged, on the thread that logs it.
void SetEventListener(std::function<void(const SimEvent&)> listener);
void SetEventLogging(bool on);  // default on; off keeps nothing (benchmarks)

// ---- HID device
// Raises an event on the device library's own thread and waits for the
// callback to return. Does nothing while no channel exists.
void RaiseHIDEvent(int32_t event, const std::vector<uint8_t>& bytes);
bool HIDChannelOpen();

// ---- main-thread queue ("main.thread.runner")
// Runs queued tasks in posting order until the queue is empty (tasks posted
// meanwhile run too). Returns how many ran.
std::size_t RunMainQueue();
std::size_t PendingTaskCount();

// ---- virtual clock
int64_t NowMicros();
// Moves the clock forward, firing due timers in time order on this thread.
void AdvanceClock(int64_t milliseconds);
std::size_t ActiveTimerCount();

}  // namespace hostsim
