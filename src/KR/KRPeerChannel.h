// The room handlers' channel to their twins in the other process. The host
// relays: the main application sends through its main-application module,
// the meeting process through its meeting-application module.
#pragma once

#include <json/value.h>

#include <cstdint>

namespace tessel_atriumclient {

// Writes `message` as JSON text and hands its UTF-8 bytes to the host for
// the other process. False when the host's module is missing or refuses.
bool SendToPeer(const Json::Value& message, int32_t fromMainAppSide);

// The integer "type" of a room message; 0 when it is missing or not an integer.
int32_t RoomMessageType(const Json::Value& message);

}  // namespace tessel_atriumclient
