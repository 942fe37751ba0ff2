// The host's web service: requests that the host sends to its cloud on the
// plug-in's behalf and answers later, on the main thread.
#pragma once

#include <cstdint>
#include <vector>

#include "Kit/CStringT.h"

namespace NW_webservice {

constexpr int32_t kRequestListPersonalRooms = 1;
constexpr int32_t kRequestPairedKRAction = 2;

class KIT_API BaseRequest {
 public:
  BaseRequest() = default;
  BaseRequest(const BaseRequest&) = delete;
  BaseRequest& operator=(const BaseRequest&) = delete;
  virtual ~BaseRequest();
  virtual int32_t GetRequestType() const = 0;
  // Called by the web service when the answer is in. The request belongs to
  // whoever this hands it to; a request that nobody takes deletes itself.
  virtual void Complete() = 0;

  Kit::CStringA requestId;  // set by the web service when it accepts the request
  uint32_t flags = 0;
  Kit::CStringA body;
};

// One of the user's personal rooms, as the cloud lists it.
struct PersonalTesselRoom {
  Kit::CStringW name;
  Kit::CStringW displayName;
  Kit::CStringW roomJID;
  Kit::CStringW deviceID;
  Kit::CStringW resourceID;
};

class KIT_API ListPersonalTesselRoomsRequest : public BaseRequest {
 public:
  ~ListPersonalTesselRoomsRequest() override;
  int32_t GetRequestType() const override { return kRequestListPersonalRooms; }

  // The answer.
  int32_t errorCode = 0;
  std::vector<PersonalTesselRoom> rooms;
};

constexpr int32_t kPairedKRActionClientJoinMeeting = 1;

class KIT_API PairedKRActionRequest : public BaseRequest {
 public:
  ~PairedKRActionRequest() override;
  int32_t GetRequestType() const override { return kRequestPairedKRAction; }

  int32_t actionKind = 0;
  Kit::CStringW targetRoomJID;
  // The answer.
  int32_t errorCode = 0;  // 0: success
  Kit::CStringA resultText;
};

// A completion binding kept in a request: the owner and the member operation
// to call with the finished request. A cancelled binding calls nothing.
template <class Owner>
class HandleCallback {
 public:
  void Cancel() { cancelled_ = true; }
  bool IsCancelled() const { return cancelled_; }
  Owner* GetOwner() const { return owner_; }

 protected:
  explicit HandleCallback(Owner* owner) : owner_(owner) {}
  ~HandleCallback() = default;

 private:
  Owner* owner_;
  bool cancelled_ = false;
};

class KIT_API IWebService {
 public:
  virtual ~IWebService();
  // True when the service took the request; it then owns it until it calls
  // Complete. False leaves the request with the caller.
  virtual bool SendRequest(BaseRequest* request) = 0;
};

}  // namespace NW_webservice
