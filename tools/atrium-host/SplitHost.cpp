#include "SplitHost.h"

#include <iostream>

#if defined(_WIN32)

int RunSplitHost(const std::string&, const std::string&) {
  std::cerr << "atrium-host: --split needs a POSIX system\n";
  return 2;
}

int RunMeetingProcess(const std::string&, const std::string&) { return 2; }

#else

#include <errno.h>
#include <fcntl.h>
#include <json/reader.h>
#include <json/writer.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <vector>

#include "PluginLoader.h"
#include "ProcessLink.h"
#include "ScriptRunner.h"
#include "hostsim/SimRooms.h"

namespace {

// How long the parent waits for one answer of the meeting process
// (ATRIUM_HOST_TIMEOUT_MS overrides it).
int AnswerTimeoutMs() {
  static const int timeout = [] {
    const char* text = std::getenv("ATRIUM_HOST_TIMEOUT_MS");
    const int ms = text ? std::atoi(text) : 0;
    return ms > 0 ? ms : 30000;
  }();
  return timeout;
}

// "main.run" gives up when the two processes still pass work after this many rounds.
constexpr int kMaxRounds = 1000;

std::string Compact(const Json::Value& value) {
  Json::StreamWriterBuilder b;
  b["indentation"] = "";
  b["emitUTF8"] = true;
  return Json::writeString(b, value);
}

bool ParseObject(const std::string& text, Json::Value& out) {
  try {
    std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    return reader->parse(text.data(), text.data() + text.size(), &out, nullptr) && out.isObject();
  } catch (const std::exception&) {
    return false;
  }
}

bool SkippedLine(const std::string& text) {
  const auto first = text.find_first_not_of(" \t\r");
  return first == std::string::npos || text[first] == '#';
}

Json::Value ProcessLine() {
  Json::Value line(Json::objectValue);
  line["event"] = "process";
  line["pid"] = static_cast<Json::Int64>(getpid());
  return line;
}

std::string DescribeStatus(int status) {
  if (WIFEXITED(status)) return "exited with status " + std::to_string(WEXITSTATUS(status));
  if (WIFSIGNALED(status)) return "was killed by signal " + std::to_string(WTERMSIG(status));
  return "ended";
}

// ---- the parent: the main application, and the meeting process it started

class SplitHost {
 public:
  explicit SplitHost(ScriptRunner& runner) : runner_(runner) {}
  ~SplitHost() { Stop(); }

  // Starts `exe` as the meeting process. False with `error` when it cannot start.
  bool Start(const std::string& exe, const std::string& pluginPath, std::string& error);
  // Waits for the meeting process to report that it has loaded the plug-in.
  bool AwaitReady(std::string& error);
  // Runs the script.
  void Run(std::istream& in);
  // Ends the meeting process: asks it to shut down, then reaps it.
  void Finish();
  // A room message that the plug-in sent from this process: one for the
  // meeting side waits for the next step of the script to be written.
  // Called inside the plug-in's send: only queues.
  void Queue(hostsim::Side to, const std::string& text) noexcept;
  // Failed lines of either process, and reports of the meeting process's end.
  int Failures() const { return failures_; }

 private:
  void RunLocal(const std::string& text, int number);
  void RunRemote(const std::string& text, int number);
  void RunBoth(int number);
  // Sends `command` with the room messages still to hand over, prints what
  // the meeting process prints, and hands its room messages to this side.
  // False when the meeting process is gone (reported on line `number`).
  bool Exchange(Json::Value command, Json::Value& done, int number);
  void FlushRelay(int number);
  // The meeting process stopped answering: report it on line `number`.
  void Lost(ProcessLink::Result result, int number);
  // Waits for the process to end (killing it after `timeoutMs`) and reaps it.
  int Reap(int timeoutMs);
  void Stop();
  void Report(int number, const std::string& message);

