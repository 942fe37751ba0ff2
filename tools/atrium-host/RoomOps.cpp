// The script's room operations: the two room services and the way a host
// wires them, the rooms that the simulated room controller reaches, its
// answers, the web service's answers and the relay between the two halves.
#include <json/writer.h>

#include "RoomSinks.h"
#include "ScriptRunner.h"
#include "hostsim/SimRooms.h"

namespace {

using tessel_atriumclient::IKRService;

const char* const kSideNames[2] = {"main", "meeting"};
const char* const kGetNames[2] = {"GetKRServicePT", "GetKRServiceConf"};

std::wstring Wide(const std::string& s) { return Kit::kit_str_convert::Utf8ToWide(s); }
std::string Narrow(const std::wstring& s) { return Kit::kit_str_convert::WideToUtf8(s); }
hostsim::Side SideOf(int index) { return index == 0 ? hostsim::Side::Main : hostsim::Side::Meeting; }

std::string Compact(const Json::Value& value) {
  Json::StreamWriterBuilder b;
  b["indentation"] = "";
  b["emitUTF8"] = true;
  return Json::writeString(b, value);
}

// Reads an optional member: absent keeps `out`, present with another type
// is an error.
bool Opt(const Json::Value& op, const char* member, std::string& out, std::string& error) {
  const Json::Value& v = op[member];
  if (v.isNull()) return true;
  if (!v.isString()) {
    error = std::string("\"") + member + "\" must be text";
    return false;
  }
  out = v.asString();
  return true;
}

bool Opt(const Json::Value& op, const char* member, int& out, std::string& error) {
  const Json::Value& v = op[member];
  if (v.isNull()) return true;
  if (!v.isInt()) {
    error = std::string("\"") + member + "\" must be an integer";
    return false;
  }
  out = v.asInt();
  return true;
}

bool Opt(const Json::Value& op, const char* member, bool& out, std::string& error) {
  const Json::Value& v = op[member];
  if (v.isNull()) return true;
  if (!v.isBool() && !v.isInt()) {
    error = std::string("\"") + member + "\" must be true or false";
    return false;
  }
  out = v.isBool() ? v.asBool() : v.asInt() != 0;
  return true;
}

bool OptObject(const Json::Value& op, const char* member, Json::Value& out, std::string& error) {
  const Json::Value& v = op[member];
  if (v.isNull()) return true;
  if (!v.isObject()) {
    error = std::string("\"") + member + "\" must be an object";
    return false;
  }
  out = v;
  return true;
}

bool NeedText(const Json::Value& op, const char* member, std::string& out, std::string& error) {
  if (op[member].isString()) {
    out = op[member].asString();
    return true;
  }
  error = std::string("missing or mistyped \"") + member + "\"";
  return false;
}

// "side": "main" or "meeting".
bool NeedSide(const Json::Value& op, int& side, std::string& error) {
  std::string name;
  if (!NeedText(op, "side", name, error)) return false;
  for (side = 0; side < 2; ++side)
    if (name == kSideNames[side]) return true;
  error = "\"side\" must be \"main\" or \"meeting\"";
  return false;
}

// The request `op` names with "id" (or `member`), or else the last one taken.
bool RequestId(const Json::Value& op, const char* member, std::wstring& id, std::string& error) {
  std::string given;
  if (!Opt(op, member, given, error)) return false;
  if (!given.empty()) {
    id = Wide(given);
    return true;
  }
  const auto requests = hostsim::PairRequests();
  if (requests.empty()) {
    error = "the room controller has taken no pairing request";
    return false;
  }
  id = requests.back().id;
  return true;
}

}  // namespace

// ---- room services

bool ScriptRunner::CreateRoomService(int side, std::string& error) {
  const GetKRServiceFn get = entries_.getRoomService[side];
  if (!get || !entries_.destroyRoomService[side]) {
    error = std::string("the plug-in lacks ") + kGetNames[side];
    return false;
  }
  IKRService* service = get();
  if (!service) {
    error = std::string(kGetNames[side]) + " gave no service";
    return false;
  }
  RoomSlot& slot = rooms_[side];
  if (slot.service == service) return true;  // already wired
  slot.service = service;
  const RoomLinePrinter print = [this](const Json::Value& line) { Print(line); };
  slot.hostSink = std::make_unique<RoomHostPrinter>(kSideNames[side], print);
  slot.eventSink = std::make_unique<RoomEventPrinter>(kSideNames[side], print);
  service->SetHostSink(slot.hostSink.get());
  service->AddEventSink(slot.eventSink.get());
  // What the host's relay receives for this side goes to the service; the
  // room controller's answers go to the main application's service.
  hostsim::SetRoomMessageReceiver(SideOf(side), [this, side](const std::string& text) {
    if (IKRService* s = rooms_[side].service) s->OnRoomMessage(text);
  });
  if (side == 0) {
    hostsim::SetPairAnswerHandler([this](const tesselus::KRCPairAnswer& answer) {
      if (IKRService* s = rooms_[0].service) s->OnPairResult(answer.requestId, 0, answer);
    });
  }
  return true;
}

