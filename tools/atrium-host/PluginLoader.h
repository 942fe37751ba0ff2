// Loads the plug-in by file path and finds its exports by name, as a real
// host does.
#pragma once

#include <string>

class PluginLoader {
 public:
  PluginLoader() = default;
  ~PluginLoader();
  PluginLoader(const PluginLoader&) = delete;
  PluginLoader& operator=(const PluginLoader&) = delete;

  bool Load(const std::string& path, std::string& error);
  void* Symbol(const char* name) const;
  void Unload();

  // The folder of the running executable (empty when unknown).
  static std::string ExecutableDir();

 private:
  void* handle_ = nullptr;
};
