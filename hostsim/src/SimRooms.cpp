// The host's room side: the room controller with the rooms it reaches, and
// the relay of room messages between the main application and the meeting
// process. Main thread only.
#include <json/reader.h>
#include <json/writer.h>

#include <algorithm>
#include <memory>
#include <string>

#include "ConfApp/IConfAppAPI.h"
#include "PTApp/INWPTAppAPI.h"
#include "SimState.h"

namespace hostsim {
namespace {

RoomSideState& Rooms() { return State().rooms; }

const char* SideName(Side side) { return side == Side::Main ? "main" : "meeting"; }
int SideIndex(Side side) { return side == Side::Main ? 0 : 1; }

std::string CompactJson(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["emitUTF8"] = true;
  return Json::writeString(builder, value);
}

SimRoom* FindRoomByJid(const std::wstring& jid) {
  for (auto& room : Rooms().rooms)
    if (room.jid == jid) return &room;
  return nullptr;
}

SimPairRequest* FindPairRequest(const std::wstring& id) {
  for (auto& request : Rooms().pairRequests)
    if (request.id == id) return &request;
  return nullptr;
}

// The room a pairing request names, or null.
const SimRoom* RoomForRequest(const SimPairRequest& request) {
  for (const auto& room : Rooms().rooms) {
    if (request.kind == tesselus::kKRCPairNearby && room.nearby) return &room;
    if (request.kind == tesselus::kKRCPairSharingKey && room.sharingKey == request.sharingKey)
      return &room;
    if (request.kind == tesselus::kKRCPairRoomJid && room.jid == request.roomJID) return &room;
  }
  return nullptr;
}

std::string BasicText(const SimRoom& room) {
  Json::Value basic(Json::objectValue);
  basic["roomName"] = Narrow(room.name);
  basic["roomLogicEmail"] = Narrow(room.logicEmail);
  basic["roomSharingKey"] = Narrow(room.sharingKey);
  basic["roomJID"] = Narrow(room.jid);
  basic["roomAddress"] = Narrow(room.address);
  return CompactJson(basic);
}

// The "roomJID" member of a basic record; empty when the text has none.
std::wstring RoomJidOfBasic(const std::string& basic) {
  Json::Value root;
  try {
    std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    if (!reader->parse(basic.data(), basic.data() + basic.size(), &root, nullptr)) return {};
  } catch (const std::exception&) {  // nesting beyond the reader's limit
    return {};
  }
  if (!root.isObject() || !root["roomJID"].isString()) return {};
  return Kit::kit_str_convert::Utf8ToWide(root["roomJID"].asString());
}

// Calls `slot` on every registered sink. The list is copied first, and a
// sink that another sink unregistered meanwhile is skipped: it may be gone.
template <class Slot>
void ForEachSink(Slot slot) {
  const std::vector<tesselus::IKRCAppSink*> sinks = Rooms().sinks;
  for (auto* sink : sinks) {
    const auto& now = Rooms().sinks;
    if (std::find(now.begin(), now.end(), sink) != now.end()) slot(sink);
  }
}

void HandAnswer(const tesselus::KRCPairAnswer& answer) {
  auto handler = Rooms().pairAnswerHandler;  // the handler may replace itself
  if (handler) handler(answer);
}

class SimRoomController : public tesselus::IKRController {
 public:
  bool RegisterSink(const Kit::CStringA& key, tesselus::IKRCAppSink* sink) override {
    if (!sink || key != kRoomControllerKey) return false;
    auto& sinks = Rooms().sinks;
    if (std::find(sinks.begin(), sinks.end(), sink) == sinks.end()) sinks.push_back(sink);
    Json::Value data(Json::objectValue);
    data["key"] = std::string(key);
    LogEvent("krRegister", std::move(data));
    return true;
  }

  void UnregisterSink(tesselus::IKRCAppSink* sink) override {
    auto& sinks = Rooms().sinks;
    auto it = std::find(sinks.begin(), sinks.end(), sink);
    if (it == sinks.end()) return;
    sinks.erase(it);
    LogEvent("krUnregister", Json::Value(Json::objectValue));
  }

