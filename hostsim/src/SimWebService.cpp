// The host's web service: requests taken from the plug-in wait until the test
// or the reference host's script answers them. Main thread only.
#include "SimState.h"

namespace hostsim {
namespace {

WebServiceState& Web() { return State().web; }

class SimWebService : public NW_webservice::IWebService {
 public:
  bool SendRequest(NW_webservice::BaseRequest* request) override {
    if (!request) return false;
    const int32_t type = request->GetRequestType();
    if (Web().refused) {
      Json::Value data(Json::objectValue);
      data["type"] = type;
      LogEvent("webRefused", std::move(data));
      return false;
    }
    request->requestId = "web-" + std::to_string(++Web().nextRequest);
    Web().pending.push_back(request);
    Json::Value data(Json::objectValue);
    data["id"] = std::string(request->requestId);
    data["type"] = type;
    data["body"] = std::string(request->body);
    int32_t action = 0;
    std::wstring roomJID;
    if (auto* paired = dynamic_cast<NW_webservice::PairedKRActionRequest*>(request)) {
      action = paired->actionKind;
      roomJID = paired->targetRoomJID;
    }
    data["action"] = action;
    data["roomJID"] = Narrow(roomJID);
    LogEvent("webRequest", std::move(data));
    return true;
  }
};

// Takes the oldest pending request of `type` out of the pending list; the
// caller answers it and completes it.
NW_webservice::BaseRequest* TakeOldest(int32_t type) {
  auto& pending = Web().pending;
  for (auto it = pending.begin(); it != pending.end(); ++it) {
    if ((*it)->GetRequestType() != type) continue;
    NW_webservice::BaseRequest* request = *it;
    pending.erase(it);
    return request;
  }
  return nullptr;
}

}  // namespace

NW_webservice::IWebService* WebService() {
  static SimWebService service;
  return &service;
}

void ResetWebService() {
  std::deque<NW_webservice::BaseRequest*> pending;
  pending.swap(Web().pending);
  Web() = WebServiceState();
  for (auto* request : pending) delete request;
}

void SetWebRequestsRefused(bool refused) { Web().refused = refused; }
std::size_t PendingWebRequestCount() { return Web().pending.size(); }

bool CompletePersonalRoomsRequest(const std::vector<NW_webservice::PersonalTesselRoom>& rooms,
                                  int32_t errorCode) {
  NW_webservice::BaseRequest* request = TakeOldest(NW_webservice::kRequestListPersonalRooms);
  if (!request) return false;
  if (auto* list = dynamic_cast<NW_webservice::ListPersonalTesselRoomsRequest*>(request)) {
    list->rooms = rooms;
    list->errorCode = errorCode;
  }
  request->Complete();  // the request is its owner's now, or gone
  return true;
}

bool CompletePairedActionRequest(int32_t errorCode, const std::string& resultText) {
  NW_webservice::BaseRequest* request = TakeOldest(NW_webservice::kRequestPairedKRAction);
  if (!request) return false;
  if (auto* action = dynamic_cast<NW_webservice::PairedKRActionRequest*>(request)) {
    action->errorCode = errorCode;
    action->resultText = resultText;
  }
  request->Complete();  // the request is its owner's now, or gone
  return true;
}

}  // namespace hostsim
