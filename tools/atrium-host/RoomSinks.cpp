#include "RoomSinks.h"

namespace {

std::string Utf8(const std::wstring& s) { return Kit::kit_str_convert::WideToUtf8(s); }

// Builds the arguments with `fill` and prints the line. The sinks run inside
// the plug-in's calls: nothing may leave them by exception, so a line that
// cannot be built is dropped.
template <class Fill>
void EmitLine(const RoomLinePrinter& print, const char* kind, const std::string& side,
              const char* call, Fill& fill) noexcept {
  try {
    Json::Value args(Json::objectValue);
    fill(args);
    print(RoomCallLine(kind, side, call, std::move(args)));
  } catch (const std::exception&) {
  }
}

void NoArgs(Json::Value&) {}

}  // namespace

Json::Value RoomCallLine(const char* kind, const std::string& side, const char* call,
                         Json::Value args) {
  Json::Value line(Json::objectValue);
  line["event"] = kind;
  line["side"] = side;
  line["call"] = call;
  line["args"] = std::move(args);
  return line;
}

template <class Fill>
void RoomHostPrinter::Emit(const char* call, Fill fill) noexcept {
  EmitLine(print_, "roomHost", side_, call, fill);
}

void RoomHostPrinter::OnPairPageVisible(bool visible) {
  Emit("OnPairPageVisible", [&](Json::Value& a) { a["visible"] = visible; });
}

void RoomHostPrinter::OnActionPage(uint32_t value, uint32_t argument) {
  Emit("OnActionPage", [&](Json::Value& a) {
    a["value"] = value;
    a["argument"] = argument;
  });
}

void RoomHostPrinter::OnContentResize(const Kit::CStringW& webViewId, uint32_t width,
                                      uint32_t height) {
  Emit("OnContentResize", [&](Json::Value& a) {
    a["view"] = Utf8(webViewId);
    a["width"] = width;
    a["height"] = height;
  });
}

void RoomHostPrinter::OnClosePairPage() { Emit("OnClosePairPage", NoArgs); }

void RoomHostPrinter::OnRoomNotice(uint32_t code, const Kit::CStringW& message) {
  Emit("OnRoomNotice", [&](Json::Value& a) {
    a["code"] = code;
    a["message"] = Utf8(message);
  });
}

void RoomHostPrinter::OnRoomRequest(uint32_t kind, const Kit::CStringA& json) {
  Emit("OnRoomRequest", [&](Json::Value& a) {
    a["kind"] = kind;
    a["json"] = std::string(json);
  });
}

void RoomHostPrinter::OnOpenWhiteboard(const Kit::CStringW& id, const Kit::CStringW& name) {
  Emit("OnOpenWhiteboard", [&](Json::Value& a) {
    a["id"] = Utf8(id);
    a["name"] = Utf8(name);
  });
}

void RoomHostPrinter::OnOpenTApp(const Kit::CStringW& id, const Kit::CStringW& name,
                                 const Kit::CStringW& targetUrl, uint32_t flags) {
  Emit("OnOpenTApp", [&](Json::Value& a) {
    a["id"] = Utf8(id);
    a["name"] = Utf8(name);
    a["targetUrl"] = Utf8(targetUrl);
    a["flags"] = flags;
  });
}

template <class Fill>
void RoomEventPrinter::Emit(const char* call, Fill fill) noexcept {
  EmitLine(print_, "roomEvent", side_, call, fill);
}

void RoomEventPrinter::OnPairStatusChanged(uint32_t status) {
  Emit("OnPairStatusChanged", [&](Json::Value& a) { a["status"] = status; });
}

void RoomEventPrinter::OnPairSettled(uint32_t done, int64_t arg) {
  Emit("OnPairSettled", [&](Json::Value& a) {
    a["done"] = done;
    a["arg"] = Json::Int64(arg);
  });
}

void RoomEventPrinter::OnRoomList(const std::vector<tessel_atriumclient::KRPersonalRoom>& rooms) {
  Emit("OnRoomList", [&](Json::Value& a) {
    Json::Value& list = a["rooms"] = Json::Value(Json::arrayValue);
    for (const auto& room : rooms) {
      Json::Value item(Json::objectValue);
      item["name"] = Utf8(room.name);
      item["displayName"] = Utf8(room.displayName);
      item["roomJID"] = Utf8(room.roomJID);
      item["deviceID"] = Utf8(room.deviceID);
      item["resourceID"] = Utf8(room.resourceID);
      item["isOnline"] = room.isOnline;
      list.append(std::move(item));
    }
  });
}

void RoomEventPrinter::OnMeetingChanged(uint64_t value) {
  Emit("OnMeetingChanged", [&](Json::Value& a) { a["value"] = Json::UInt64(value); });
}
