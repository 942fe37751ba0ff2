// The main application's room-controller component: it pairs the desktop
// client with room systems, keeps the connection to the paired room and
// reports what happens to it. Reached through INWPTAppAPI::GetRoomController.
// Room records travel as JSON object text in the room information form
// ("basic", "initInfo", "meetingInfo", "account" member sets).
#pragma once

#include <cstdint>
#include <vector>

#include "Kit/CStringT.h"

namespace tesselus {

// Kinds of a pairing request.
constexpr int32_t kKRCPairNearby = 0;      // the room found near this machine
constexpr int32_t kKRCPairSharingKey = 1;  // the key shown on the room's screen
constexpr int32_t kKRCPairRoomJid = 2;     // a room named by its JID

// Kinds of an end-pairing request.
constexpr int32_t kKRCEndConnecting = 1;  // abandon a connection attempt
constexpr int32_t kKRCEndPaired = 6;      // end an established pairing

// The host's answer to a pairing request.
struct KRCPairAnswer {
  Kit::CStringW requestId;
  int32_t errorCode = 0;  // 0: no error
  Kit::CStringW errorText;
  Kit::CStringW roomJID;  // the room the answer names; empty: none
  Kit::CStringA basic;    // JSON object text of the room's basic data; empty: no data
};

// What the room sends once a pairing has finished.
struct KRCRoomData {
  Kit::CStringA initInfo;     // JSON object text
  Kit::CStringA meetingInfo;  // JSON object text
  int32_t hasIdentity = 0;    // nonzero: roomJID and account below are set
  Kit::CStringW roomJID;
  Kit::CStringW roomHandoffJID;
  Kit::CStringA account;  // JSON object text
};

// Whether one room is reachable.
struct KRCPresence {
  Kit::CStringW roomJID;
  int32_t isOnline = 0;
};

// Room-controller callbacks. Every slot has an empty default, so a sink
// overrides only what it follows.
class KIT_API IKRCAppSink {
 public:
  virtual ~IKRCAppSink();                                                          // 0
  virtual int32_t QuerySink(int32_t /*what*/) { return 0; }                        // 1
  virtual void OnPairFinished(int32_t /*code*/, const Kit::CStringW& /*errorText*/,  // 2
                              const KRCRoomData& /*room*/) {}
  virtual void OnConnectionLost(int32_t /*code*/) {}                                // 3
  virtual void OnConnectionLostNoCode() {}                                          // 4
  virtual int32_t OnEndPairing() { return 0; }                                      // 5
  virtual void OnRoomEvent6(const Kit::CStringW& /*roomJID*/) {}                    // 6
  virtual void OnRoomMeetingStateChanged(const Kit::CStringW& /*roomJID*/,          // 7
                                         int32_t /*inMeeting*/) {}
  virtual void OnRoomEvent8(const Kit::CStringW& /*roomJID*/) {}                    // 8
  virtual void OnRoomMeetingInfoChanged(const Kit::CStringW& /*roomJID*/,           // 9
                                        const Kit::CStringA& /*meetingInfo*/) {}
  virtual void OnRoomEvent10(const Kit::CStringW& /*roomJID*/) {}                   // 10
  virtual void OnRoomNameChanged(const Kit::CStringW& /*roomJID*/,                  // 11
                                 const Kit::CStringW& /*name*/) {}
  virtual void OnRoomEvent12(const Kit::CStringW& /*roomJID*/) {}                   // 12
  virtual void OnWhiteboardOpened(const Kit::CStringW& /*roomJID*/,                 // 13
                                  const Kit::CStringA& /*detail*/) {}
  virtual void OnWhiteboardClosed(const Kit::CStringW& /*roomJID*/,                 // 14
                                  const Kit::CStringA& /*detail*/) {}
  virtual void OnRoomEvent15(const Kit::CStringW& /*roomJID*/) {}                   // 15
  virtual void OnAppEvent16(const Kit::CStringW& /*roomJID*/, const Kit::CStringA&) {}  // 16
  virtual void OnAppEvent17(const Kit::CStringW& /*roomJID*/, const Kit::CStringA&) {}  // 17
  virtual void OnAppEvent18(const Kit::CStringW& /*roomJID*/, const Kit::CStringA&) {}  // 18
  virtual void OnAppEvent19(const Kit::CStringW& /*roomJID*/, const Kit::CStringA&) {}  // 19
  virtual void OnAppEvent20(const Kit::CStringW& /*roomJID*/, const Kit::CStringA&) {}  // 20
  virtual void OnAppEvent21(const Kit::CStringW& /*roomJID*/, const Kit::CStringA&) {}  // 21
  virtual void OnRoomEvent22(const Kit::CStringW& /*roomJID*/) {}                   // 22
  virtual void OnRoomEvent23(const Kit::CStringW& /*roomJID*/) {}                   // 23
  virtual void OnRoomEvent24(const Kit::CStringW& /*roomJID*/) {}                   // 24
  virtual void OnRoomEvent25(const Kit::CStringW& /*roomJID*/) {}                   // 25
};

class KIT_API IKRController {
 public:
  virtual ~IKRController();
  // Sinks are registered under the key that INWPTAppAPI::GetRoomControllerKey
  // gives; a sink registered twice is kept once.
  virtual bool RegisterSink(const Kit::CStringA& key, IKRCAppSink* sink) = 0;
  virtual void UnregisterSink(IKRCAppSink* sink) = 0;
  // False when the host refuses the request; otherwise `requestId` names it
  // and the answer comes later through the room service (IKRService::OnPairResult).
  virtual bool SendPairRequest(int32_t kind, const Kit::CStringW& sharingKey,
                               const Kit::CStringW& roomJID, Kit::CStringW& requestId) = 0;
  virtual void CancelPairRequest(const Kit::CStringW& requestId) = 0;
  // Connects to the room described by `basic` (JSON object text); the end is
  // reported through IKRCAppSink::OnPairFinished.
  virtual bool ConnectRoom(const Kit::CStringA& basic, const Kit::CStringW& guid) = 0;
  // Returns 0 when the request was taken.
  virtual int32_t EndPairing(int32_t endKind, const Kit::CStringW& roomJID) = 0;
  // One record for each listed room that the controller knows.
  virtual std::vector<KRCPresence> GetPresence(const std::vector<Kit::CStringW>& roomJIDs) = 0;
};

}  // namespace tesselus
