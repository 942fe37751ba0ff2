// State of the simulated host, its setters and its event log.
#include "hostsim/SimHost.h"

#include "Kit/CStringT.h"
#include "SimState.h"
#include "SimWebView.h"

namespace hostsim {

SimState& State() {
  static SimState* state = [] {
    auto* s = new SimState();  // never destroyed: plug-ins may outlive static teardown
    s->nowUs = kClockStartUs;
    return s;
  }();
  return *state;
}

std::string Narrow(const std::wstring& s) { return Kit::kit_str_convert::WideToUtf8(s); }

void LogEvent(const std::string& kind, Json::Value data) {
  SimState& s = State();
  std::function<void(const SimEvent&)> listener;
  SimEvent event{kind, std::move(data)};
  {
    std::lock_guard<std::mutex> lock(s.eventMutex);
    if (!s.logging) return;
    s.events.push_back(event);
    listener = s.listener;
  }
  if (listener) listener(event);
}

void Reset() {
  SimState& s = State();
  ResetTasks();
  ResetTimers();
  ResetHID();
  ResetRooms();
  ResetWebService();
  s.webViews.clear();
  s.sessionState = 0;
  s.webToken.clear();
  s.userIdentity.clear();
  s.confUserIdentity.clear();
  s.pageAddress.clear();
  s.options.clear();
  s.confOptions.clear();
  s.trusted.clear();
  s.failing.clear();
  s.nowUs = kClockStartUs;
  std::lock_guard<std::mutex> lock(s.eventMutex);
  s.events.clear();
  s.logging = true;
  s.listener = nullptr;
}

void SetSessionState(int state) { State().sessionState = state; }
void SetWebToken(const std::string& token) { State().webToken = token; }
void SetUserIdentity(const std::wstring& identity) { State().userIdentity = identity; }
void SetConfUserIdentity(const std::wstring& identity) { State().confUserIdentity = identity; }
void SetPageAddress(const std::wstring& address) { State().pageAddress = address; }
void SetOption(const std::string& section, const std::string& key, const std::string& value) {
  State().options[{section, key}] = value;
}
void RemoveOption(const std::string& section, const std::string& key) {
  State().options.erase({section, key});
}
void SetConfOption(const std::string& section, const std::string& key, const std::string& value) {
  State().confOptions[{section, key}] = value;
}
void AddTrustedAddress(const std::wstring& address) { State().trusted.insert(address); }
void SetLookupFails(const std::string& name, bool fails) {
  if (fails)
    State().failing.insert(name);
  else
    State().failing.erase(name);
}

std::vector<SimEvent> Events() {
  std::lock_guard<std::mutex> lock(State().eventMutex);
  return State().events;
}

std::vector<SimEvent> EventsOf(const std::string& kind) {
  std::vector<SimEvent> out;
  for (auto& e : Events())
    if (e.kind == kind) out.push_back(e);
  return out;
}

void ClearEvents() {
  std::lock_guard<std::mutex> lock(State().eventMutex);
  State().events.clear();
}

void SetEventListener(std::function<void(const SimEvent&)> listener) {
  std::lock_guard<std::mutex> lock(State().eventMutex);
  State().listener = std::move(listener);
}

void SetEventLogging(bool on) {
  std::lock_guard<std::mutex> lock(State().eventMutex);
  State().logging = on;
}

}  // namespace hostsim