void ScriptRunner::DestroyRoomService(int side) {
  RoomSlot& slot = rooms_[side];
  hostsim::SetRoomMessageReceiver(SideOf(side), nullptr);
  if (side == 0) hostsim::SetPairAnswerHandler(nullptr);
  if (slot.service) {
    slot.service->RemoveEventSink(slot.eventSink.get());
    slot.service->SetHostSink(nullptr);
    slot.service = nullptr;
    entries_.destroyRoomService[side]();
  }
  slot.hostSink.reset();
  slot.eventSink.reset();
}

bool ScriptRunner::RoomOp(const std::string& name, const Json::Value& op, std::string& error) {
  int side = 0;
  if (!NeedSide(op, side, error)) return false;
  if (name == "create") return CreateRoomService(side, error);
  IKRService* service = rooms_[side].service;
  if (!service) {
    error = std::string("no ") + kSideNames[side] + " room service: run room.create first";
    return false;
  }
  const auto printReturn = [&](const char* call, Json::Value value) {
    Json::Value line(Json::objectValue);
    line["event"] = "roomReturn";
    line["side"] = kSideNames[side];
    line["call"] = call;
    line["value"] = std::move(value);
    Print(line);
  };

  if (name == "destroy") {
    DestroyRoomService(side);
  } else if (name == "attach" || name == "detach") {
    std::string id;
    if (!NeedText(op, "id", id, error)) return false;
    if (name == "attach")
      service->AttachWebView(Wide(id));
    else
      service->DetachWebView(Wide(id));
  } else if (name == "startPair") {
    int generate = 0;
    if (!Opt(op, "generate", generate, error)) return false;
    printReturn("StartPair", service->StartPair(static_cast<uint32_t>(generate)));
  } else if (name == "resetPair") {
    printReturn("ResetPair", service->ResetPair());
  } else if (name == "cancelPendingAction") {
    service->CancelPendingAction();
  } else if (name == "unpair") {
    service->Unpair();
  } else if (name == "refresh") {
    service->RefreshFromHost();
  } else if (name == "message") {
    std::string text;
    if (op["message"].isObject())
      text = Compact(op["message"]);
    else if (!NeedText(op, "text", text, error))
      return false;
    service->OnRoomMessage(text);
  } else if (name == "meetingStatus") {
    int kind = 0;
    std::string payload;
    if (!Opt(op, "kind", kind, error) || !Opt(op, "payload", payload, error)) return false;
    service->OnMeetingStatusChanged(static_cast<uint32_t>(kind), payload);
  } else if (name == "state") {
    Json::Value line(Json::objectValue);
    line["event"] = "roomState";
    line["side"] = kSideNames[side];
    line["pairState"] = service->GetPairState();
    tessel_atriumclient::KRRoomInfo info;
    if (service->GetRoomInfo(info)) {
      Json::Value& room = line["roomInfo"] = Json::Value(Json::objectValue);
      room["roomName"] = Narrow(info.basic.roomName);
      room["roomJID"] = Narrow(info.basic.roomJID);
    } else {
      line["roomInfo"] = Json::Value();
    }
    Print(line);
  } else {
    error = "unknown op \"room." + name + "\"";
    return false;
  }
  return true;
}

// ---- rooms the controller reaches

bool ScriptRunner::RoomsOp(const std::string& name, const Json::Value& op, std::string& error) {
  std::string jid;
  if (!NeedText(op, "jid", jid, error)) return false;
  if (name == "add") {
    hostsim::SimRoom room;
    room.jid = Wide(jid);
    std::string text;
    if (!Opt(op, "name", text, error)) return false;
    room.name = Wide(text);
    text.clear();
    if (!Opt(op, "sharingKey", text, error)) return false;
    room.sharingKey = Wide(text);
    text.clear();
    if (!Opt(op, "logicEmail", text, error)) return false;
    room.logicEmail = Wide(text);
    text.clear();
    if (!Opt(op, "address", text, error)) return false;
    room.address = Wide(text);
    if (!Opt(op, "nearby", room.nearby, error) || !Opt(op, "online", room.online, error) ||
        !OptObject(op, "featureList", room.featureList, error) ||
        !OptObject(op, "meetingInfo", room.meetingInfo, error) ||
        !OptObject(op, "account", room.account, error))
      return false;
    hostsim::AddRoom(room);
  } else if (name == "remove") {
    if (!hostsim::RemoveRoom(Wide(jid))) {
      error = "no room " + jid;
      return false;
    }
  } else if (name == "rename") {
    std::string newName;
    if (!NeedText(op, "name", newName, error)) return false;
    if (!hostsim::RenameRoom(Wide(jid), Wide(newName))) {
      error = "no room " + jid;
      return false;
    }
  } else {
    error = "unknown op \"rooms." + name + "\"";
    return false;
  }
  return true;
}

