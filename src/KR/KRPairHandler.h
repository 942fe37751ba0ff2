// Pairing of the desktop client with one room system: starting it (with the
// room nearby, a sharing key or a room JID), connecting once the host has
// taken the request, ending it, following the room's connection, and keeping
// the meeting half informed.
//
// Internal states: 0 idle, 1-3 requesting (nearby, by sharing key, by room
// JID), 4 failed, 5 connecting, 6 paired.
//
// Room messages of this handler ("type"): 1 pair, 2 unpair, 3 cancel,
// 4 cancel the request, 5 refresh, 6 list personal rooms (meeting to main);
// 7 state, 8 result, 9 personal rooms, 10 room information, 11 connection
// lost (main to meeting).
#pragma once

#include <memory>
#include <vector>

#include "IKRService.h"
#include "KR/KRHandler.h"
#include "KR/KRPairResult.h"
#include "KRRoomRecords.h"
#include "NW_webservice/WebService.h"

namespace tessel_atriumclient {

class KRPairHandler : public KRHandler {
 public:
  explicit KRPairHandler(KRService* service);
  ~KRPairHandler() override;

  // Start a pairing. 1 when the request was taken (or one is running
  // already), 0 when it failed at once.
  int32_t Pair();
  int32_t PairWithSharingKey(const Kit::CStringW& sharingKey);
  int32_t PairWithRoomJid(const Kit::CStringW& roomJid);
  // Opens the pairing for the host: when paired, `pairKey` gets the room's
  // JID; otherwise a failed state is reset and, with `generate`, a pending
  // marker is made, handed back in `pairKey`, and a nearby pairing starts.
  int32_t Start(uint32_t generate, Kit::CStringW& pairKey);
  // Ends the pairing (or the connection attempt) through the room
  // controller; its result, 0 when taken. The state follows when the room
  // controller reports the connection lost.
  int32_t UnPair();
  // Abandons a running request or connection and falls back to the paired
  // or idle state.
  int32_t Cancel();
  // Abandons a running request only.
  int32_t CancelRequest();
  // Asks the web service for the user's personal rooms. 1 when sent.
  int32_t ListPersonalRooms();
  // Sends the meeting half everything it mirrors: state, personal rooms and,
  // when paired, the room information.
  void ResendState();

  // The host's answer to a pairing request.
  void OnPairRequestResult(const Kit::CStringW& requestId, const tesselus::KRCPairAnswer& answer);
  // The web service's personal-room list; takes the request.
  void OnListPersonalRoomsResult(NW_webservice::ListPersonalTesselRoomsRequest* result);

  // Room-controller callbacks.
  void OnPairFinished(int32_t code, const Kit::CStringW& errorText,
                      const tesselus::KRCRoomData& room) override;
  void OnConnectionLost(int32_t code) override;
  void OnConnectionLostNoCode() override;
  int32_t OnEndPairing() override;
  void OnRoomNameChanged(const Kit::CStringW& roomJID, const Kit::CStringW& name) override;

  void OnPeerMessage(const Json::Value& message) override;

  int32_t GetPairState() const { return pairState_; }
  const Kit::CStringW& GetRequestId() const { return requestId_; }
  const Kit::CStringW& GetPendingPairKey() const { return pendingPairKey_; }
  const std::vector<KRPersonalRoom>& GetPkrList() const { return pkrList_; }

 private:
  int32_t StartPairing(int32_t kind, const Kit::CStringW& sharingKey, const Kit::CStringW& roomJid);
  void SetPairState(int32_t state);
  void ReportResult(int32_t kind, int32_t code, const Kit::CStringW& errorText);
  // Settles the pending marker for a final result, reports it and forgets
  // the request.
  void Finish(const KRPairResult& result);
  int32_t EndPairing();
  void ConnectionLost(int32_t code, const Kit::CStringW& message);
  void SendRoomInfo();
  void SendPkrList();

  Kit::CStringW pendingPairKey_;
  Kit::CStringW requestId_;
  int32_t pairState_ = 0;
  tesselus::KRCPairAnswer lastResult_;
  std::vector<KRPersonalRoom> pkrList_;
  // Lives as long as the handler; web requests still out hold it weakly.
  std::shared_ptr<int> alive_;
};

}  // namespace tessel_atriumclient
