#include "KR/KRServiceBase.h"

#include <algorithm>

#include "KR/KRPeerChannel.h"
#include "Util/AtriumUtil.h"
#include "Util/JsonText.h"
#include "Util/TextConvert.h"

namespace tessel_atriumclient {

KRServiceBase::KRServiceBase(int32_t isMainApp)
    : isMainApp_(isMainApp != 0 ? 1 : 0),
      jsHandler_(std::make_unique<KRJsHandler>(isMainApp_)),
      service_(std::make_unique<KRService>(isMainApp_)) {
  jsHandler_->RegisterFunctions();
  jsHandler_->SetSink(this);
  service_->sink = this;
}

KRServiceBase::~KRServiceBase() {
  for (const Kit::CStringW& id : webViews_)
    if (tesselus::IUnifyWebViewInstance* instance = AtriumUtil::GetWebViewInstance(id))
      instance->RemoveSink(this);
  webViews_.clear();
  hostSink_ = nullptr;
  eventSinks_.clear();
  service_->sink = nullptr;  // the handlers' teardown reports nothing
  jsHandler_->SetSink(nullptr);
  service_.reset();
  jsHandler_.reset();
}

// ---- sinks and web views

void KRServiceBase::AddEventSink(IKRServiceEventSink* sink) {
  if (sink && std::find(eventSinks_.begin(), eventSinks_.end(), sink) == eventSinks_.end())
    eventSinks_.push_back(sink);
}

void KRServiceBase::RemoveEventSink(IKRServiceEventSink* sink) {
  auto it = std::find(eventSinks_.begin(), eventSinks_.end(), sink);
  if (it != eventSinks_.end()) eventSinks_.erase(it);
}

void KRServiceBase::AttachWebView(const Kit::CStringW& instanceId) {
  if (std::find(webViews_.begin(), webViews_.end(), instanceId) != webViews_.end()) return;
  tesselus::IUnifyWebViewInstance* instance = AtriumUtil::GetWebViewInstance(instanceId);
  if (!instance) return;
  instance->AddSink(this);
  webViews_.push_back(instanceId);
}

void KRServiceBase::DetachWebView(const Kit::CStringW& instanceId) {
  auto it = std::find(webViews_.begin(), webViews_.end(), instanceId);
  if (it == webViews_.end()) return;
  if (tesselus::IUnifyWebViewInstance* instance = AtriumUtil::GetWebViewInstance(instanceId))
    instance->RemoveSink(this);
  webViews_.erase(it);
}

void KRServiceBase::SetHostSink(IKRServiceHostSink* sink) { hostSink_ = sink; }

void KRServiceBase::OnJsMessage(tesselus::IUnifyWebViewInstance* instance, const wchar_t* message,
                                bool& handled) {
  if (!instance) return;
  const Kit::CStringW id = instance->GetId();
  if (std::find(webViews_.begin(), webViews_.end(), id) == webViews_.end()) return;
  const std::size_t length = message ? std::char_traits<wchar_t>::length(message) : 0;
  jsHandler_->HandleJsMessage(id, TextConvert::ToUtf8(message, length));
  handled = true;
}

// ---- pairing

uint32_t KRServiceBase::StartPair(uint32_t generate) {
  KRPairHandler& pair = service_->pair;
  if (pair.HasPairedRoom() || pair.GetPairState() == kPairPaired) ReportPairVisible(true);
  return static_cast<uint32_t>(pair.Start(generate, pairKey_));
}

uint32_t KRServiceBase::ResetPair() {
  hoverState_ = kHoverNone;
  pairKey_.clear();
  service_->CleanUp();
  ReportPairVisible(false);
  ReportAction(0, 0);
  return 1;
}

void KRServiceBase::CancelPendingAction() {
  if (hoverState_ == kHoverMeetingItem) {
    jsHandler_->onUpdateHoverOnMenuItem(false, L"", false);
    ReportAction(0, 0);
  } else if (hoverState_ == kHoverActionMenu) {
    jsHandler_->onUpdateHoverOnMenuItem(false, L"", true);
    ReportAction(0, 0);
  }
  hoverState_ = kHoverNone;
}

uint32_t KRServiceBase::GetPairState() {
  return static_cast<uint32_t>(service_->pair.GetPairState());
}

bool KRServiceBase::GetRoomInfo(KRRoomInfo& out) {
  if (!service_->roomInfoValid) return false;
  out = service_->roomInfo;
  return true;
}

void KRServiceBase::OnRoomMessage(const Kit::CStringA& jsonText) {
  Json::Value message;
  if (!JsonText::Parse(jsonText, message) || !message.isObject()) return;
  service_->pair.OnPeerMessage(message);
  service_->meeting.OnPeerMessage(message);
}

void KRServiceBase::OnMeetingStatusChanged(uint32_t, const Kit::CStringA&) {
  RefreshMeetingStatus();
}

// ---- page and host reports

void KRServiceBase::ReportPairVisible(bool visible) {
  jsHandler_->updateUIVisible("pair", visible);
  if (visible) {
    RefreshMeetingStatus();
    OnPairPageShown();
  }
  if (hostSink_) hostSink_->OnPairPageVisible(visible);
}

void KRServiceBase::ReportAction(uint32_t value, uint32_t argument) {
  jsHandler_->updateUIVisible("action", value != 0);
  if (hostSink_) hostSink_->OnActionPage(value, argument);
}

void KRServiceBase::RefreshMeetingStatus() {
  const KRMeetingHandler& meeting = service_->meeting;
  const bool a = meeting.IsClientInMeeting();
  const bool b = meeting.IsRoomInMeeting();
  const bool s = meeting.IsInSameMeeting();
  const bool d = service_->pair.HasPairedRoom() &&
                 service_->roomInfo.initInfo.feature_list.supports_join_meeting != 0;
  jsHandler_->onUpdateMeetingStatus(a, b, s, d, false);
  uint32_t menu = 0;
  if (a && b)
    menu = (s && d) ? 16 : 0;
  else if (a)
    menu = 32;
  else if (b)
    menu = 8;
  jsHandler_->onShowActions(menu, 0);
}

// ---- the room script handler's requests

void KRServiceBase::GetNotificationTargets(std::vector<Kit::CStringW>& out) { out = webViews_; }

void KRServiceBase::ResizeContent(const AtriumJsReq& req, int32_t width, int32_t height) {
  if (hostSink_)
    hostSink_->OnContentResize(req.webViewId, static_cast<uint32_t>(std::max(width, 0)),
                               static_cast<uint32_t>(std::max(height, 0)));
}

int32_t KRServiceBase::OnPageReady(const AtriumJsReq&, AtriumJsRes&) { return 1; }

int32_t KRServiceBase::JoinMeeting(const Kit::CStringW&, int32_t) { return 1; }

int32_t KRServiceBase::ShareScreen(const AtriumJsReq&, AtriumJsRes&) { return 1; }

int32_t KRServiceBase::UnPair(const AtriumJsReq&, AtriumJsRes& res) {
  Json::Value result(Json::objectValue);
  result["code"] = service_->pair.UnPair();
  res.result.swap(result);
  return 1;
}

int32_t KRServiceBase::PairWithSharingKey(const Kit::CStringW& sharingKey) {
  return service_->pair.PairWithSharingKey(sharingKey);
}

int32_t KRServiceBase::PairWithRoomJid(const Kit::CStringW& roomJid) {
  return service_->pair.PairWithRoomJid(roomJid);
}

int32_t KRServiceBase::PairWithAnotherRoom(const AtriumJsReq&, AtriumJsRes&) {
  return service_->pair.Pair();
}

void KRServiceBase::HoverOnMenuItem(int32_t, const Kit::CStringW&, bool) {}

int32_t KRServiceBase::GetMeetingStatus(const AtriumJsReq&, AtriumJsRes&) {
  RefreshMeetingStatus();
  return 1;
}

int32_t KRServiceBase::MeetingInProgress() { return 1; }

int32_t KRServiceBase::HandleAction(int32_t) { return 1; }

int32_t KRServiceBase::Cancel(const AtriumJsReq&, AtriumJsRes&) {
  service_->pair.Cancel();
  return static_cast<int32_t>(ResetPair());
}

int32_t KRServiceBase::ScanQr(const AtriumJsReq&, AtriumJsRes&) {
  ReportPairVisible(false);
  if (hostSink_) hostSink_->OnClosePairPage();
  return 1;
}

int32_t KRServiceBase::GetPkrList(const AtriumJsReq&, AtriumJsRes&) {
  jsHandler_->onUpdatePKRList(service_->pair.GetPkrList());
  service_->pair.ListPersonalRooms();
  return 1;
}

int32_t KRServiceBase::SwitchWhiteboardTab(const AtriumJsReq&, AtriumJsRes&) { return 1; }
int32_t KRServiceBase::OpenWhiteboard(const Kit::CStringW&) { return 1; }
int32_t KRServiceBase::GetOpenedWhiteboard(const AtriumJsReq&, AtriumJsRes&) { return 1; }
int32_t KRServiceBase::SwitchAppTab(const AtriumJsReq&, AtriumJsRes&) { return 1; }
int32_t KRServiceBase::OpenApp(const Kit::CStringW&, const Kit::CStringW&) { return 1; }
int32_t KRServiceBase::GetOpenedApp(const AtriumJsReq&, AtriumJsRes&) { return 1; }

// ---- the room handlers' reports

void KRServiceBase::OnPairStatus(uint32_t status) {
  jsHandler_->onUpdatePairStatus(static_cast<int32_t>(status));
  for (IKRServiceEventSink* sink : std::vector<IKRServiceEventSink*>(eventSinks_))
    sink->OnPairStatusChanged(status);
  ReportPairVisible(!pairKey_.empty());
}

void KRServiceBase::OnPairInfo(const KRPairResult& result) {
  jsHandler_->onUpdatePairStatus(result);
  if (result.kind == kPairResultSuccess || result.kind == kPairResultCancelled) pairKey_.clear();
}

void KRServiceBase::OnPairAction(uint32_t done, int64_t arg) {
  ReportPairVisible(false);
  for (IKRServiceEventSink* sink : std::vector<IKRServiceEventSink*>(eventSinks_))
    sink->OnPairSettled(done, arg);
}

void KRServiceBase::OnPkrList(const std::vector<KRPersonalRoom>& rooms) {
  jsHandler_->onUpdatePKRList(rooms);
}

void KRServiceBase::OnRoomList(const std::vector<KRPersonalRoom>& rooms) {
  for (IKRServiceEventSink* sink : std::vector<IKRServiceEventSink*>(eventSinks_))
    sink->OnRoomList(rooms);
}

void KRServiceBase::OnMeetingChanged(uint64_t value) {
  RefreshMeetingStatus();
  for (IKRServiceEventSink* sink : std::vector<IKRServiceEventSink*>(eventSinks_))
    sink->OnMeetingChanged(value);
}

void KRServiceBase::ForwardRequest(uint32_t kind, const Kit::CStringA& json) {
  if (hostSink_) hostSink_->OnRoomRequest(kind, json);
}

void KRServiceBase::ForwardNotice(uint32_t code, const Kit::CStringW& message) {
  if (hostSink_) hostSink_->OnRoomNotice(code, message);
}

void KRServiceBase::OnStatusDirty() { RefreshMeetingStatus(); }

}  // namespace tessel_atriumclient