  ScriptRunner& runner_;
  pid_t pid_ = -1;
  std::unique_ptr<ProcessLink> link_;
  bool alive_ = false;
  std::size_t toMeeting_ = 0;  // room messages written that the meeting process has not taken
  int failures_ = 0;
};

bool SplitHost::Start(const std::string& exe, const std::string& pluginPath, std::string& error) {
  int control[2][2], relay[2][2];  // [0]: to the child, [1]: from it; each {read, write}
  int opened = 0;
  for (auto* p : {control[0], control[1], relay[0], relay[1]}) {
    if (pipe(p) != 0) break;
    ++opened;
    // Only the child's ends, made inheritable below, pass to the child.
    fcntl(p[0], F_SETFD, FD_CLOEXEC);
    fcntl(p[1], F_SETFD, FD_CLOEXEC);
  }
  const auto closeAll = [&] {
    int* all[] = {control[0], control[1], relay[0], relay[1]};
    for (int i = 0; i < opened; ++i) {
      close(all[i][0]);
      close(all[i][1]);
    }
  };
  if (opened != 4) {
    error = std::string("pipe: ") + std::strerror(errno);
    closeAll();
    return false;
  }
  // The child's ends, in the order of the option's value.
  const int childEnds[4] = {control[0][0], control[1][1], relay[0][0], relay[1][1]};
  std::string channels;
  for (int fd : childEnds) channels += (channels.empty() ? "" : ",") + std::to_string(fd);
  std::vector<std::string> args = {exe, kMeetingProcessOption, channels, "--plugin", pluginPath};
  std::vector<char*> argv;
  for (auto& a : args) argv.push_back(&a[0]);
  argv.push_back(nullptr);

  const int devNull = open("/dev/null", O_RDONLY | O_CLOEXEC);
  std::cout.flush();
  const pid_t pid = fork();
  if (pid < 0) {
    error = std::string("fork: ") + std::strerror(errno);
    if (devNull >= 0) close(devNull);
    closeAll();
    return false;
  }
  if (pid == 0) {
    // Only async-signal-safe calls until exec: keep the child's four ends
    // open across exec; the script and the transcript are the parent's.
    for (int fd : childEnds) fcntl(fd, F_SETFD, 0);
    if (devNull >= 0) dup2(devNull, STDIN_FILENO);
    dup2(STDERR_FILENO, STDOUT_FILENO);
    execv(argv[0], argv.data());
    _exit(127);
  }
  if (devNull >= 0) close(devNull);
  pid_ = pid;
  alive_ = true;
  for (int fd : childEnds) close(fd);
  link_ = std::make_unique<ProcessLink>(control[1][0], control[0][1], relay[1][0], relay[0][1]);
  return true;
}

void SplitHost::Report(int number, const std::string& message) {
  ++failures_;
  Json::Value line(Json::objectValue);
  line["event"] = "error";
  line["line"] = number;
  line["message"] = message;
  line["process"] = "meeting";
  runner_.Print(line);
}

int SplitHost::Reap(int timeoutMs) {
  int status = 0;
  const long long deadline = NowMs() + timeoutMs;
  for (;;) {
    const pid_t done = waitpid(pid_, &status, WNOHANG);
    if (done == pid_ || (done < 0 && errno != EINTR)) break;
    if (NowMs() >= deadline) {
      kill(pid_, SIGKILL);
      while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
      }
      break;
    }
    poll(nullptr, 0, 5);
  }
  pid_ = -1;
  alive_ = false;
  link_.reset();
  toMeeting_ = 0;
  return status;
}

void SplitHost::Lost(ProcessLink::Result result, int number) {
  if (!alive_) return;
  const std::string why = link_ ? link_->LastError() : std::string();
  if (result == ProcessLink::Result::TimedOut) {
    kill(pid_, SIGKILL);
    Reap(AnswerTimeoutMs());
    Report(number, "the meeting process did not answer within " +
                       std::to_string(AnswerTimeoutMs()) + " ms and was stopped");
    return;
  }
  const int status = Reap(1000);
  Report(number, "the meeting process " + DescribeStatus(status) + (why.empty() ? "" : " (" + why + ")"));
}

void SplitHost::Stop() {
  if (!alive_) return;
  link_->CloseOutput();  // the meeting process reads the end and leaves
  Reap(AnswerTimeoutMs());
}

bool SplitHost::AwaitReady(std::string& error) {
  Json::Value done;
  if (!Exchange(Json::Value(Json::objectValue), done, 0)) {
    error = "the meeting process did not start";
    return false;
  }
  if (!done["ok"].asBool()) {
    error = done["fatal"].asString();
    Stop();
    return false;
  }
  return true;
}

bool SplitHost::Exchange(Json::Value command, Json::Value& done, int number) {
  if (!alive_) return false;
  const int timeout = AnswerTimeoutMs();
  if (!command.empty()) {
    command["relay"] = Json::UInt64(toMeeting_);
    toMeeting_ = 0;
    const ProcessLink::Result sent = link_->SendLine(Compact(command), timeout);
    if (sent != ProcessLink::Result::Ok) {
      Lost(sent, number);
      return false;
    }
  }
  for (;;) {
    std::string text;
    const ProcessLink::Result got = link_->ReadLine(text, timeout);
    if (got != ProcessLink::Result::Ok) {
      Lost(got, number);
      return false;
    }
    Json::Value answer;
    if (!ParseObject(text, answer)) {
      kill(pid_, SIGKILL);
      Lost(ProcessLink::Result::Failed, number);
      return false;
    }
    if (answer["out"].isString()) {
      std::cout << answer["out"].asString() << '\n';
      std::cout.flush();
      continue;
    }
    done = answer;
    break;
  }
  // The room messages that the meeting process sent meanwhile reach this
  // side's queue, as a real host's relay posts them on arrival.
  std::deque<std::string> messages;
  const ProcessLink::Result taken =
      link_->TakeRelay(static_cast<std::size_t>(done["relay"].asUInt64()), messages, timeout);
  if (taken != ProcessLink::Result::Ok) {
    Lost(taken, number);
    return false;
  }
  for (const std::string& text : messages) hostsim::DeliverRoomMessage(hostsim::Side::Main, text);
  return true;
}