// ---- the room controller

bool ScriptRunner::ControllerOp(const std::string& name, const Json::Value& op,
                                std::string& error) {
  if (name == "refuse" || name == "endDrops") {
    bool on = true;
    if (!Opt(op, "on", on, error)) return false;
    if (name == "refuse")
      hostsim::SetPairRequestsRefused(on);
    else
      hostsim::SetEndPairingDropsConnection(on);
  } else if (name == "answer") {
    std::wstring id;
    if (!RequestId(op, "id", id, error)) return false;
    if (!hostsim::AnswerPairRequest(id)) {
      error = "no pairing request " + Narrow(id);
      return false;
    }
  } else if (name == "answerError") {
    std::wstring id;
    int code = 1;
    std::string text;
    if (!RequestId(op, "id", id, error) || !Opt(op, "code", code, error) ||
        !Opt(op, "text", text, error))
      return false;
    if (!hostsim::AnswerPairRequestWithError(id, code, Wide(text))) {
      error = "no pairing request " + Narrow(id);
      return false;
    }
  } else if (name == "answerRaw") {
    tesselus::KRCPairAnswer answer;
    std::wstring id;
    std::string errorText, roomJid, basic;
    int code = 0;
    if (!RequestId(op, "requestId", id, error) || !Opt(op, "errorCode", code, error) ||
        !Opt(op, "errorText", errorText, error) || !Opt(op, "roomJID", roomJid, error))
      return false;
    if (op["basic"].isObject())
      basic = Compact(op["basic"]);
    else if (!Opt(op, "basic", basic, error))
      return false;
    answer.requestId = id;
    answer.errorCode = code;
    answer.errorText = Wide(errorText);
    answer.roomJID = Wide(roomJid);
    answer.basic = basic;
    hostsim::SendPairAnswer(answer);
  } else if (name == "finish") {
    int code = 0;
    std::string text;
    if (!Opt(op, "code", code, error) || !Opt(op, "text", text, error)) return false;
    if (!hostsim::FinishPairing(code, Wide(text))) {
      error = "no connection was asked for";
      return false;
    }
  } else if (name == "lose") {
    bool withCode = false;
    int code = 0;
    if (!Opt(op, "withCode", withCode, error) || !Opt(op, "code", code, error)) return false;
    hostsim::LoseConnection(withCode, code);
  } else if (name == "endRequest") {
    hostsim::RequestEndPairing();
  } else {
    error = "unknown op \"krc." + name + "\"";
    return false;
  }
  return true;
}

// ---- the web service

bool ScriptRunner::WebOp(const std::string& name, const Json::Value& op, std::string& error) {
  if (name == "refuse") {
    bool on = true;
    if (!Opt(op, "on", on, error)) return false;
    hostsim::SetWebRequestsRefused(on);
  } else if (name == "completeRooms") {
    int code = 0;
    if (!Opt(op, "error", code, error)) return false;
    if (!op["rooms"].isNull() && !op["rooms"].isArray()) {
      error = "\"rooms\" must be an array";
      return false;
    }
    std::vector<NW_webservice::PersonalTesselRoom> rooms;
    for (const Json::Value& item : op["rooms"]) {
      if (!item.isObject()) {
        error = "each of \"rooms\" must be an object";
        return false;
      }
      NW_webservice::PersonalTesselRoom room;
      std::string text;
      const std::pair<const char*, Kit::CStringW*> fields[] = {
          {"name", &room.name},         {"displayName", &room.displayName},
          {"roomJID", &room.roomJID},   {"deviceID", &room.deviceID},
          {"resourceID", &room.resourceID}};
      for (const auto& field : fields) {
        text.clear();
        if (!Opt(item, field.first, text, error)) return false;
        *field.second = Wide(text);
      }
      rooms.push_back(std::move(room));
    }
    if (!hostsim::CompletePersonalRoomsRequest(rooms, code)) {
      error = "no personal-room request is pending";
      return false;
    }
  } else if (name == "completeAction") {
    int code = 0;
    std::string result;
    if (!Opt(op, "error", code, error) || !Opt(op, "result", result, error)) return false;
    if (!hostsim::CompletePairedActionRequest(code, result)) {
      error = "no paired-action request is pending";
      return false;
    }
  } else {
    error = "unknown op \"web." + name + "\"";
    return false;
  }
  return true;
}

// ---- the relay

bool ScriptRunner::RelayOp(const std::string& name, const Json::Value& op, std::string& error) {
  if (name != "unavailable") {
    error = "unknown op \"relay." + name + "\"";
    return false;
  }
  int side = 0;
  bool on = true;
  if (!NeedSide(op, side, error) || !Opt(op, "on", on, error)) return false;
  hostsim::SetPeerUnavailable(SideOf(side), on);
  return true;
}
