// Exported entry points of the room services. A host that loads the plug-in
// at run time finds them by these plain names.
#pragma once

#include "AtriumExport.h"
#include "IKRService.h"

extern "C" {
// The main application's single room service, built on the first call.
ATRIUM_EXPORT tessel_atriumclient::IKRService* GetKRServicePT() noexcept;
// Deletes it; does nothing when there is none.
ATRIUM_EXPORT void DestroyKRServicePT() noexcept;
// The meeting process's single room service, built on the first call.
ATRIUM_EXPORT tessel_atriumclient::IKRService* GetKRServiceConf() noexcept;
ATRIUM_EXPORT void DestroyKRServiceConf() noexcept;
}

using GetKRServiceFn = tessel_atriumclient::IKRService* (*)();
using DestroyKRServiceFn = void (*)();
