// What the two room services share: web views and their script calls, event
// and host sinks, the pairing operations, the reports of the room handlers
// and the page notifications that follow from them. KRServicePT (main
// application) and KRServiceConf (meeting process) add what differs.
#pragma once

#include <memory>
#include <vector>

#include "IKRService.h"
#include "KR/KRJsHandler.h"
#include "KR/KRJsHandlerSink.h"
#include "KR/KRService.h"
#include "KR/KRServiceSink.h"
#include "Kit/Timer.h"
#include "UnifyWebView/IUnifyWebViewModuleAPI.h"

namespace tessel_atriumclient {

// Which room menu interaction is pending.
enum KRHoverState : uint32_t {
  kHoverNone = 0,
  kHoverMeetingItem = 1,
  kHoverActionMenu = 2,
};

class KRServiceBase : public IKRService,
                      public tesselus::IUnifyWebViewInstSink,
                      public KRJsHandlerSink,
                      public KRServiceSink,
                      public Kit::CTimer {
 public:
  // `isMainApp`: 1 in the main application, 0 in the meeting process.
  explicit KRServiceBase(int32_t isMainApp);
  ~KRServiceBase() override;

  // ---- IKRService
  void AddEventSink(IKRServiceEventSink* sink) override;
  void RemoveEventSink(IKRServiceEventSink* sink) override;
  void AttachWebView(const Kit::CStringW& instanceId) override;
  void DetachWebView(const Kit::CStringW& instanceId) override;
  void SetHostSink(IKRServiceHostSink* sink) override;
  uint32_t StartPair(uint32_t generate) override;
  uint32_t ResetPair() override;
  void CancelPendingAction() override;
  uint32_t GetPairState() override;
  bool GetRoomInfo(KRRoomInfo& out) override;
  void Unpair() override {}
  void RefreshFromHost() override {}
  void OnRoomMessage(const Kit::CStringA& jsonText) override;
  void OnMeetingStatusChanged(uint32_t kind, const Kit::CStringA& payload) override;
  void OnPairResult(const Kit::CStringW&, uint64_t, const tesselus::KRCPairAnswer&) override {}

  // ---- IUnifyWebViewInstSink: script calls of attached views
  void OnJsMessage(tesselus::IUnifyWebViewInstance* instance, const wchar_t* message,
                   bool& handled) override;

  // ---- KRJsHandlerSink
  void GetNotificationTargets(std::vector<Kit::CStringW>& out) override;
  void ResizeContent(const AtriumJsReq& req, int32_t width, int32_t height) override;
  int32_t OnPageReady(const AtriumJsReq& req, AtriumJsRes& res) override;
  int32_t JoinMeeting(const Kit::CStringW& meetingId, int32_t option) override;
  int32_t ShareScreen(const AtriumJsReq& req, AtriumJsRes& res) override;
  int32_t UnPair(const AtriumJsReq& req, AtriumJsRes& res) override;
  int32_t PairWithSharingKey(const Kit::CStringW& sharingKey) override;
  int32_t PairWithRoomJid(const Kit::CStringW& roomJid) override;
  int32_t PairWithAnotherRoom(const AtriumJsReq& req, AtriumJsRes& res) override;
  void HoverOnMenuItem(int32_t positionY, const Kit::CStringW& meetingId,
                       bool meetingInProgress) override;
  int32_t GetMeetingStatus(const AtriumJsReq& req, AtriumJsRes& res) override;
  int32_t MeetingInProgress() override;
  int32_t HandleAction(int32_t action) override;
  int32_t Cancel(const AtriumJsReq& req, AtriumJsRes& res) override;
  int32_t ScanQr(const AtriumJsReq& req, AtriumJsRes& res) override;
  int32_t GetPkrList(const AtriumJsReq& req, AtriumJsRes& res) override;
  int32_t SwitchWhiteboardTab(const AtriumJsReq& req, AtriumJsRes& res) override;
  int32_t OpenWhiteboard(const Kit::CStringW& docId) override;
  int32_t GetOpenedWhiteboard(const AtriumJsReq& req, AtriumJsRes& res) override;
  int32_t SwitchAppTab(const AtriumJsReq& req, AtriumJsRes& res) override;
  int32_t OpenApp(const Kit::CStringW& first, const Kit::CStringW& appId) override;
  int32_t GetOpenedApp(const AtriumJsReq& req, AtriumJsRes& res) override;

  // ---- KRServiceSink
  void OnPairStatus(uint32_t status) override;
  void OnPairInfo(const KRPairResult& result) override;
  void OnPairAction(uint32_t done, int64_t arg) override;
  void OnPkrList(const std::vector<KRPersonalRoom>& rooms) override;
  void OnRoomList(const std::vector<KRPersonalRoom>& rooms) override;
  void OnMeetingChanged(uint64_t value) override;
  void ForwardRequest(uint32_t kind, const Kit::CStringA& json) override;
  void ForwardNotice(uint32_t code, const Kit::CStringW& message) override;
  void OnStatusDirty() override;

  // ---- Kit::CTimer: no timer is armed
  void OnTimer(Kit::CTimerID*) override {}

  // For the host's tools and tests.
  KRService& Rooms() { return *service_; }
  KRJsHandler& JsHandler() { return *jsHandler_; }
  const std::vector<Kit::CStringW>& WebViews() const { return webViews_; }
  const std::vector<IKRServiceEventSink*>& EventSinks() const { return eventSinks_; }
  const Kit::CStringW& PairKey() const { return pairKey_; }
  uint32_t HoverState() const { return hoverState_; }

 protected:
  // Tells the pages and the host that a room page is shown or hidden.
  void ReportPairVisible(bool visible);
  void ReportAction(uint32_t value, uint32_t argument);
  // Recomputes the meeting status and the action menu. The meeting control
  // fills this in; until then the pages learn the paired room's state only.
  virtual void RefreshMeetingStatus();
  // Extra work when the pair page is shown (the main application refreshes
  // its service data).
  virtual void OnPairPageShown() {}

  const int32_t isMainApp_;
  std::unique_ptr<KRJsHandler> jsHandler_;
  std::unique_ptr<KRService> service_;
  std::vector<IKRServiceEventSink*> eventSinks_;
  std::vector<Kit::CStringW> webViews_;
  IKRServiceHostSink* hostSink_ = nullptr;
  uint32_t hoverState_ = kHoverNone;
  Kit::CStringW pairKey_;
};

}  // namespace tessel_atriumclient
