// The host's sinks for a room service: each call the service makes on them
// becomes one printed line, "roomHost" for the host sink and "roomEvent" for
// the event sink, with the side, the call's name and its arguments.
#pragma once

#include <json/value.h>

#include <functional>
#include <string>

#include "IKRService.h"

using RoomLinePrinter = std::function<void(const Json::Value& line)>;

// {"event": kind, "side": side, "call": call, "args": args}
Json::Value RoomCallLine(const char* kind, const std::string& side, const char* call,
                         Json::Value args);

class RoomHostPrinter : public tessel_atriumclient::IKRServiceHostSink {
 public:
  RoomHostPrinter(std::string side, RoomLinePrinter print)
      : side_(std::move(side)), print_(std::move(print)) {}

  void OnPairPageVisible(bool visible) override;
  void OnActionPage(uint32_t value, uint32_t argument) override;
  void OnContentResize(const Kit::CStringW& webViewId, uint32_t width, uint32_t height) override;
  void OnClosePairPage() override;
  void OnRoomNotice(uint32_t code, const Kit::CStringW& message) override;
  void OnRoomRequest(uint32_t kind, const Kit::CStringA& json) override;
  void OnOpenWhiteboard(const Kit::CStringW& id, const Kit::CStringW& name) override;
  void OnOpenTApp(const Kit::CStringW& id, const Kit::CStringW& name,
                  const Kit::CStringW& targetUrl, uint32_t flags) override;

 private:
  template <class Fill>
  void Emit(const char* call, Fill fill) noexcept;

  std::string side_;
  RoomLinePrinter print_;
};

class RoomEventPrinter : public tessel_atriumclient::IKRServiceEventSink {
 public:
  RoomEventPrinter(std::string side, RoomLinePrinter print)
      : side_(std::move(side)), print_(std::move(print)) {}

  void OnPairStatusChanged(uint32_t status) override;
  void OnPairSettled(uint32_t done, int64_t arg) override;
  void OnRoomList(const std::vector<tessel_atriumclient::KRPersonalRoom>& rooms) override;
  void OnMeetingChanged(uint64_t value) override;

 private:
  template <class Fill>
  void Emit(const char* call, Fill fill) noexcept;

  std::string side_;
  RoomLinePrinter print_;
};
