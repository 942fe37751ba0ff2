// The device library's USB (HID) channel.
#pragma once

#include <cstdint>

#include "Kit/KitExport.h"

// HID events: 1 data, 2 data of the second kind, 3 internal, 4 data of the third kind.
class KIT_API IHIDCommCallback {
 public:
  virtual ~IHIDCommCallback();
  // Called on the device library's own thread.
  virtual void OnHIDEvent(int32_t event, const uint8_t* data, uint32_t length) = 0;
};

class KIT_API IHIDComm {
 public:
  virtual ~IHIDComm();
  virtual void SetUserIdentity(const char* identityUtf8) = 0;
  virtual bool Send(int32_t kind, const uint8_t* data, uint32_t length) = 0;
};

KIT_API IHIDComm* CreateHIDComm(IHIDCommCallback* callback, uint64_t parameter);
KIT_API void DestroyHIDComm(IHIDComm* comm);