void SplitHost::FlushRelay(int number) {
  if (!alive_) return;
  std::size_t sent = 0;
  const ProcessLink::Result r = link_->FlushRelay(sent, AnswerTimeoutMs());
  if (r != ProcessLink::Result::Ok) {
    Lost(r, number);
    return;
  }
  toMeeting_ += sent;
}

void SplitHost::RunLocal(const std::string& text, int number) {
  if (!runner_.RunText(text, number)) ++failures_;
  FlushRelay(number);
}

void SplitHost::RunRemote(const std::string& text, int number) {
  if (!alive_) {
    Report(number, "the meeting process is gone");
    return;
  }
  Json::Value command(Json::objectValue);
  command["cmd"] = "line";
  command["number"] = number;
  command["text"] = text;
  Json::Value done;
  if (Exchange(command, done, number) && !done["ok"].asBool()) ++failures_;
}

void SplitHost::RunBoth(int number) {
  Json::UInt64 ranMain = 0, ranMeeting = 0;
  bool settled = false;
  for (int round = 0; round < kMaxRounds && !settled; ++round) {
    const std::size_t ran = hostsim::RunMainQueue();
    ranMain += ran;
    FlushRelay(number);
    const std::size_t handedOver = toMeeting_;
    Json::UInt64 ranThere = 0, cameBack = 0;
    if (alive_) {
      Json::Value command(Json::objectValue), done;
      command["cmd"] = "run";
      if (Exchange(command, done, number)) {
        ranThere = done["ran"].asUInt64();
        cameBack = done["relay"].asUInt64();
      }
    }
    ranMeeting += ranThere;
    settled = ran == 0 && handedOver == 0 && ranThere == 0 && cameBack == 0;
  }
  Json::Value line(Json::objectValue);
  line["event"] = "mainQueue";
  line["ran"] = ranMain;
  runner_.Print(line);
  line["ran"] = ranMeeting;
  line["process"] = "meeting";
  runner_.Print(line);
  if (!settled) {
    ++failures_;
    runner_.PrintError(number, "the two processes still pass work after " +
                                   std::to_string(kMaxRounds) + " rounds");
  }
}

void SplitHost::Queue(hostsim::Side to, const std::string& text) noexcept {
  if (to == hostsim::Side::Main)
    hostsim::DeliverRoomMessage(to, text);  // this process's own side
  else if (alive_)
    link_->QueueRelay(text);
}

void SplitHost::Run(std::istream& in) {
  std::string text;
  for (int number = 1; std::getline(in, text); ++number) {
    if (SkippedLine(text)) continue;
    Json::Value op;
    if (!ParseObject(text, op)) {
      RunLocal(text, number);  // the runner reports what is wrong with it
      continue;
    }
    const Json::Value& process = op["process"];
    if (!process.isNull() && process != "main" && process != "meeting") {
      ++failures_;
      runner_.PrintError(number, "\"process\" must be \"main\" or \"meeting\"");
    } else if (op["op"] == "main.run") {
      RunBoth(number);
    } else if (process == "meeting") {
      RunRemote(text, number);
    } else {
      RunLocal(text, number);
    }
  }
}

void SplitHost::Finish() {
  if (!alive_) return;
  Json::Value command(Json::objectValue), done;
  command["cmd"] = "exit";
  if (!Exchange(command, done, 0)) return;
  link_->CloseOutput();
  const int status = Reap(AnswerTimeoutMs());
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
    Report(0, "the meeting process " + DescribeStatus(status));
}

// ---- the child: the meeting process

class MeetingSide {
 public:
  MeetingSide(ProcessLink& link, std::ostringstream& out) : link_(link), out_(out) {}

  // Sends what was printed since the last answer, then `done`.
  bool Answer(Json::Value done) {
    std::size_t sent = 0;
    if (link_.FlushRelay(sent, -1) != ProcessLink::Result::Ok) return false;
    std::istringstream printed(out_.str());
    out_.str(std::string());
    out_.clear();
    for (std::string line; std::getline(printed, line);) {
      Json::Value wrapped(Json::objectValue);
      wrapped["out"] = line;
      if (link_.SendLine(Compact(wrapped), -1) != ProcessLink::Result::Ok) return false;
    }
    done["done"] = true;
    done["relay"] = Json::UInt64(sent);
    return link_.SendLine(Compact(done), -1) == ProcessLink::Result::Ok;
  }

