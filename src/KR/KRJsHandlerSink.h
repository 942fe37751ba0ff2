// What the room script handler asks of its room service. Operations that
// take the call and its reply return nonzero to have the reply sent now.
#pragma once

#include <cstdint>
#include <vector>

#include "Atrium/AtriumJsTypes.h"
#include "KRRoomRecords.h"
#include "Kit/CStringT.h"

namespace tessel_atriumclient {

class KRJsHandlerSink {
 public:
  virtual ~KRJsHandlerSink() = default;                                               // 0
  // The web views that show the room pages, in attach order.
  virtual void GetNotificationTargets(std::vector<Kit::CStringW>& out) = 0;            // 1
  virtual void ResizeContent(const AtriumJsReq& req, int32_t width, int32_t height) = 0;  // 2
  virtual int32_t OnPageReady(const AtriumJsReq& req, AtriumJsRes& res) = 0;           // 3
  virtual int32_t JoinMeeting(const Kit::CStringW& meetingId, int32_t option) = 0;     // 4
  virtual int32_t ShareScreen(const AtriumJsReq& req, AtriumJsRes& res) = 0;           // 5
  virtual int32_t UnPair(const AtriumJsReq& req, AtriumJsRes& res) = 0;                // 6
  virtual int32_t PairWithSharingKey(const Kit::CStringW& sharingKey) = 0;             // 7
  virtual int32_t PairWithRoomJid(const Kit::CStringW& roomJid) = 0;                   // 8
  virtual int32_t PairWithAnotherRoom(const AtriumJsReq& req, AtriumJsRes& res) = 0;   // 9
  virtual void HoverOnMenuItem(int32_t positionY, const Kit::CStringW& meetingId,      // 10
                               bool meetingInProgress) = 0;
  virtual bool GetRoomInfo(KRRoomInfo& out) = 0;                                       // 11
  virtual int32_t GetMeetingStatus(const AtriumJsReq& req, AtriumJsRes& res) = 0;      // 12
  virtual int32_t MeetingInProgress() = 0;                                             // 13
  virtual int32_t HandleAction(int32_t action) = 0;                                    // 14
  virtual int32_t Cancel(const AtriumJsReq& req, AtriumJsRes& res) = 0;                // 15
  virtual int32_t ScanQr(const AtriumJsReq& req, AtriumJsRes& res) = 0;                // 16
  virtual int32_t GetPkrList(const AtriumJsReq& req, AtriumJsRes& res) = 0;            // 17
  virtual int32_t SwitchWhiteboardTab(const AtriumJsReq& req, AtriumJsRes& res) = 0;   // 18
  virtual int32_t OpenWhiteboard(const Kit::CStringW& docId) = 0;                      // 19
  virtual int32_t GetOpenedWhiteboard(const AtriumJsReq& req, AtriumJsRes& res) = 0;   // 20
  virtual int32_t SwitchAppTab(const AtriumJsReq& req, AtriumJsRes& res) = 0;          // 21
  virtual int32_t OpenApp(const Kit::CStringW& first, const Kit::CStringW& appId) = 0; // 22
  virtual int32_t GetOpenedApp(const AtriumJsReq& req, AtriumJsRes& res) = 0;          // 23
};

}  // namespace tessel_atriumclient
