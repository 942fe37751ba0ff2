// Split mode: the main application and the meeting process of the host run
// as two processes of the reference host, as they do in a real host. Each
// loads the plug-in and has a simulated host of its own; the plug-in's two
// halves reach each other only through the room-message relay, a pair of
// pipes between the processes.
//
// The parent reads the script. A line with "process": "meeting" runs in the
// child, which sends back what it printed; every other line runs in the
// parent. "main.run" runs both processes, exchanging room messages, until
// neither has a task or a message left.
#pragma once

#include <string>

// The hidden option that starts the meeting process:
//   atrium-host --meeting-process CONTROL_IN,CONTROL_OUT,RELAY_IN,RELAY_OUT --plugin PATH
constexpr const char kMeetingProcessOption[] = "--meeting-process";

// Runs `scriptPath` ("-": standard input) split in two processes. Returns the
// exit status: 0, 1 when a line failed in either process or the meeting
// process ended early, 2 when the plug-in, the script or the meeting process
// could not be started.
int RunSplitHost(const std::string& pluginPath, const std::string& scriptPath);

// The meeting process: runs what the parent sends on the control channel.
int RunMeetingProcess(const std::string& pluginPath, const std::string& channels);
