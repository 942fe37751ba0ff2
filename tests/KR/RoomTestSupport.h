// Both room services in one process, joined by the simulated host's relay,
// with one room page each: "kr-main" (main window) and "kr-meeting" (meeting
// window), and a room system that can be paired by sharing key.
#pragma once

#include <gtest/gtest.h>
#include <json/value.h>

#include <string>
#include <vector>

#include "KR/KRServiceConf.h"
#include "KR/KRServicePT.h"
#include "hostsim/SimHost.h"
#include "hostsim/SimRooms.h"

namespace roomtest {

constexpr const wchar_t* kMainView = L"kr-main";
constexpr const wchar_t* kMeetingView = L"kr-meeting";
constexpr const wchar_t* kRoomJid = L"room-1@rooms.example.test";

// The standard room: "Atlas", key "ABCDEF", a personal room that can join meetings.
hostsim::SimRoom StandardRoom();

// The notifications that a view received, {"notification", "data"} each.
std::vector<Json::Value> Notifications(const std::wstring& view);
// Only those named `name`, as their data.
std::vector<Json::Value> NotificationData(const std::wstring& view, const std::string& name);
// The room messages the host relayed so far, parsed, with "to" added.
std::vector<Json::Value> RoomMessages();
std::vector<int> RoomMessageTypes(const std::string& to);

// Host and event sinks that record each call as one line of text.
struct RecordingRoomSinks : tessel_atriumclient::IKRServiceHostSink,
                            tessel_atriumclient::IKRServiceEventSink {
  void OnPairPageVisible(bool visible) override { Add("pairPage " + std::to_string(visible)); }
  void OnActionPage(uint32_t value, uint32_t argument) override {
    Add("actionPage " + std::to_string(value) + " " + std::to_string(argument));
  }
  void OnContentResize(const Kit::CStringW&, uint32_t width, uint32_t height) override {
    Add("resize " + std::to_string(width) + " " + std::to_string(height));
  }
  void OnClosePairPage() override { Add("closePairPage"); }
  void OnRoomNotice(uint32_t code, const Kit::CStringW& message) override {
    Add("notice " + std::to_string(code) + " " + Kit::kit_str_convert::WideToUtf8(message));
  }
  void OnPairStatusChanged(uint32_t status) override { Add("status " + std::to_string(status)); }
  void OnPairSettled(uint32_t done, int64_t arg) override {
    Add("settled " + std::to_string(done) + " " + std::to_string(arg));
  }
  void Add(const std::string& line) { calls.push_back(prefix + line); }
  std::string prefix;
  std::vector<std::string> calls;
};

class RoomTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Runs the main-thread queue until nothing is left (relayed messages).
  void Pump();
  // A page call from `view`; returns the reply's "result" or null when none came.
  Json::Value Call(const std::wstring& view, const std::string& function,
                   const std::string& paramsJson = "");
  // Pairs by sharing key from the meeting window through to state 6.
  void PairFromMeetingWindow();
  // Clears recorded scripts and events.
  void Forget();

  tessel_atriumclient::KRServicePT* pt = nullptr;
  tessel_atriumclient::KRServiceConf* conf = nullptr;
  RecordingRoomSinks mainSinks;
  RecordingRoomSinks meetingSinks;
};

}  // namespace roomtest
