// Meeting media state shared with the main-application module. This build
// receives the module's messages and keeps no state yet.
#pragma once

#include <cstdint>

namespace tessel_atriumclient {

class CPMediaPTHelper {
 public:
  // Host message kinds of the media-state channel.
  static constexpr int32_t kSendKind = 20086;
  static constexpr int32_t kReceiveKind = 20087;

  // A message of kind 20087 from the main-application module.
  void OnMessage(const char* data, uint32_t length);
};

}  // namespace tessel_atriumclient
