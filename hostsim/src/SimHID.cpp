// The device library's HID channel. Events come from a thread of the device
// library's own, as on a real host.
#include <thread>

#include "SimState.h"

namespace hostsim {
namespace {

class SimHIDComm : public IHIDComm {
 public:
  void SetUserIdentity(const char* identity) override {
    Json::Value data(Json::objectValue);
    data["identity"] = identity ? identity : "";
    LogEvent("hidIdentity", std::move(data));
  }
  bool Send(int32_t kind, const uint8_t* bytes, uint32_t length) override {
    Json::Value data(Json::objectValue);
    data["kind"] = kind;
    Json::Value list(Json::arrayValue);
    for (uint32_t i = 0; i < length; ++i) list.append(bytes[i]);
    data["bytes"] = list;
    LogEvent("hidSend", std::move(data));
    return true;
  }
};

}  // namespace

void ResetHID() {
  delete State().hid;
  State().hid = nullptr;
  State().hidCallback = nullptr;
}

void RaiseHIDEvent(int32_t event, const std::vector<uint8_t>& bytes) {
  IHIDCommCallback* callback = State().hidCallback;
  if (!State().hid || !callback) return;
  std::thread device([callback, event, &bytes] {
    callback->OnHIDEvent(event, bytes.empty() ? nullptr : bytes.data(),
                         static_cast<uint32_t>(bytes.size()));
  });
  device.join();
}

bool HIDChannelOpen() { return State().hid != nullptr; }

}  // namespace hostsim

IHIDComm* CreateHIDComm(IHIDCommCallback* callback, uint64_t parameter) {
  hostsim::SimState& s = hostsim::State();
  if (s.Fails("hid.create") || s.hid) return nullptr;
  s.hid = new hostsim::SimHIDComm();
  s.hidCallback = callback;
  Json::Value data(Json::objectValue);
  data["parameter"] = Json::UInt64(parameter);
  hostsim::LogEvent("hidCreate", std::move(data));
  return s.hid;
}

void DestroyHIDComm(IHIDComm* comm) {
  hostsim::SimState& s = hostsim::State();
  if (!comm || comm != s.hid) return;
  delete s.hid;
  s.hid = nullptr;
  s.hidCallback = nullptr;
  hostsim::LogEvent("hidDestroy", Json::Value(Json::objectValue));
}