  bool SendPairRequest(int32_t kind, const Kit::CStringW& sharingKey, const Kit::CStringW& roomJID,
                       Kit::CStringW& requestId) override {
    Json::Value data(Json::objectValue);
    if (Rooms().pairRefused) {
      requestId.clear();
      data["kind"] = kind;
      data["sharingKey"] = Narrow(sharingKey);
      data["roomJID"] = Narrow(roomJID);
      LogEvent("krPairRefused", std::move(data));
      return false;
    }
    SimPairRequest request;
    request.id = L"req-" + std::to_wstring(++Rooms().nextPairRequest);
    request.kind = kind;
    request.sharingKey = sharingKey;
    request.roomJID = roomJID;
    Rooms().pairRequests.push_back(request);
    requestId = request.id;
    data["id"] = Narrow(request.id);
    data["kind"] = kind;
    data["sharingKey"] = Narrow(sharingKey);
    data["roomJID"] = Narrow(roomJID);
    LogEvent("krPairRequest", std::move(data));
    return true;
  }

  void CancelPairRequest(const Kit::CStringW& requestId) override {
    if (SimPairRequest* request = FindPairRequest(requestId)) request->cancelled = true;
    Json::Value data(Json::objectValue);
    data["id"] = Narrow(requestId);
    LogEvent("krCancelRequest", std::move(data));
  }

  bool ConnectRoom(const Kit::CStringA& basic, const Kit::CStringW& guid) override {
    SimConnect connect{RoomJidOfBasic(basic), guid, basic};
    Json::Value data(Json::objectValue);
    data["roomJID"] = Narrow(connect.roomJID);
    data["guid"] = Narrow(guid);
    data["basic"] = std::string(basic);
    Rooms().connects.push_back(std::move(connect));
    LogEvent("krConnect", std::move(data));
    return true;
  }

  int32_t EndPairing(int32_t endKind, const Kit::CStringW& roomJID) override {
    Json::Value data(Json::objectValue);
    data["kind"] = endKind;
    data["roomJID"] = Narrow(roomJID);
    LogEvent("krEndPairing", std::move(data));
    if (Rooms().endPairingDrops && Rooms().connected) {
      const uint64_t connection = Rooms().connection;
      PostMainTask("hostsim.krEndPairing", [connection] {
        if (!Rooms().connected || Rooms().connection != connection) return;
        Rooms().connected = false;
        ForEachSink([](tesselus::IKRCAppSink* sink) { sink->OnConnectionLostNoCode(); });
      });
    }
    return 0;
  }

