#include "KR/KRHandler.h"

#include "KR/KRPeerChannel.h"
#include "KR/KRService.h"
#include "Util/AtriumUtil.h"

namespace tessel_atriumclient {

tesselus::IKRController* GetRoomController() {
  tesselus::INWPTAppAPI* app = AtriumUtil::GetPTAppAPI();
  return app ? app->GetRoomController() : nullptr;
}

KRHandler::~KRHandler() {
  if (isMainAppSide_ == 0) return;
  if (tesselus::IKRController* controller = GetRoomController()) controller->UnregisterSink(this);
}

void KRHandler::SetMainAppSide(int32_t isMainAppSide) {
  isMainAppSide_ = isMainAppSide != 0 ? 1 : 0;
  if (isMainAppSide_ == 0) return;
  tesselus::INWPTAppAPI* app = AtriumUtil::GetPTAppAPI();
  if (!app) return;
  tesselus::IKRController* controller = app->GetRoomController();
  if (!controller) return;
  controller->RegisterSink(app->GetRoomControllerKey(), this);
}

void KRHandler::OnPeerMessage(const Json::Value&) {}

bool KRHandler::HasPairedRoom() const {
  return service_ && service_->roomInfoValid && !service_->roomInfo.basic.roomJID.empty();
}

KRServiceSink* KRHandler::Sink() const { return service_ ? service_->sink : nullptr; }

bool KRHandler::Send(const Json::Value& message) const { return SendToPeer(message, isMainAppSide_); }

}  // namespace tessel_atriumclient
