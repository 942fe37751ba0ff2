// Runs a reference-host script: one JSON object a line, each an operation of
// the host (page calls, client operations, host settings, devices, the main
// queue, the clock). Writes one JSON line per thing the plug-in did.
#pragma once

#include <json/value.h>

#include <iosfwd>
#include <string>

#include "AtriumClientApi.h"
#include "hostsim/RecordingSinks.h"
#include "hostsim/SimHost.h"

class ScriptRunner {
 public:
  ScriptRunner(GetAtriumClientFn get, DestroyAtriumClientFn destroy, std::ostream& out);
  ~ScriptRunner();

  // Runs every line of `in`; returns the number of lines that failed.
  int Run(std::istream& in);

 private:
  bool RunLine(const Json::Value& op, std::string& error);
  bool ClientOp(const std::string& name, const Json::Value& op, std::string& error);
  bool HostSet(const Json::Value& op, std::string& error);
  void Print(const Json::Value& line);
  void PrintEvent(const hostsim::SimEvent& event);

  GetAtriumClientFn get_;
  DestroyAtriumClientFn destroy_;
  std::ostream& out_;
  tessel_atriumclient::IAtriumClient* client_ = nullptr;
  hostsim::RecordingHostSink hostSink_;
  hostsim::RecordingClientUISink uiSink_;
};