  std::vector<tesselus::KRCPresence> GetPresence(
      const std::vector<Kit::CStringW>& roomJIDs) override {
    std::vector<tesselus::KRCPresence> out;
    Json::Value data(Json::objectValue);
    Json::Value& listed = data["roomJIDs"] = Json::Value(Json::arrayValue);
    for (const auto& jid : roomJIDs) {
      listed.append(Narrow(jid));
      if (const SimRoom* room = FindRoomByJid(jid)) {
        tesselus::KRCPresence presence;
        presence.roomJID = jid;
        presence.isOnline = room->online ? 1 : 0;
        out.push_back(std::move(presence));
      }
    }
    LogEvent("krPresence", std::move(data));
    return out;
  }
};

}  // namespace

tesselus::IKRController* RoomController() {
  static SimRoomController controller;
  return &controller;
}

void PostMainTask(const char* label, std::function<void()> work) {
  TesselTask::ITesselTask* task = TesselTask::CreateTesselTask(label, std::move(work), nullptr);
  std::lock_guard<std::mutex> lock(State().taskMutex);
  State().tasks.push_back({task, 0});
}

void ResetRooms() { Rooms() = RoomSideState(); }

// ---- rooms

void AddRoom(const SimRoom& room) {
  if (SimRoom* known = FindRoomByJid(room.jid))
    *known = room;
  else
    Rooms().rooms.push_back(room);
}

bool RemoveRoom(const std::wstring& jid) {
  auto& rooms = Rooms().rooms;
  auto it =
      std::find_if(rooms.begin(), rooms.end(), [&](const SimRoom& r) { return r.jid == jid; });
  if (it == rooms.end()) return false;
  rooms.erase(it);
  return true;
}

bool RenameRoom(const std::wstring& jid, const std::wstring& name) {
  SimRoom* room = FindRoomByJid(jid);
  if (!room) return false;
  room->name = name;
  const Kit::CStringW roomJid = jid, roomName = name;
  ForEachSink([&](tesselus::IKRCAppSink* sink) { sink->OnRoomNameChanged(roomJid, roomName); });
  return true;
}

// ---- room controller

std::size_t RoomSinkCount() { return Rooms().sinks.size(); }
void SetPairRequestsRefused(bool refused) { Rooms().pairRefused = refused; }
std::vector<SimPairRequest> PairRequests() { return Rooms().pairRequests; }

void SetPairAnswerHandler(std::function<void(const tesselus::KRCPairAnswer&)> handler) {
  Rooms().pairAnswerHandler = std::move(handler);
}

bool AnswerPairRequest(const std::wstring& id) {
  SimPairRequest* request = FindPairRequest(id);
  if (!request) return false;
  request->answered = true;
  tesselus::KRCPairAnswer answer;
  answer.requestId = id;
  if (const SimRoom* room = RoomForRequest(*request)) {
    answer.roomJID = room->jid;
    answer.basic = BasicText(*room);
  } else if (request->kind != tesselus::kKRCPairNearby) {
    answer.errorCode = 1;
    answer.errorText = L"room not found";
  }
  HandAnswer(answer);
  return true;
}

bool AnswerPairRequestWithError(const std::wstring& id, int32_t code, const std::wstring& text) {
  SimPairRequest* request = FindPairRequest(id);
  if (!request) return false;
  request->answered = true;
  tesselus::KRCPairAnswer answer;
  answer.requestId = id;
  answer.errorCode = code;
  answer.errorText = text;
  HandAnswer(answer);
  return true;
}

void SendPairAnswer(const tesselus::KRCPairAnswer& answer) { HandAnswer(answer); }

std::vector<SimConnect> ConnectRequests() { return Rooms().connects; }

bool FinishPairing(int32_t code, const std::wstring& errorText) {
  if (Rooms().connects.empty()) return false;
  const std::wstring jid = Rooms().connects.back().roomJID;
  tesselus::KRCRoomData data;
  if (code == 0) {
    // A room that is not (or no longer) known pairs with empty records.
    SimRoom room;
    room.jid = jid;
    if (const SimRoom* known = FindRoomByJid(jid)) room = *known;
    Json::Value init(Json::objectValue);
    init["status"] = 0;
    init["feature_list"] = room.featureList;
    init["email"] = Narrow(room.logicEmail);
    init["room_version"] = "1.0";
    init["platform"] = "sim";
    init["kr_device_id"] = "dev-" + Narrow(jid);
    data.initInfo = CompactJson(init);
    data.meetingInfo = CompactJson(room.meetingInfo);
    data.hasIdentity = 1;
    data.roomJID = jid;
    data.roomHandoffJID = jid;
    data.account = CompactJson(room.account);
    Rooms().connected = true;
    ++Rooms().connection;
  }
  const Kit::CStringW text = errorText;
  ForEachSink([&](tesselus::IKRCAppSink* sink) { sink->OnPairFinished(code, text, data); });
  return true;
}

void LoseConnection(bool withCode, int32_t code) {
  Rooms().connected = false;
  ForEachSink([&](tesselus::IKRCAppSink* sink) {
    if (withCode)
      sink->OnConnectionLost(code);
    else
      sink->OnConnectionLostNoCode();
  });
}

void SetEndPairingDropsConnection(bool drops) { Rooms().endPairingDrops = drops; }

void RequestEndPairing() {
  ForEachSink([](tesselus::IKRCAppSink* sink) { sink->OnEndPairing(); });
}

// ---- cross-process relay

void SetRoomMessageReceiver(Side side, std::function<void(const std::string& text)> receiver) {
  Rooms().receivers[SideIndex(side)] = std::move(receiver);
}

void SetRelayOutbound(std::function<void(Side to, const std::string& text)> outbound) {
  Rooms().outbound = std::move(outbound);
}

void DeliverRoomMessage(Side to, const std::string& text) {
  PostMainTask("hostsim.roomMessage", [to, text] {
    auto receiver = Rooms().receivers[SideIndex(to)];  // looked up now: it may have changed
    if (receiver) receiver(text);
  });
}

void SetPeerUnavailable(Side from, bool unavailable) {
  Rooms().peerUnavailable[SideIndex(from)] = unavailable;
}

bool SendRoomMessage(Side from, int kind, const char* data, std::size_t length) {
  const bool fromMain = from == Side::Main;
  const int expected = fromMain ? tesselus::kMsgToMeetingProcess : tesselus::kMsgToMainProcess;
  if (kind != expected || Rooms().peerUnavailable[SideIndex(from)]) return false;
  if (!data && length != 0) return false;
  const Side to = fromMain ? Side::Meeting : Side::Main;
  std::string text = data ? std::string(data, length) : std::string();
  Json::Value event(Json::objectValue);
  event["to"] = SideName(to);
  event["kind"] = kind;
  event["text"] = text;
  LogEvent("roomMessage", std::move(event));
  auto outbound = Rooms().outbound;
  if (outbound)
    outbound(to, text);
  else
    DeliverRoomMessage(to, text);
  return true;
}

}  // namespace hostsim
