#include "KR/KRJsHandler.h"

#include "KR/KRJsHandlerSink.h"
#include "Util/JsonText.h"

namespace tessel_atriumclient {
namespace {

// A member of "params"; null when "params" is no object or lacks it.
const Json::Value& Param(const AtriumJsReq& req, const char* name) {
  static const Json::Value kNull;
  if (!req.params.isObject()) return kNull;
  const Json::Value* v = req.params.find(name, name + std::char_traits<char>::length(name));
  return v ? *v : kNull;
}

Kit::CStringW TextParam(const AtriumJsReq& req, const char* name) {
  const Json::Value& v = Param(req, name);
  return v.isString() ? JsonText::Wide(v.asString()) : Kit::CStringW();
}

int32_t IntParam(const AtriumJsReq& req, const char* name) {
  const Json::Value& v = Param(req, name);
  return v.isInt() ? v.asInt() : 0;
}

bool BoolParam(const AtriumJsReq& req, const char* name) {
  const Json::Value& v = Param(req, name);
  return v.isBool() && v.asBool();
}

}  // namespace

int32_t PagePairStatus(int32_t internalState) {
  switch (internalState) {
    case 1:
    case 2:
    case 3:
    case 5:
      return 2;
    case 4:
      return 1;
    case 6:
      return 3;
    default:
      return 0;
  }
}

KRJsHandler::~KRJsHandler() { functions_.clear(); }

void KRJsHandler::RegisterFunctions() {
  using Method = int32_t (KRJsHandler::*)(const AtriumJsReq&, AtriumJsRes&);
  const auto bind = [this](Method method) {
    KRJsHandler* self = this;
    return [self, method](const AtriumJsReq& req, AtriumJsRes& res) -> int32_t {
      return (self->*method)(req, res);
    };
  };
  Register("onJSReady", bind(&KRJsHandler::OnJSReady));
  Register("joinMeeting", bind(&KRJsHandler::JoinMeeting));
  Register("shareScreen", bind(&KRJsHandler::ShareScreen));
  Register("pair", bind(&KRJsHandler::PairNothing));
  Register("unPair", bind(&KRJsHandler::UnPair));
  Register("resizeContentSize", bind(&KRJsHandler::ResizeContentSize));
  Register("pairWithSharingKey", bind(&KRJsHandler::PairWithSharingKey));
  Register("pairWithRoomJid", bind(&KRJsHandler::PairWithRoomJid));
  Register("pairWithAnotherRoom", bind(&KRJsHandler::PairWithAnotherRoom));
  Register("hoverOnMenuItem", bind(&KRJsHandler::HoverOnMenuItem));
  Register("getRoomInfo", bind(&KRJsHandler::GetRoomInfo));
  Register("getMeetingStatus", bind(&KRJsHandler::GetMeetingStatus));
  Register("meetingInProgress", bind(&KRJsHandler::MeetingInProgress));
  Register("handleAction", bind(&KRJsHandler::HandleAction));
  Register("cancel", bind(&KRJsHandler::Cancel));
  Register("scanQr", bind(&KRJsHandler::ScanQr));
  Register("getPkrList", bind(&KRJsHandler::GetPkrList));
  Register("getPairInitInfo", bind(&KRJsHandler::GetPairInitInfo));
  Register("getActionInitInfo", bind(&KRJsHandler::GetActionInitInfo));
  Register("switchWhiteboardTab", bind(&KRJsHandler::SwitchWhiteboardTab));
  Register("openWhiteboard", bind(&KRJsHandler::OpenWhiteboard));
  Register("getOpenedWhiteboard", bind(&KRJsHandler::GetOpenedWhiteboard));
  Register("switchAppTab", bind(&KRJsHandler::SwitchAppTab));
  Register("openApp", bind(&KRJsHandler::OpenApp));
  Register("getOpenedApp", bind(&KRJsHandler::GetOpenedApp));
}

// ---- page functions

int32_t KRJsHandler::OnJSReady(const AtriumJsReq& req, AtriumJsRes& res) {
  if (!sink_) return 0;
  sink_->OnPageReady(req, res);
  return 1;
}

int32_t KRJsHandler::JoinMeeting(const AtriumJsReq& req, AtriumJsRes&) {
  if (!sink_ || !req.params.isObject()) return 0;
  const Kit::CStringW meetingId = TextParam(req, "meetingID");
  if (meetingId.empty()) return 0;
  return sink_->JoinMeeting(meetingId, 0);
}

int32_t KRJsHandler::ShareScreen(const AtriumJsReq& req, AtriumJsRes& res) {
  return sink_ ? sink_->ShareScreen(req, res) : 0;
}

int32_t KRJsHandler::PairNothing(const AtriumJsReq&, AtriumJsRes&) { return 0; }

int32_t KRJsHandler::UnPair(const AtriumJsReq& req, AtriumJsRes& res) {
  return sink_ ? sink_->UnPair(req, res) : 0;
}

int32_t KRJsHandler::ResizeContentSize(const AtriumJsReq& req, AtriumJsRes&) {
  if (!sink_) return 0;
  sink_->ResizeContent(req, IntParam(req, "width"), IntParam(req, "height"));
  return 1;
}

int32_t KRJsHandler::PairWithSharingKey(const AtriumJsReq& req, AtriumJsRes&) {
  return sink_ ? sink_->PairWithSharingKey(TextParam(req, "sharingKey")) : 0;
}

int32_t KRJsHandler::PairWithRoomJid(const AtriumJsReq& req, AtriumJsRes&) {
  return sink_ ? sink_->PairWithRoomJid(TextParam(req, "jid")) : 0;
}

int32_t KRJsHandler::PairWithAnotherRoom(const AtriumJsReq& req, AtriumJsRes& res) {
  if (!sink_) return 0;
  sink_->PairWithAnotherRoom(req, res);
  return 1;
}

int32_t KRJsHandler::HoverOnMenuItem(const AtriumJsReq& req, AtriumJsRes&) {
  if (!sink_) return 0;
  sink_->HoverOnMenuItem(IntParam(req, "positionY"), TextParam(req, "meetingID"),
                         BoolParam(req, "meetingInProgress"));
  return 1;
}

int32_t KRJsHandler::GetRoomInfo(const AtriumJsReq&, AtriumJsRes& res) {
  if (!sink_) return 0;
  KRRoomInfo info;
  sink_->GetRoomInfo(info);
  Json::Value result(Json::objectValue);
  result["isPaired"] = !info.basic.roomJID.empty();
  result["roomName"] = JsonText::Utf8(info.basic.roomName);
  result["roomJID"] = JsonText::Utf8(info.basic.roomJID);
  res.result.swap(result);
  return 1;
}

int32_t KRJsHandler::GetMeetingStatus(const AtriumJsReq& req, AtriumJsRes& res) {
  if (!sink_) return 0;
  sink_->GetMeetingStatus(req, res);
  return 1;
}

int32_t KRJsHandler::MeetingInProgress(const AtriumJsReq&, AtriumJsRes&) {
  return sink_ ? sink_->MeetingInProgress() : 0;
}

int32_t KRJsHandler::HandleAction(const AtriumJsReq& req, AtriumJsRes&) {
  if (!sink_) return 0;
  const Json::Value& action = Param(req, "action");
  if (!action.isInt()) return 0;
  return sink_->HandleAction(action.asInt());
}

int32_t KRJsHandler::Cancel(const AtriumJsReq& req, AtriumJsRes& res) {
  return sink_ ? sink_->Cancel(req, res) : 0;
}

int32_t KRJsHandler::ScanQr(const AtriumJsReq& req, AtriumJsRes& res) {
  return sink_ ? sink_->ScanQr(req, res) : 0;
}

int32_t KRJsHandler::GetPkrList(const AtriumJsReq& req, AtriumJsRes& res) {
  return sink_ ? sink_->GetPkrList(req, res) : 0;
}

int32_t KRJsHandler::GetPairInitInfo(const AtriumJsReq&, AtriumJsRes& res) {
  if (!sink_) return 0;
  Json::Value result(Json::objectValue);
  result["status"] = PagePairStatus(pairState_);
  result["showUIInConf"] = ShowUIInConf();
  result["share_screen"] = shareScreenVisible_ != 0;
  result["open_whiteboard"] = openWhiteboardVisible_ != 0;
  result["open_tapp"] = openAppVisible_ != 0;
  res.result.swap(result);
  return 1;
}

int32_t KRJsHandler::GetActionInitInfo(const AtriumJsReq&, AtriumJsRes& res) {
  if (!sink_) return 0;
  Json::Value result(Json::objectValue);
  result["actions"] = actions_;
  result["showUIInConf"] = ShowUIInConf();
  result["isHostForMeetingItem"] = isHostForMeetingItem_ != 0;
  res.result.swap(result);
  return 1;
}

int32_t KRJsHandler::SwitchWhiteboardTab(const AtriumJsReq& req, AtriumJsRes& res) {
  return sink_ ? sink_->SwitchWhiteboardTab(req, res) : 0;
}

int32_t KRJsHandler::OpenWhiteboard(const AtriumJsReq& req, AtriumJsRes&) {
  if (!sink_ || !req.params.isObject()) return 0;
  const Kit::CStringW docId = TextParam(req, "docId");
  if (docId.empty()) return 0;
  return sink_->OpenWhiteboard(docId);
}

int32_t KRJsHandler::GetOpenedWhiteboard(const AtriumJsReq& req, AtriumJsRes& res) {
  return sink_ ? sink_->GetOpenedWhiteboard(req, res) : 0;
}

int32_t KRJsHandler::SwitchAppTab(const AtriumJsReq& req, AtriumJsRes& res) {
  return sink_ ? sink_->SwitchAppTab(req, res) : 0;
}

int32_t KRJsHandler::OpenApp(const AtriumJsReq& req, AtriumJsRes&) {
  if (!sink_ || !req.params.isObject()) return 0;
  const Kit::CStringW appId = TextParam(req, "appId");
  if (appId.empty()) return 0;
  return sink_->OpenApp(L"", appId);
}

int32_t KRJsHandler::GetOpenedApp(const AtriumJsReq& req, AtriumJsRes& res) {
  return sink_ ? sink_->GetOpenedApp(req, res) : 0;
}

// ---- notifications

void KRJsHandler::SendNotification(const AtriumJsReq& req) {
  if (!sink_) return;
  std::vector<Kit::CStringW> targets;
  sink_->GetNotificationTargets(targets);
  if (targets.empty()) return;
  AtriumJsReq copy = req;
  for (const Kit::CStringW& target : targets) {
    copy.webViewId = target;
    BaseJsHandler::SendNotification(copy);
  }
}

void KRJsHandler::Notify(const char* name, Json::Value data) {
  AtriumJsReq req;
  req.functionName = name;
  req.params.swap(data);
  SendNotification(req);
}

void KRJsHandler::AddRoomIdentity(Json::Value& data) {
  KRRoomInfo info;
  if (sink_) sink_->GetRoomInfo(info);
  data["roomName"] = JsonText::Utf8(info.basic.roomName);
  data["roomJID"] = JsonText::Utf8(info.basic.roomJID);
}

void KRJsHandler::onUpdatePairStatus(int32_t internalState) {
  pairState_ = internalState;
  Json::Value data(Json::objectValue);
  data["status"] = PagePairStatus(internalState);
  data["code"] = 0;
  data["showUIInConf"] = ShowUIInConf();
  if (internalState == 6) AddRoomIdentity(data);
  Notify("onUpdatePairStatus", std::move(data));
}

void KRJsHandler::onUpdatePairStatus(const KRPairResult& result) {
  pairState_ = result.state;
  int32_t status = 0;
  int32_t code = 0;
  switch (result.kind) {
    case kPairResultSuccess:
      status = 3;
      break;
    case kPairResultRequestFailed:
    case kPairResultConnectFailed:
      status = 1;
      code = result.code;
      break;
    case kPairResultCancelled:
      status = result.state == 6 ? 3 : 0;
      break;
    default:
      break;
  }
  Json::Value data(Json::objectValue);
  data["status"] = status;
  data["code"] = code;
  data["showUIInConf"] = ShowUIInConf();
  data["errorMsg"] = JsonText::Utf8(result.errorText);
  if (result.state == 6) AddRoomIdentity(data);
  Notify("onUpdatePairStatus", std::move(data));
}

void KRJsHandler::onUpdatePKRList(const std::vector<KRPersonalRoom>& rooms) {
  Json::Value data(Json::arrayValue);
  for (const KRPersonalRoom& room : rooms) {
    Json::Value item(Json::objectValue);
    item["name"] = JsonText::Utf8(room.name);
    item["displayName"] = JsonText::Utf8(room.displayName);
    item["isOnline"] = room.isOnline != 0;
    item["jid"] = JsonText::Utf8(room.roomJID);
    data.append(std::move(item));
  }
  Notify("onUpdatePKRList", std::move(data));
}

void KRJsHandler::onUpdateMeetingList(const Json::Value& meetings) {
  Notify("onUpdateMeetingList", meetings);
}

void KRJsHandler::onUpdateMeetingStatus(bool isClientInMeeting, bool isKRInMeeting,
                                        bool isInSameMeeting, bool isInCompanionMode,
                                        bool isInDirectShare) {
  Json::Value data(Json::objectValue);
  data["isClientInMeeting"] = isClientInMeeting;
  data["isKRInMeeting"] = isKRInMeeting;
  data["isInSameMeeting"] = isInSameMeeting;
  data["isInCompanionMode"] = isInCompanionMode;
  data["isInDirectShare"] = isInDirectShare;
  Notify("onUpdateMeetingStatus", std::move(data));
}

void KRJsHandler::onUpdateHoverOnMenuItem(bool keepHover, const Kit::CStringW& meetingId,
                                          bool meetingInProgress) {
  Json::Value data(Json::objectValue);
  data["meetingID"] = JsonText::Utf8(meetingId);
  data["meetingInProgress"] = meetingInProgress;
  data["keepHover"] = keepHover;
  Notify("onUpdateHoverOnMenuItem", std::move(data));
}

void KRJsHandler::onShowActions(uint32_t actions, int32_t isHostForMeetingItem) {
  actions_ = actions;
  isHostForMeetingItem_ = isHostForMeetingItem;
  Json::Value data(Json::objectValue);
  data["actions"] = actions;
  data["showUIInConf"] = ShowUIInConf();
  data["isHostForMeetingItem"] = isHostForMeetingItem != 0;
  Notify("onShowActions", std::move(data));
}

void KRJsHandler::onUpdateOpenedWhiteboard(const std::vector<KRWhiteboardItem>& items) {
  Json::Value data(Json::arrayValue);
  for (const KRWhiteboardItem& item : items) {
    Json::Value v(Json::objectValue);
    v["name"] = JsonText::Utf8(item.name);
    v["docId"] = JsonText::Utf8(item.docId);
    data.append(std::move(v));
  }
  Notify("onUpdateOpenedWhiteboard", std::move(data));
}

void KRJsHandler::onUpdateOpenedApp(const std::vector<KRAppItem>& items) {
  Json::Value data(Json::arrayValue);
  for (const KRAppItem& item : items) {
    Json::Value v(Json::objectValue);
    v["name"] = JsonText::Utf8(item.name);
    v["appId"] = JsonText::Utf8(item.appId);
    data.append(std::move(v));
  }
  Notify("onUpdateOpenedApp", std::move(data));
}

void KRJsHandler::updateUIVisible(const char* page, bool visible) {
  Json::Value data(Json::objectValue);
  data["page"] = page;
  data["visible"] = visible;
  Notify("updateUIVisible", std::move(data));
}

void KRJsHandler::updateUIActionVisible(bool shareScreen, bool openWhiteboard, bool openApp) {
  shareScreenVisible_ = shareScreen ? 1 : 0;
  openWhiteboardVisible_ = openWhiteboard ? 1 : 0;
  openAppVisible_ = openApp ? 1 : 0;
  Json::Value data(Json::objectValue);
  data["share_screen"] = shareScreen;
  data["open_whiteboard"] = openWhiteboard;
  data["open_tapp"] = openApp;
  Notify("updateUIActionVisible", std::move(data));
}

}  // namespace tessel_atriumclient
