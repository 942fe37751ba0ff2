// What a host sees of a room service: one per process, taken with
// GetKRServicePT in the main application and GetKRServiceConf in the meeting
// process (KRServiceApi.h). Every operation is for the host's main thread.
#pragma once

#include <cstdint>
#include <vector>

#include "KRC/IKRController.h"
#include "KRRoomRecords.h"
#include "Kit/CStringT.h"

namespace tessel_atriumclient {

// Internal pair states as GetPairState and the event sinks give them.
enum KRPairState : int32_t {
  kPairIdle = 0,
  kPairRequesting = 1,               // with the room nearby
  kPairRequestingBySharingKey = 2,
  kPairRequestingByRoomJid = 3,
  kPairFailed = 4,
  kPairConnecting = 5,
  kPairPaired = 6,
};

// Implemented by the host: what happens to the pairing. Not owned.
class IKRServiceEventSink {
 public:
  virtual ~IKRServiceEventSink() = default;
  virtual void OnPairStatusChanged(uint32_t /*status*/) {}           // 1
  // A pairing that the host started has settled: `done` 1 when it ended
  // paired, 0 when it was abandoned.
  virtual void OnPairSettled(uint32_t /*done*/, int64_t /*arg*/) {}  // 2
  virtual void OnRoomList(const std::vector<KRPersonalRoom>& /*rooms*/) {}  // 3
  virtual void OnMeetingChanged(uint64_t /*value*/) {}               // 4
};

// Implemented by the host: what the room pages ask of it. Not owned.
class IKRServiceHostSink {
 public:
  virtual ~IKRServiceHostSink() = default;
  virtual void OnPairPageVisible(bool /*visible*/) {}                            // 1
  virtual void OnActionPage(uint32_t /*value*/, uint32_t /*argument*/) {}        // 2
  // A page asked for a new content size.
  virtual void OnContentResize(const Kit::CStringW& /*webViewId*/, uint32_t /*width*/,  // 3
                               uint32_t /*height*/) {}
  virtual void OnClosePairPage() {}                                              // 4
  // A notice from the paired room (for example the reason it went away).
  virtual void OnRoomNotice(uint32_t /*code*/, const Kit::CStringW& /*message*/) {}  // 5
  virtual void OnRoomRequest(uint32_t /*kind*/, const Kit::CStringA& /*json*/) {}  // 6
  virtual void OnOpenWhiteboard(const Kit::CStringW& /*id*/, const Kit::CStringW& /*name*/) {}  // 7
  virtual void OnOpenTApp(const Kit::CStringW& /*id*/, const Kit::CStringW& /*name*/,  // 8
                          const Kit::CStringW& /*targetUrl*/, uint32_t /*flags*/) {}
};

class IKRService {
 public:
  virtual ~IKRService() = default;                                          // 0
  virtual void AddEventSink(IKRServiceEventSink* sink) = 0;                 // 1
  virtual void RemoveEventSink(IKRServiceEventSink* sink) = 0;              // 2
  // Shows the room pages of this web view; its script calls reach the service.
  virtual void AttachWebView(const Kit::CStringW& instanceId) = 0;          // 3
  virtual void DetachWebView(const Kit::CStringW& instanceId) = 0;          // 4
  virtual void SetHostSink(IKRServiceHostSink* sink) = 0;                   // 5
  // Opens the pairing: shows the paired room when there is one, otherwise
  // starts pairing with the room nearby (`generate` nonzero) or waits for
  // the page to name a room. Returns 1 when the pairing was opened.
  virtual uint32_t StartPair(uint32_t generate) = 0;                        // 6
  virtual uint32_t ResetPair() = 0;                                         // 7
  virtual void CancelPendingAction() = 0;                                   // 8
  virtual uint32_t GetPairState() = 0;                                      // 9
  // The paired room's information; false while there is none.
  virtual bool GetRoomInfo(KRRoomInfo& out) = 0;                            // 10
  virtual void Reserved11() {}                                              // 11
  virtual void Unpair() = 0;                                                // 12
  virtual void RefreshFromHost() = 0;                                       // 13
  // A room message relayed from the other process (UTF-8 JSON text).
  virtual void OnRoomMessage(const Kit::CStringA& jsonText) = 0;            // 14
  virtual void OnMeetingStatusChanged(uint32_t kind, const Kit::CStringA& payload) = 0;  // 15
  // The room controller's answer to a pairing request.
  virtual void OnPairResult(const Kit::CStringW& requestId, uint64_t arg,   // 16
                            const tesselus::KRCPairAnswer& answer) = 0;
};

}  // namespace tessel_atriumclient
