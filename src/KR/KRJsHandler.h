// The script handler of the room pages: pairing, meetings on the paired
// room, sharing to it, its apps and whiteboards. It keeps the little state
// that the pages read back (pair state, visibility flags, the action menu)
// and hands everything else to its room service. Its notifications go to
// every web view that shows the room pages, each with its own view of
// "showUIInConf".
#pragma once

#include <json/value.h>

#include <cstdint>
#include <vector>

#include "Atrium/BaseJsHandler.h"
#include "KR/KRPairResult.h"
#include "KRRoomRecords.h"

namespace tessel_atriumclient {

class KRJsHandlerSink;

// The page's pair status: 0 not paired, 1 failed, 2 pairing, 3 paired.
int32_t PagePairStatus(int32_t internalState);

struct KRWhiteboardItem {
  Kit::CStringW name;
  Kit::CStringW docId;
};

struct KRAppItem {
  Kit::CStringW name;
  Kit::CStringW appId;
};

class KRJsHandler : public BaseJsHandler {
 public:
  // Built with its service's process flag: 1 in the main application, 0 in
  // the meeting process. Pages read the flag's negation as "showUIInConf",
  // so the meeting window's pages get true and the main window's false.
  explicit KRJsHandler(int32_t processFlag) : isInMeetingProcess_(processFlag) {}
  ~KRJsHandler() override;

  void SetSink(KRJsHandlerSink* sink) { sink_ = sink; }
  void RegisterFunctions() override;
  // Sends a copy to each notification target in turn.
  void SendNotification(const AtriumJsReq& req) override;

  // ---- notifications
  void onUpdatePairStatus(int32_t internalState);
  void onUpdatePairStatus(const KRPairResult& result);
  void onUpdatePKRList(const std::vector<KRPersonalRoom>& rooms);
  void onUpdateMeetingList(const Json::Value& meetings);
  void onUpdateMeetingStatus(bool isClientInMeeting, bool isKRInMeeting, bool isInSameMeeting,
                             bool isInCompanionMode, bool isInDirectShare);
  void onUpdateHoverOnMenuItem(bool keepHover, const Kit::CStringW& meetingId,
                               bool meetingInProgress);
  void onShowActions(uint32_t actions, int32_t isHostForMeetingItem);
  void onUpdateOpenedWhiteboard(const std::vector<KRWhiteboardItem>& items);
  void onUpdateOpenedApp(const std::vector<KRAppItem>& items);
  void updateUIVisible(const char* page, bool visible);
  void updateUIActionVisible(bool shareScreen, bool openWhiteboard, bool openApp);

  int32_t GetPairState() const { return pairState_; }

 private:
  void Notify(const char* name, Json::Value data);
  void AddRoomIdentity(Json::Value& data);
  bool ShowUIInConf() const { return isInMeetingProcess_ == 0; }

  // Page functions.
  int32_t OnJSReady(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t JoinMeeting(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t ShareScreen(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t PairNothing(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t UnPair(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t ResizeContentSize(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t PairWithSharingKey(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t PairWithRoomJid(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t PairWithAnotherRoom(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t HoverOnMenuItem(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t GetRoomInfo(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t GetMeetingStatus(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t MeetingInProgress(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t HandleAction(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t Cancel(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t ScanQr(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t GetPkrList(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t GetPairInitInfo(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t GetActionInitInfo(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t SwitchWhiteboardTab(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t OpenWhiteboard(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t GetOpenedWhiteboard(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t SwitchAppTab(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t OpenApp(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t GetOpenedApp(const AtriumJsReq& req, AtriumJsRes& res);

  KRJsHandlerSink* sink_ = nullptr;
  int32_t pairState_ = 0;
  int32_t isInMeetingProcess_ = 0;
  int32_t shareScreenVisible_ = 0;
  int32_t openWhiteboardVisible_ = 0;
  int32_t openAppVisible_ = 0;
  uint32_t actions_ = 0;
  int32_t isHostForMeetingItem_ = 0;
};

}  // namespace tessel_atriumclient
