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
#include "hostsim/SimRooms.h"
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

// The room side (main thread): rooms, the controller's sinks and requests,
// and the relay's ends.
struct RoomSideState {
  std::vector<SimRoom> rooms;  // in the order added
  std::vector<tesselus::IKRCAppSink*> sinks;
  bool pairRefused = false;
  uint64_t nextPairRequest = 0;
  std::vector<SimPairRequest> pairRequests;
  std::function<void(const tesselus::KRCPairAnswer&)> pairAnswerHandler;
  std::vector<SimConnect> connects;
  // The paired room: set by a successful FinishPairing, cleared when its
  // connection drops. `connection` counts the pairings, so that a drop
  // posted for one pairing does not end a later one.
  bool connected = false;
  uint64_t connection = 0;
  bool endPairingDrops = true;
  std::function<void(const std::string&)> receivers[2];  // by Side
  std::function<void(Side, const std::string&)> outbound;
  bool peerUnavailable[2] = {false, false};  // by sending Side
};

// The web service (main thread).
struct WebServiceState {
  bool refused = false;
  uint64_t nextRequest = 0;
  std::deque<NW_webservice::BaseRequest*> pending;  // owned, oldest first
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

  // Room side and web service (main thread).
  RoomSideState rooms;
  WebServiceState web;

  bool Fails(std::string_view name) const { return !failing.empty() && failing.count(name) != 0; }
};

SimState& State();
void LogEvent(const std::string& kind, Json::Value data);
std::string Narrow(const std::wstring& s);
SimWebView* FindWebView(std::wstring_view id);
void ResetTimers();
void ResetTasks();
void ResetHID();
void ResetRooms();
void ResetWebService();

// Posts `work` to the main-thread queue, after every task already queued.
void PostMainTask(const char* label, std::function<void()> work);

// The room controller, the key its sinks register under, and the web service.
constexpr const char* kRoomControllerKey = "tesselrooms.krc";
tesselus::IKRController* RoomController();
NW_webservice::IWebService* WebService();
// A room message sent by the process `from`: false when `kind` is not that
// process's message kind or the other process cannot take it.
bool SendRoomMessage(Side from, int kind, const char* data, std::size_t length);

constexpr int64_t kClockStartUs = 1700000000LL * 1000000LL;

}  // namespace hostsim
