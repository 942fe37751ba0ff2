// How the room handlers report to the service that owns them.
#pragma once

#include <cstdint>
#include <vector>

#include "KR/KRPairResult.h"
#include "KRRoomRecords.h"
#include "Kit/CStringT.h"

namespace tessel_atriumclient {

class KRServiceSink {
 public:
  virtual ~KRServiceSink() = default;                                        // 0
  virtual void OnPairStatus(uint32_t status) = 0;                            // 1
  virtual void OnPairInfo(const KRPairResult& result) = 0;                   // 2
  // A pairing that carried a pending marker settled (`done` 1: paired).
  virtual void OnPairAction(uint32_t done, int64_t arg) = 0;                 // 3
  virtual void OnPkrList(const std::vector<KRPersonalRoom>& rooms) = 0;      // 4
  virtual void OnRoomList(const std::vector<KRPersonalRoom>& rooms) = 0;     // 5
  virtual void OnMeetingChanged(uint64_t value) = 0;                         // 6
  virtual void Reserved7() {}                                                // 7
  virtual void Reserved8() {}                                                // 8
  virtual void ForwardRequest(uint32_t kind, const Kit::CStringA& json) = 0;      // 9
  // An error notice from the room: its code and message.
  virtual void ForwardNotice(uint32_t code, const Kit::CStringW& message) = 0;    // 10
  // Something the meeting status depends on changed (the room information).
  virtual void OnStatusDirty() = 0;                                          // 11
};

}  // namespace tessel_atriumclient
