#include "KR/KRPairHandler.h"

#include "KR/KRPeerChannel.h"
#include "KR/KRRoomInfo.h"
#include "KR/KRService.h"
#include "KR/KRServiceSink.h"
#include "KR/MyListPKRRequest.h"
#include "Kit/KitGUID.h"
#include "Util/AtriumUtil.h"
#include "Util/JsonText.h"

namespace tessel_atriumclient {
namespace {

enum MessageType : int32_t {
  kMsgPair = 1,
  kMsgUnPair = 2,
  kMsgCancel = 3,
  kMsgCancelRequest = 4,
  kMsgRefresh = 5,
  kMsgListPersonalRooms = 6,
  kMsgState = 7,
  kMsgResult = 8,
  kMsgPersonalRooms = 9,
  kMsgRoomInfo = 10,
  kMsgConnectionLost = 11,
};

bool IsRequesting(int32_t state) {
  return state == kPairRequesting || state == kPairRequestingBySharingKey ||
         state == kPairRequestingByRoomJid;
}

// The key as the room controller compares it: without "-", upper case.
Kit::CStringW NormalizeSharingKey(const Kit::CStringW& key) {
  Kit::CStringW out;
  out.reserve(key.size());
  for (wchar_t c : key) {
    if (c == L'-') continue;
    out.push_back((c >= L'a' && c <= L'z') ? static_cast<wchar_t>(c - L'a' + L'A') : c);
  }
  return out;
}

Json::Value Message(int32_t type) {
  Json::Value m(Json::objectValue);
  m["type"] = type;
  return m;
}

// A member of a room message, or null when absent.
const Json::Value& Member(const Json::Value& message, const char* name) {
  static const Json::Value kNull;
  const Json::Value* v = message.find(name, name + std::char_traits<char>::length(name));
  return v ? *v : kNull;
}

int32_t IntMember(const Json::Value& message, const char* name) {
  const Json::Value& v = Member(message, name);
  return v.isInt() ? v.asInt() : 0;
}

Kit::CStringW TextMember(const Json::Value& message, const char* name) {
  const Json::Value& v = Member(message, name);
  return v.isString() ? JsonText::Wide(v.asString()) : Kit::CStringW();
}

void ReadObjectText(const Kit::CStringA& text, Json::Value& out) {
  if (!JsonText::Parse(text, out) || !out.isObject()) out = Json::Value(Json::objectValue);
}

}  // namespace

KRPairHandler::KRPairHandler(KRService* service)
    : KRHandler(service), alive_(std::make_shared<int>(0)) {}

KRPairHandler::~KRPairHandler() = default;

// ---- starting a pairing

int32_t KRPairHandler::Pair() { return StartPairing(tesselus::kKRCPairNearby, L"", L""); }

int32_t KRPairHandler::PairWithSharingKey(const Kit::CStringW& sharingKey) {
  return StartPairing(tesselus::kKRCPairSharingKey, sharingKey, L"");
}

int32_t KRPairHandler::PairWithRoomJid(const Kit::CStringW& roomJid) {
  return StartPairing(tesselus::kKRCPairRoomJid, L"", roomJid);
}

int32_t KRPairHandler::StartPairing(int32_t kind, const Kit::CStringW& sharingKey,
                                    const Kit::CStringW& roomJid) {
  if (IsRequesting(pairState_)) return 1;
  const Kit::CStringW key =
      kind == tesselus::kKRCPairSharingKey ? NormalizeSharingKey(sharingKey) : Kit::CStringW();
  // A key or JID that is empty names no room: nothing to ask for.
  if ((kind == tesselus::kKRCPairSharingKey && key.empty()) ||
      (kind == tesselus::kKRCPairRoomJid && roomJid.empty()))
    return 0;

  if (!isMainAppSide_) {
    Json::Value m = Message(kMsgPair);
    if (!key.empty()) m["sharingKey"] = JsonText::Utf8(sharingKey);
    if (!roomJid.empty()) m["roomJID"] = JsonText::Utf8(roomJid);
    Send(m);
    return 1;
  }

  tesselus::IKRController* controller = GetRoomController();
  Kit::CStringW id;
  if (controller && controller->SendPairRequest(kind, key, roomJid, id)) {
    requestId_ = id;
    SetPairState(kind == tesselus::kKRCPairNearby       ? kPairRequesting
                 : kind == tesselus::kKRCPairSharingKey ? kPairRequestingBySharingKey
                                                        : kPairRequestingByRoomJid);
    return 1;
  }
  SetPairState(kPairFailed);
  ReportResult(kPairResultRequestFailed, kPairRefusedCode, L"");
  return 0;
}

int32_t KRPairHandler::Start(uint32_t generate, Kit::CStringW& pairKey) {
  if (HasPairedRoom() || pairState_ == kPairPaired) {
    pairKey = service_->roomInfo.basic.roomJID;
    return 1;
  }
  // The meeting half only mirrors the state; its twin owns it.
  if (pairState_ == kPairFailed && isMainAppSide_) SetPairState(kPairIdle);
  if (generate == 0) {
    pairKey = pendingPairKey_;
    return 1;
  }
  if (pendingPairKey_.empty())
    pendingPairKey_ = JsonText::Wide(KitGUID::Create().ToString());
  pairKey = pendingPairKey_;
  return Pair();
}

// ---- the host's answers

void KRPairHandler::OnPairRequestResult(const Kit::CStringW& requestId,
                                        const tesselus::KRCPairAnswer& answer) {
  if (!isMainAppSide_) return;
  lastResult_ = answer;
  if (requestId_.empty() || requestId != requestId_) return;
  const int32_t before = pairState_;

  if (HasPairedRoom()) {
    if (answer.roomJID == service_->roomInfo.basic.roomJID) {
      SetPairState(kPairPaired);
      ReportResult(kPairResultSuccess, 0, L"");
      return;
    }
    EndPairing();
  }
  if (answer.errorCode != 0) {
    SetPairState(kPairFailed);
    if (before == kPairRequesting)
      ReportResult(kPairResultRequestFailed, 0, L"");
    else
      ReportResult(kPairResultRequestFailed, answer.errorCode, answer.errorText);
    return;
  }
  if (answer.roomJID.empty() && before == kPairRequesting) {
    SetPairState(kPairFailed);
    ReportResult(kPairResultRequestFailed, 0, L"");
    return;
  }
  Json::Value basic;
  if (!answer.basic.empty() && JsonText::Parse(answer.basic, basic) && basic.isObject()) {
    const Kit::CStringW guid = JsonText::Wide(KitGUID::Create().ToString());
    tesselus::IKRController* controller = GetRoomController();
    if (!guid.empty() && controller) {
      SetPairState(kPairConnecting);
      controller->ConnectRoom(answer.basic, guid);
      return;
    }
  }
  SetPairState(kPairFailed);
  ReportResult(kPairResultConnectFailed, kPairNoRoomDataCode, L"");
}

void KRPairHandler::OnPairFinished(int32_t code, const Kit::CStringW& errorText,
                                   const tesselus::KRCRoomData& room) {
  // Only a connection that this handler asked for can finish.
  if (!isMainAppSide_ || pairState_ != kPairConnecting) return;
  if (code == 0) {
    KRRoomInfo info;
    Json::Value v;
    ReadObjectText(lastResult_.basic, v);
    FromJson(v, info.basic);
    if (info.basic.roomJID.empty()) info.basic.roomJID = lastResult_.roomJID;
    ReadObjectText(room.initInfo, v);
    FromJson(v, info.initInfo);
    ReadObjectText(room.meetingInfo, v);
    FromJson(v, info.meetingInfo);
    if (room.hasIdentity != 0) {
      if (!room.roomJID.empty()) info.basic.roomJID = room.roomJID;
      ReadObjectText(room.account, v);
      FromJson(v, info.account);
      if (!room.roomHandoffJID.empty()) info.account.room_handoff_jid = room.roomHandoffJID;
    }
    service_->SetRoomInfo(info);
    if (KRServiceSink* sink = Sink()) sink->OnStatusDirty();
    SendRoomInfo();
    SetPairState(kPairPaired);
    ReportResult(kPairResultSuccess, 0, L"");
    return;
  }
  SetPairState(kPairFailed);
  ReportResult(kPairResultConnectFailed, code, errorText);
}

// ---- ending, cancelling

int32_t KRPairHandler::EndPairing() {
  tesselus::IKRController* controller = GetRoomController();
  if (!controller) return -1;
  if (pairState_ == kPairConnecting)
    return controller->EndPairing(tesselus::kKRCEndConnecting, lastResult_.roomJID);
  if (!HasPairedRoom()) return 1;  // nothing to end
  return controller->EndPairing(tesselus::kKRCEndPaired, service_->roomInfo.basic.roomJID);
}

int32_t KRPairHandler::UnPair() {
  if (!isMainAppSide_) {
    Send(Message(kMsgUnPair));
    return 0;
  }
  return EndPairing();
}

int32_t KRPairHandler::OnEndPairing() { return isMainAppSide_ ? EndPairing() : 0; }

int32_t KRPairHandler::Cancel() {
  if (!isMainAppSide_) {
    Send(Message(kMsgCancel));
    return 1;
  }
  if (IsRequesting(pairState_)) {
    if (tesselus::IKRController* controller = GetRoomController())
      controller->CancelPairRequest(requestId_);
    requestId_.clear();
  } else if (pairState_ == kPairConnecting) {
    EndPairing();
  }
  SetPairState(HasPairedRoom() ? kPairPaired : kPairIdle);
  ReportResult(kPairResultCancelled, 0, L"");
  return 1;
}

int32_t KRPairHandler::CancelRequest() {
  if (!IsRequesting(pairState_)) return 0;
  if (!isMainAppSide_) {
    Send(Message(kMsgCancelRequest));
    return 1;
  }
  if (tesselus::IKRController* controller = GetRoomController())
    controller->CancelPairRequest(requestId_);
  requestId_.clear();
  // Without a request there is nothing to wait for.
  SetPairState(HasPairedRoom() ? kPairPaired : kPairIdle);
  return 1;
}

void KRPairHandler::OnConnectionLost(int32_t code) {
  if (isMainAppSide_) ConnectionLost(code, L"");
}

void KRPairHandler::OnConnectionLostNoCode() {
  if (isMainAppSide_) ConnectionLost(0, L"");
}

void KRPairHandler::ConnectionLost(int32_t code, const Kit::CStringW& message) {
  const KRRoomInfo old = service_->roomInfo;
  service_->ClearRoomInfo();
  // The twin hears of the loss before the new state, so that it too still
  // sees the paired state and tells its host once.
  if (isMainAppSide_) {
    Json::Value m = Message(kMsgConnectionLost);
    m["code"] = code;
    m["msg"] = JsonText::Utf8(message);
    Send(m);
  }
  if (pairState_ == kPairPaired) {
    if (pendingPairKey_.empty()) {
      SetPairState(kPairIdle);
      if (KRServiceSink* sink = Sink())
        sink->ForwardNotice(static_cast<uint32_t>(code),
                            message.empty() ? old.basic.roomName : message);
    } else {
      SetPairState(kPairFailed);
    }
  }
}

void KRPairHandler::OnRoomNameChanged(const Kit::CStringW& roomJID, const Kit::CStringW& name) {
  if (!isMainAppSide_ || !HasPairedRoom() || roomJID != service_->roomInfo.basic.roomJID) return;
  service_->roomInfo.basic.roomName = name;
  if (KRServiceSink* sink = Sink()) sink->OnStatusDirty();
  SendRoomInfo();
}

// ---- personal rooms

int32_t KRPairHandler::ListPersonalRooms() {
  if (!isMainAppSide_) {
    Send(Message(kMsgListPersonalRooms));
    return 1;
  }
  tesselus::INWPTAppAPI* app = AtriumUtil::GetPTAppAPI();
  NW_webservice::IWebService* web = app ? app->GetWebService() : nullptr;
  if (!web) return 0;
  auto request = std::make_unique<MyListPKRRequest>(this, alive_);
  if (!web->SendRequest(request.get())) return 0;
  request.release();  // the web service has it now
  return 1;
}

void KRPairHandler::OnListPersonalRoomsResult(NW_webservice::ListPersonalTesselRoomsRequest* result) {
  if (!result) return;
  std::unique_ptr<NW_webservice::ListPersonalTesselRoomsRequest> owned(result);
  // A failed listing keeps the list that was known.
  if (owned->errorCode != 0) return;
  pkrList_.clear();
  for (const NW_webservice::PersonalTesselRoom& room : owned->rooms) {
    KRPersonalRoom entry;
    entry.name = room.name;
    entry.displayName = room.displayName;
    entry.roomJID = room.roomJID;
    entry.deviceID = room.deviceID;
    entry.resourceID = room.resourceID;
    pkrList_.push_back(std::move(entry));
  }
  owned.reset();
  if (tesselus::IKRController* controller = GetRoomController()) {
    std::vector<Kit::CStringW> jids;
    for (const KRPersonalRoom& entry : pkrList_) jids.push_back(entry.roomJID);
    for (const tesselus::KRCPresence& presence : controller->GetPresence(jids))
      for (KRPersonalRoom& entry : pkrList_)
        if (entry.roomJID == presence.roomJID) entry.isOnline = presence.isOnline;
  }
  if (KRServiceSink* sink = Sink()) sink->OnPkrList(pkrList_);
  SendPkrList();
}

// ---- state and reports

void KRPairHandler::SetPairState(int32_t state) {
  if (state == pairState_) return;
  pairState_ = state;
  if (KRServiceSink* sink = Sink()) sink->OnPairStatus(static_cast<uint32_t>(state));
  if (isMainAppSide_) {
    Json::Value m = Message(kMsgState);
    m["status"] = state;
    Send(m);
  }
}

void KRPairHandler::ReportResult(int32_t kind, int32_t code, const Kit::CStringW& errorText) {
  KRPairResult result;
  result.state = pairState_;
  result.kind = kind;
  result.code = code;
  result.errorText = errorText;
  result.pendingPairKey = pendingPairKey_;
  Finish(result);
}

void KRPairHandler::Finish(const KRPairResult& result) {
  const bool final = result.kind == kPairResultSuccess || result.kind == kPairResultCancelled;
  KRServiceSink* sink = Sink();
  if (final && !pendingPairKey_.empty() && sink)
    sink->OnPairAction(result.kind == kPairResultSuccess ? 1 : 0, 0);
  if (sink) sink->OnPairInfo(result);
  if (isMainAppSide_) {
    Json::Value m = Message(kMsgResult);
    m["status"] = result.state;
    m["result"] = result.kind;
    m["error"] = result.code;
    m["errorMsg"] = JsonText::Utf8(result.errorText);
    m["requestID"] = JsonText::Utf8(result.pendingPairKey);
    Send(m);
  }
  requestId_.clear();
  if (final) pendingPairKey_.clear();
}

void KRPairHandler::SendRoomInfo() {
  if (!isMainAppSide_) return;
  Json::Value m = Message(kMsgRoomInfo);
  WriteRoomInfo(service_->roomInfo, m);
  Send(m);
}

void KRPairHandler::SendPkrList() {
  if (!isMainAppSide_) return;
  Json::Value m = Message(kMsgPersonalRooms);
  Json::Value& rooms = m["pkrs"] = Json::Value(Json::arrayValue);
  for (const KRPersonalRoom& entry : pkrList_) rooms.append(ToJson(entry));
  Send(m);
}

void KRPairHandler::ResendState() {
  if (!isMainAppSide_) return;
  Json::Value m = Message(kMsgState);
  m["status"] = pairState_;
  Send(m);
  SendPkrList();
  if (pairState_ == kPairPaired && HasPairedRoom()) SendRoomInfo();
}

// ---- messages from the twin

void KRPairHandler::OnPeerMessage(const Json::Value& message) {
  const int32_t type = RoomMessageType(message);
  if (type < kMsgPair || type > kMsgConnectionLost) return;
  const bool request = type <= kMsgListPersonalRooms;
  if (request != (isMainAppSide_ != 0)) return;  // requests on the main side, reports on the other

  switch (type) {
    case kMsgPair: {
      const Json::Value& key = Member(message, "sharingKey");
      const Json::Value& jid = Member(message, "roomJID");
      if (key.isString())
        PairWithSharingKey(JsonText::Wide(key.asString()));
      else if (jid.isString())
        PairWithRoomJid(JsonText::Wide(jid.asString()));
      else
        Pair();
      break;
    }
    case kMsgUnPair:
      UnPair();
      break;
    case kMsgCancel:
      Cancel();
      break;
    case kMsgCancelRequest:
      CancelRequest();
      break;
    case kMsgRefresh:
      ListPersonalRooms();
      ResendState();
      break;
    case kMsgListPersonalRooms:
      ListPersonalRooms();
      break;
    case kMsgState:
      SetPairState(IntMember(message, "status"));
      break;
    case kMsgResult: {
      KRPairResult result;
      result.state = IntMember(message, "status");
      result.kind = IntMember(message, "result");
      result.code = IntMember(message, "error");
      result.errorText = TextMember(message, "errorMsg");
      result.pendingPairKey = pendingPairKey_;
      Finish(result);
      break;
    }
    case kMsgPersonalRooms: {
      const Json::Value& rooms = Member(message, "pkrs");
      if (!rooms.isArray()) break;
      pkrList_.clear();
      for (const Json::Value& room : rooms) {
        KRPersonalRoom entry;
        FromJson(room, entry);
        pkrList_.push_back(std::move(entry));
      }
      if (KRServiceSink* sink = Sink()) sink->OnPkrList(pkrList_);
      break;
    }
    case kMsgRoomInfo: {
      KRRoomInfo info = service_->roomInfo;
      ReadRoomInfo(message, info);
      service_->SetRoomInfo(info);
      if (KRServiceSink* sink = Sink()) sink->OnStatusDirty();
      break;
    }
    case kMsgConnectionLost:
      ConnectionLost(IntMember(message, "code"), TextMember(message, "msg"));
      break;
    default:
      break;
  }
}

}  // namespace tessel_atriumclient
