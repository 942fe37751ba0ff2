// atrium-host: the reference host. Loads the plug-in by path, runs the
// simulated host, executes a script of JSON lines and prints what the
// plug-in does as JSON lines.
//
//   atrium-host [--plugin PATH] [--split] [SCRIPT | -]
//
// With --split the main application and the meeting process run as two
// processes joined by the room-message relay (SplitHost.h).
#include <cstring>
#include <fstream>
#include <iostream>

#include "PluginLoader.h"
#include "ScriptRunner.h"
#include "SplitHost.h"

namespace {

int RunSingle(const std::string& pluginPath, const std::string& scriptPath) {
  PluginLoader plugin;
  PluginEntries entries;
  std::string error;
  if (!plugin.LoadEntries(pluginPath, entries, error)) {
    std::cerr << "atrium-host: cannot load " << pluginPath << ": " << error << "\n";
    return 2;
  }
  int failures = 0;
  {
    ScriptRunner runner(entries, std::cout);
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
    runner.Shutdown();  // a host ends its room services and client before unloading the plug-in
  }
  return failures == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  std::string pluginPath;
  std::string scriptPath = "-";
  std::string meetingChannels;
  bool split = false;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--plugin") == 0 && i + 1 < argc) {
      pluginPath = argv[++i];
    } else if (std::strcmp(argv[i], "--split") == 0) {
      split = true;
    } else if (std::strcmp(argv[i], kMeetingProcessOption) == 0 && i + 1 < argc) {
      meetingChannels = argv[++i];
    } else if (std::strcmp(argv[i], "--help") == 0) {
      std::cout << "usage: atrium-host [--plugin PATH] [--split] [SCRIPT | -]\n";
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
  if (!meetingChannels.empty()) return RunMeetingProcess(pluginPath, meetingChannels);
  if (split) return RunSplitHost(pluginPath, scriptPath);
  return RunSingle(pluginPath, scriptPath);
}
