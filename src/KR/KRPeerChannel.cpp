#include "KR/KRPeerChannel.h"

#include <string>

#include "Util/AtriumUtil.h"
#include "Util/JsonText.h"

namespace tessel_atriumclient {

bool SendToPeer(const Json::Value& message, int32_t fromMainAppSide) {
  const std::string text = JsonText::Compact(message);
  if (text.empty()) return false;
  if (fromMainAppSide != 0) {
    tesselus::INWPTAppAPI* app = AtriumUtil::GetPTAppAPI();
    return app && app->SendToMeetingProcess(tesselus::kMsgToMeetingProcess, text.data(), text.size());
  }
  tesselus::IConfAppAPI* conf = AtriumUtil::GetConfAppAPI();
  return conf && conf->SendToMainProcess(tesselus::kMsgToMainProcess, text.data(), text.size());
}

int32_t RoomMessageType(const Json::Value& message) {
  static constexpr char kType[] = "type";
  if (!message.isObject()) return 0;
  const Json::Value* type = message.find(kType, kType + sizeof(kType) - 1);
  return (type && type->isInt()) ? type->asInt() : 0;
}

}  // namespace tessel_atriumclient
