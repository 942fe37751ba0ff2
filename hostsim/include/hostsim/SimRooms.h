// The simulated host's room side: a scriptable room controller with the room
// systems it can reach, the relay that carries room messages between the
// main-application process and the meeting process, and the web service.
//
// Everything here runs on the host's main thread. What the plug-in asks of
// these parts is logged as events (SimHost.h):
//   "krRegister"     key                  a sink registered with the controller
//   "krUnregister"                        a sink unregistered
//   "krPairRequest"  id, kind, sharingKey, roomJID   a pairing request taken
//   "krPairRefused"  kind, sharingKey, roomJID       a pairing request refused
//   "krCancelRequest" id                  a pairing request cancelled
//   "krConnect"      roomJID, guid, basic  a connection asked for
//   "krEndPairing"   kind, roomJID        an end of pairing asked for
//   "krPresence"     roomJIDs (array)     presence asked for
//   "roomMessage"    to ("main"|"meeting"), kind, text   a room message sent
//   "webRequest"     id, type, body, action, roomJID     a web request taken
//   "webRefused"     type                 a web request refused
#pragma once

#include <json/value.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "KRC/IKRController.h"
#include "NW_webservice/WebService.h"

namespace hostsim {

// One room system the controller can reach.
struct SimRoom {
  std::wstring name;
  std::wstring jid;
  std::wstring sharingKey;  // as the controller compares it: upper case, no "-"
  std::wstring logicEmail;
  std::wstring address;
  bool nearby = false;  // the room a nearby request (kind 0) finds
  bool online = true;   // its presence
  Json::Value featureList{Json::objectValue};  // "supports_join_meeting": 1, ...
  Json::Value meetingInfo{Json::objectValue};  // meeting record members
  Json::Value account{Json::objectValue};      // account record members ("is_pkr", ...)
};

// ---- rooms
void AddRoom(const SimRoom& room);  // replaces a room with the same JID
bool RemoveRoom(const std::wstring& jid);
// Renames the room and reports it to every registered sink (slot 11).
bool RenameRoom(const std::wstring& jid, const std::wstring& name);

// ---- room controller
std::size_t RoomSinkCount();
// While set, every pairing request is refused.
void SetPairRequestsRefused(bool refused);

struct SimPairRequest {
  std::wstring id;  // "req-1", "req-2", ... in order taken
  int32_t kind = 0;
  std::wstring sharingKey;
  std::wstring roomJID;
  bool cancelled = false;
  bool answered = false;
};
std::vector<SimPairRequest> PairRequests();

// Where answers to pairing requests go: the host's own code hands them to
// the main application's room service (IKRService::OnPairResult). Without a
// handler, answers are dropped.
void SetPairAnswerHandler(std::function<void(const tesselus::KRCPairAnswer&)> handler);
// Answers the request `id` from the rooms: kind 1 finds the room by sharing
// key, kind 2 by JID, kind 0 the nearby room. A room found gives its JID and
// basic data; none found gives error 1 "room not found" (kind 0: no room and
// no error). False when there is no such request.
bool AnswerPairRequest(const std::wstring& id);
// Answers with an error code and text.
bool AnswerPairRequestWithError(const std::wstring& id, int32_t code, const std::wstring& text);
// Hands an answer as given (for answers no room would send).
void SendPairAnswer(const tesselus::KRCPairAnswer& answer);

struct SimConnect {
  std::wstring roomJID;
  std::wstring guid;
  std::string basic;
};
std::vector<SimConnect> ConnectRequests();
// Ends the last connection attempt: code 0 reports the room's data (initial
// information with its features, meeting information, JID and account) to
// every registered sink; another code reports the failure with `errorText`.
// False when no connection was asked for.
bool FinishPairing(int32_t code, const std::wstring& errorText = L"");
// The paired room's connection drops: with a code (slot 3) or without (slot 4).
void LoseConnection(bool withCode, int32_t code = 0);
// Whether an end of pairing also drops the paired room's connection (default
// true): the sinks then hear slot 4 on the next run of the main-thread queue.
void SetEndPairingDropsConnection(bool drops);
// Reports to every registered sink that the host wants the pairing ended (slot 5).
void RequestEndPairing();

// ---- cross-process relay
enum class Side { Main, Meeting };
// What the host hands a room message to in `side`'s process (the room
// service's OnRoomMessage). Without a receiver, messages to that side are dropped.
void SetRoomMessageReceiver(Side side, std::function<void(const std::string& text)> receiver);
// Where messages leave this process. Without an outbound handler, the relay
// delivers in this process: a message to a side is posted to the main-thread
// queue and handed to that side's receiver when the queue runs.
void SetRelayOutbound(std::function<void(Side to, const std::string& text)> outbound);
// A message that arrived from the other process: posted to the main-thread
// queue, then handed to `to`'s receiver.
void DeliverRoomMessage(Side to, const std::string& text);
// While set, sends from the meeting process (or the main application) fail.
void SetPeerUnavailable(Side from, bool unavailable);

// ---- web service
void SetWebRequestsRefused(bool refused);
std::size_t PendingWebRequestCount();
// Completes the oldest pending personal-room request with these rooms (and
// error code). False when none is pending.
bool CompletePersonalRoomsRequest(const std::vector<NW_webservice::PersonalTesselRoom>& rooms,
                                  int32_t errorCode = 0);
// Completes the oldest pending paired-action request.
bool CompletePairedActionRequest(int32_t errorCode, const std::string& resultText);

}  // namespace hostsim
