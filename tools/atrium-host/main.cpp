// atrium-host: the reference host. Loads the plug-in by path, runs the
// simulated host, executes a script of JSON lines and prints what the
// plug-in does as JSON lines.
//
//   atrium-host [--plugin PATH] [SCRIPT | -]
#include <cstring>
#include <fstream>
#include <iostream>

#include "PluginLoader.h"
#include "ScriptRunner.h"

int main(int argc, char** argv) {
  std::string pluginPath;
  std::string scriptPath = "-";
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--plugin") == 0 && i + 1 < argc) {
      pluginPath = argv[++i];
    } else if (std::strcmp(argv[i], "--help") == 0) {
      std::cout << "usage: atrium-host [--plugin PATH] [SCRIPT | -]\n";
      return 0;
    } else {
      scriptPath = argv[i];
    }
  }
  if (pluginPath.empty()) {
#if defined(_WIN32)
    pluginPath = PluginLoader::ExecutableDir() + "\\atrium.dll";
#else
    pluginPath = PluginLoader::ExecutableDir() + "/libatrium.so";
#endif
  }

  PluginLoader plugin;
  std::string error;
  if (!plugin.Load(pluginPath, error)) {
    std::cerr << "atrium-host: cannot load " << pluginPath << ": " << error << "\n";
    return 2;
  }
  auto get = reinterpret_cast<GetAtriumClientFn>(plugin.Symbol("GetAtriumClient"));
  auto destroy = reinterpret_cast<DestroyAtriumClientFn>(plugin.Symbol("DestroyAtriumClient"));
  if (!get || !destroy) {
    std::cerr << "atrium-host: " << pluginPath << " lacks the client exports\n";
    return 2;
  }

  int failures = 0;
  {
    ScriptRunner runner(get, destroy, std::cout);
    if (scriptPath == "-") {
      failures = runner.Run(std::cin);
    } else {
      std::ifstream in(scriptPath);
      if (!in) {
        std::cerr << "atrium-host: cannot read " << scriptPath << "\n";
        return 2;
      }
      failures = runner.Run(in);
    }
    destroy();  // a host destroys its client before unloading the plug-in
  }
  return failures == 0 ? 0 : 1;
}
