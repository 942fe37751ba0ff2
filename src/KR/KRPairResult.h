// The outcome of one pairing attempt, as the pairing handler reports it to
// its service and to the meeting half.
#pragma once

#include <cstdint>

#include "Kit/CStringT.h"

namespace tessel_atriumclient {

enum KRPairResultKind : int32_t {
  kPairResultSuccess = 0,
  kPairResultRequestFailed = 1,
  kPairResultConnectFailed = 2,
  kPairResultCancelled = 3,  // cancelled or ended
};

// The code of a request that the host refused outright.
constexpr int32_t kPairRefusedCode = 99;
// The code of an answer that named a room without its data.
constexpr int32_t kPairNoRoomDataCode = 4;

struct KRPairResult {
  int32_t state = 0;  // internal pair state at the time
  int32_t kind = kPairResultSuccess;
  int32_t code = 0;
  Kit::CStringW errorText;
  Kit::CStringW pendingPairKey;
};

}  // namespace tessel_atriumclient
