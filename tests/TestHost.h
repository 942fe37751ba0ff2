// A fresh simulated host with one web view, "main", and helpers to talk to
// the page side of it.
#pragma once

#include <gtest/gtest.h>
#include <json/value.h>

#include <string>
#include <vector>

#include "Atrium/AtriumClient.h"
#include "hostsim/RecordingSinks.h"
#include "hostsim/SimHost.h"

namespace testhost {

// The JSON payloads of the scripts run in a view, in order.
std::vector<Json::Value> Payloads(const std::wstring& view = L"main");
Json::Value ParseJson(const std::string& text);
// The notifications among them, as {"notification", "data"} objects.
std::vector<Json::Value> Notifications(const std::wstring& view = L"main");

class ClientTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Posts a call from the page in `view`; returns the replies that it caused.
  std::vector<Json::Value> Call(const std::string& callText, const std::wstring& view = L"main");
  // Calls `function` with `params` and returns the one reply (null when none).
  Json::Value CallFunction(const std::string& function, const std::string& paramsJson = "");

  tessel_atriumclient::AtriumClient* client = nullptr;
  hostsim::RecordingHostSink hostSink;
  hostsim::RecordingClientUISink uiSink;
};

}  // namespace testhost
