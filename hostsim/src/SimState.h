// Internal state of the simulated host.
#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "hostsim/SimHost.h"
#include "Kit/Timer.h"
#include "TesselTask/TesselTask.h"
#include "tthost/HIDComm.h"
#include "UnifyWebView/IUnifyWebViewModuleAPI.h"

namespace hostsim {

class SimWebView;

struct Timer {
  Kit::CTimer* owner = nullptr;
  Kit::CTimerID* id = nullptr;
  int64_t intervalUs = 0;
  int64_t dueUs = 0;
  bool repeat = true;
};

struct QueuedTask {
  TesselTask::ITesselTask* task = nullptr;
  uint64_t key = 0;
};

struct SimState {
  // Host state (main thread).
  int sessionState = 0;
  std::string webToken;
  std::wstring userIdentity;
  std::wstring confUserIdentity;
  std::wstring pageAddress;
  std::map<std::pair<std::string, std::string>, std::string> options;      // (section, key)
  std::map<std::pair<std::string, std::string>, std::string> confOptions;
  std::set<std::wstring> trusted;
  std::set<std::string, std::less<>> failing;
  std::map<std::wstring, std::unique_ptr<SimWebView>, std::less<>> webViews;

  // Devices (main thread).
  IHIDCommCallback* hidCallback = nullptr;
  IHIDComm* hid = nullptr;

  // Clock and timers (main thread).
  int64_t nowUs = 0;
  uint64_t nextTimerHandle = 0;
  std::map<uint64_t, Timer> timers;

  // Main-thread queue and task keys (any thread).
  std::mutex taskMutex;
  std::deque<QueuedTask> tasks;
  std::map<std::string, uint64_t> taskKeys;

  // Event log (any thread).
  std::mutex eventMutex;
  std::vector<SimEvent> events;
  std::atomic<bool> logging{true};
  std::function<void(const SimEvent&)> listener;

  bool Fails(std::string_view name) const { return !failing.empty() && failing.count(name) != 0; }
};

SimState& State();
void LogEvent(const std::string& kind, Json::Value data);
std::string Narrow(const std::wstring& s);
SimWebView* FindWebView(std::wstring_view id);
void ResetTimers();
void ResetTasks();
void ResetHID();

constexpr int64_t kClockStartUs = 1700000000LL * 1000000LL;

}  // namespace hostsim
