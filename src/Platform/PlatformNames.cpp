// Library file names and the folder of this module, with the test hooks
// that replace them.
#include <mutex>

#include "Platform/Platform.h"
#include "Platform/PlatformInternal.h"

namespace platform {
namespace {

std::mutex g_overrideMutex;
std::string g_moduleDirOverride;
std::string g_systemLibraryOverride;

#if defined(_WIN32)
const char kSystemClient[] = "dnssd.dll";
const char kOwnClient[] = "mdnsclient.dll";
const char kOwnResponder[] = "mdnsresponder.dll";
#else
const char kSystemClient[] = "libdns_sd.so.1";
const char kOwnClient[] = "libmdnsclient.so";
const char kOwnResponder[] = "libmdnsresponder.so";
#endif

}  // namespace

std::string ModuleDirectory() {
  try {
    {
      std::lock_guard<std::mutex> lock(g_overrideMutex);
      if (!g_moduleDirOverride.empty()) return g_moduleDirOverride;
    }
    return internal::OwnModuleFolder();
  } catch (...) {
    return std::string();
  }
}

const char* SystemClientLibraryName() {
  std::lock_guard<std::mutex> lock(g_overrideMutex);
  // The override lives until the next SetSystemClientLibrary, which tests
  // call only while the layer is idle.
  return g_systemLibraryOverride.empty() ? kSystemClient : g_systemLibraryOverride.c_str();
}

const char* OwnClientLibraryName() { return kOwnClient; }
const char* OwnResponderLibraryName() { return kOwnResponder; }

namespace testing {
void SetModuleDirectory(const std::string& folder) {
  std::lock_guard<std::mutex> lock(g_overrideMutex);
  g_moduleDirOverride = folder;
}
void SetSystemClientLibrary(const std::string& nameOrPath) {
  std::lock_guard<std::mutex> lock(g_overrideMutex);
  g_systemLibraryOverride = nameOrPath;
}
}  // namespace testing

}  // namespace platform