  // The room messages that the main application sent before this command
  // reach this side's queue first.
  bool TakeRelay(const Json::Value& command) {
    std::deque<std::string> messages;
    if (link_.TakeRelay(static_cast<std::size_t>(command["relay"].asUInt64()), messages, -1) !=
        ProcessLink::Result::Ok)
      return false;
    for (const std::string& text : messages)
      hostsim::DeliverRoomMessage(hostsim::Side::Meeting, text);
    return true;
  }

 private:
  ProcessLink& link_;
  std::ostringstream& out_;
};

bool ParseChannels(const std::string& text, int (&fds)[4]) {
  std::istringstream in(text);
  std::string part;
  int n = 0;
  while (std::getline(in, part, ',')) {
    if (n == 4 || part.empty() || part.find_first_not_of("0123456789") != std::string::npos)
      return false;
    fds[n++] = std::atoi(part.c_str());
  }
  return n == 4;
}

}  // namespace

int RunSplitHost(const std::string& pluginPath, const std::string& scriptPath) {
  signal(SIGPIPE, SIG_IGN);  // a meeting process that is gone shows as a write error
  std::ifstream file;
  if (scriptPath != "-") {
    file.open(scriptPath);
    if (!file) {
      std::cerr << "atrium-host: cannot read " << scriptPath << "\n";
      return 2;
    }
  }
  std::istream& in = scriptPath == "-" ? std::cin : file;
  const std::string exe = PluginLoader::ExecutablePath();
  if (exe.empty()) {
    std::cerr << "atrium-host: cannot find its own executable\n";
    return 2;
  }

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
    runner.SetProcessName("main");
    runner.Print(ProcessLine());
    SplitHost host(runner);
    if (!host.Start(exe, pluginPath, error)) {
      std::cerr << "atrium-host: cannot start the meeting process: " << error << "\n";
      return 2;
    }
    if (!host.AwaitReady(error)) {
      std::cerr << "atrium-host: " << error << "\n";
      return 2;
    }
    // Room messages for the meeting side leave through the relay.
    hostsim::SetRelayOutbound(
        [&host](hostsim::Side to, const std::string& text) { host.Queue(to, text); });
    host.Run(in);
    host.Finish();
    hostsim::SetRelayOutbound([](hostsim::Side, const std::string&) {});  // nobody left to hear
    runner.Shutdown();
    failures = host.Failures();
  }
  return failures == 0 ? 0 : 1;
}

int RunMeetingProcess(const std::string& pluginPath, const std::string& channels) {
  signal(SIGPIPE, SIG_IGN);
  int fds[4];
  if (!ParseChannels(channels, fds)) {
    std::cerr << "atrium-host: bad " << kMeetingProcessOption << " value\n";
    return 2;
  }
  ProcessLink link(fds[0], fds[1], fds[2], fds[3]);
  std::ostringstream out;
  MeetingSide side(link, out);

  PluginLoader plugin;
  PluginEntries entries;
  std::string error;
  if (!plugin.LoadEntries(pluginPath, entries, error)) {
    Json::Value done(Json::objectValue);
    done["ok"] = false;
    done["fatal"] = "the meeting process cannot load " + pluginPath + ": " + error;
    side.Answer(done);
    return 2;
  }
  int status = 1;  // unless the parent says goodbye
  {
    ScriptRunner runner(entries, out);
    runner.SetProcessName("meeting");
    hostsim::SetRelayOutbound([&link](hostsim::Side to, const std::string& text) {
      if (to == hostsim::Side::Main)
        link.QueueRelay(text);
      else
        hostsim::DeliverRoomMessage(to, text);  // this process's own side
    });
    runner.Print(ProcessLine());
    Json::Value ready(Json::objectValue);
    ready["ok"] = true;
    bool running = side.Answer(ready);
    while (running) {
      std::string text;
      Json::Value command;
      if (link.ReadLine(text, -1) != ProcessLink::Result::Ok) break;  // the parent is gone
      if (!ParseObject(text, command) || !side.TakeRelay(command)) break;
      const std::string name = command["cmd"].asString();
      Json::Value done(Json::objectValue);
      if (name == "line") {
        done["ok"] = runner.RunText(command["text"].asString(), command["number"].asInt());
      } else if (name == "run") {
        done["ran"] = Json::UInt64(hostsim::RunMainQueue());
      } else if (name == "exit") {
        hostsim::SetRelayOutbound([](hostsim::Side, const std::string&) {});
        runner.Shutdown();
        status = 0;
        running = false;
      } else {
        break;
      }
      if (!side.Answer(done)) break;
    }
    if (status != 0) runner.Shutdown();
  }
  return status;
}

#endif  // _WIN32
