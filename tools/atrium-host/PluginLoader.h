// Loads the plug-in by file path and finds its exports by name, as a real
// host does.
#pragma once

#include <string>

#include "AtriumClientApi.h"
#include "KRServiceApi.h"

// The plug-in's entry points as the host found them. The room services'
// entries are null when the plug-in lacks them; the room operations then fail.
struct PluginEntries {
  GetAtriumClientFn getClient = nullptr;
  DestroyAtriumClientFn destroyClient = nullptr;
  GetKRServiceFn getRoomService[2] = {nullptr, nullptr};  // by side: main, meeting
  DestroyKRServiceFn destroyRoomService[2] = {nullptr, nullptr};
};

class PluginLoader {
 public:
  PluginLoader() = default;
  ~PluginLoader();
  PluginLoader(const PluginLoader&) = delete;
  PluginLoader& operator=(const PluginLoader&) = delete;

  bool Load(const std::string& path, std::string& error);
  void* Symbol(const char* name) const;
  void Unload();

  // Loads `path` and finds the entry points; false without the client's.
  bool LoadEntries(const std::string& path, PluginEntries& entries, std::string& error);

  // The running executable and its folder (empty when unknown).
  static std::string ExecutablePath();
  static std::string ExecutableDir();

 private:
  void* handle_ = nullptr;
};
