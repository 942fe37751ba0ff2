// Runs a reference-host script: one JSON object a line, each an operation of
// the host (page calls, client operations, room services, host settings,
// devices, the main queue, the clock). Writes one JSON line per thing the
// plug-in did.
#pragma once

#include <json/value.h>

#include <iosfwd>
#include <memory>
#include <string>

#include "PluginLoader.h"
#include "hostsim/RecordingSinks.h"
#include "hostsim/SimHost.h"

class RoomHostPrinter;
class RoomEventPrinter;

class ScriptRunner {
 public:
  ScriptRunner(const PluginEntries& entries, std::ostream& out);
  ~ScriptRunner();
  ScriptRunner(const ScriptRunner&) = delete;
  ScriptRunner& operator=(const ScriptRunner&) = delete;

  // Every printed line gets a "process" member with this name (split mode),
  // unless it names its process itself; empty: none.
  void SetProcessName(const std::string& name) { process_ = name; }

  // Runs every line of `in`; returns the number of lines that failed.
  int Run(std::istream& in);
  // Runs one line of text, `number` being its line number in the script.
  // Blank and comment lines do nothing. False when the line failed; its
  // error line is printed.
  bool RunText(const std::string& text, int number);
  // Prints an error line for line `number`.
  void PrintError(int number, const std::string& message);
  void Print(const Json::Value& line);

  // What a host does before it unloads the plug-in: unwires and destroys the
  // room services, destroys the client, and drops whatever the simulated
  // host still holds of the plug-in (queued tasks, pending web requests).
  void Shutdown();

 private:
  struct RoomSlot {
    tessel_atriumclient::IKRService* service = nullptr;
    std::unique_ptr<RoomHostPrinter> hostSink;
    std::unique_ptr<RoomEventPrinter> eventSink;
  };

  bool RunLine(const Json::Value& op, std::string& error);
  bool ClientOp(const std::string& name, const Json::Value& op, std::string& error);
  bool HostSet(const Json::Value& op, std::string& error);
  void PrintEvent(const hostsim::SimEvent& event);

  // Room services, rooms, the room controller and the web service
  // (RoomOps.cpp).
  bool RoomOp(const std::string& name, const Json::Value& op, std::string& error);
  bool RoomsOp(const std::string& name, const Json::Value& op, std::string& error);
  bool ControllerOp(const std::string& name, const Json::Value& op, std::string& error);
  bool WebOp(const std::string& name, const Json::Value& op, std::string& error);
  bool RelayOp(const std::string& name, const Json::Value& op, std::string& error);
  bool CreateRoomService(int side, std::string& error);
  void DestroyRoomService(int side);

  PluginEntries entries_;
  std::ostream& out_;
  std::string process_;
  tessel_atriumclient::IAtriumClient* client_ = nullptr;
  hostsim::RecordingHostSink hostSink_;
  hostsim::RecordingClientUISink uiSink_;
  RoomSlot rooms_[2];  // by side: main, meeting
};
