// The host's module registry: modules found by identifier, interfaces asked
// of a module by name.
#pragma once

#include "Kit/KitExport.h"

class KIT_API IKitModule {
 public:
  virtual ~IKitModule();
  virtual const char* GetModuleId() const = 0;
  // The named interface of this module, or null.
  virtual void* QueryInterface(const char* interfaceName) = 0;
};

class KIT_API IKitMQService {
 public:
  virtual ~IKitMQService();
  virtual IKitModule* FindModule(const char* moduleId) = 0;
};

// The process's module registry, or null.
KIT_API IKitMQService* KitMQ_GetService();
