#include "PluginLoader.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#include <limits.h>
#include <unistd.h>
#endif

PluginLoader::~PluginLoader() { Unload(); }

bool PluginLoader::LoadEntries(const std::string& path, PluginEntries& entries,
                               std::string& error) {
  if (!Load(path, error)) return false;
  entries.getClient = reinterpret_cast<GetAtriumClientFn>(Symbol("GetAtriumClient"));
  entries.destroyClient = reinterpret_cast<DestroyAtriumClientFn>(Symbol("DestroyAtriumClient"));
  if (!entries.getClient || !entries.destroyClient) {
    error = "the plug-in lacks the client exports";
    return false;
  }
  entries.getRoomService[0] = reinterpret_cast<GetKRServiceFn>(Symbol("GetKRServicePT"));
  entries.destroyRoomService[0] = reinterpret_cast<DestroyKRServiceFn>(Symbol("DestroyKRServicePT"));
  entries.getRoomService[1] = reinterpret_cast<GetKRServiceFn>(Symbol("GetKRServiceConf"));
  entries.destroyRoomService[1] =
      reinterpret_cast<DestroyKRServiceFn>(Symbol("DestroyKRServiceConf"));
  return true;
}

std::string PluginLoader::ExecutableDir() {
  const std::string path = ExecutablePath();
#if defined(_WIN32)
  const auto slash = path.find_last_of("\\/");
#else
  const auto slash = path.rfind('/');
#endif
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

#if defined(_WIN32)

bool PluginLoader::Load(const std::string& path, std::string& error) {
  Unload();
  handle_ = LoadLibraryA(path.c_str());
  if (!handle_) error = "LoadLibrary failed with " + std::to_string(GetLastError());
  return handle_ != nullptr;
}

void* PluginLoader::Symbol(const char* name) const {
  return handle_ ? reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), name))
                 : nullptr;
}

void PluginLoader::Unload() {
  if (handle_) FreeLibrary(static_cast<HMODULE>(handle_));
  handle_ = nullptr;
}

std::string PluginLoader::ExecutablePath() {
  char buf[MAX_PATH];
  DWORD n = GetModuleFileNameA(nullptr, buf, MAX_PATH);
  return std::string(buf, n);
}

#else

bool PluginLoader::Load(const std::string& path, std::string& error) {
  Unload();
  handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!handle_) {
    const char* why = dlerror();
    error = why ? why : "dlopen failed";
  }
  return handle_ != nullptr;
}

void* PluginLoader::Symbol(const char* name) const { return handle_ ? dlsym(handle_, name) : nullptr; }

void PluginLoader::Unload() {
  if (handle_) dlclose(handle_);
  handle_ = nullptr;
}

std::string PluginLoader::ExecutablePath() {
  char buf[PATH_MAX];
  const ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
  if (n <= 0) return std::string();
  return std::string(buf, static_cast<size_t>(n));
}

#endif
