// Exported entry points of the Atrium client. A host that loads the plug-in
// at run time finds them by these plain names.
#pragma once

#include "AtriumExport.h"
#include "IAtriumClient.h"

extern "C" {
// The process's single client, built on the first call.
ATRIUM_EXPORT tessel_atriumclient::IAtriumClient* GetAtriumClient() noexcept;
// Deletes the single client; does nothing when there is none.
ATRIUM_EXPORT void DestroyAtriumClient() noexcept;
}

using GetAtriumClientFn = tessel_atriumclient::IAtriumClient* (*)();
using DestroyAtriumClientFn = void (*)();
