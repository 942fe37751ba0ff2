// tessel-dnssd: browse, resolve and publish DNS-SD services through the
// plug-in's own DNS-SD layer (its loader, event threads and sink), printing
// one JSON line per result. "room" announces a room system the way room
// simulators do: "_tesselrooms._tcp" with its TXT "code", withdrawn and
// announced again on request.
//
//   tessel-dnssd browse TYPE [--resolve]
//   tessel-dnssd resolve NAME TYPE
//   tessel-dnssd register NAME TYPE PORT [KEY=VALUE ...]
//   tessel-dnssd room NAME CODE [--port PORT]
// Common options: --time SECONDS (end after that long), --domain DOMAIN,
// --log (the layer's log lines on stderr).
// It ends on SIGINT or SIGTERM, or when standard input says "quit". The
// room mode also takes "withdraw" and "announce" lines on standard input.
#include <json/value.h>
#include <json/writer.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <iostream>
#include <mutex>
#include <string>
#include <vector>

#include "bonjour_log.h"
#include "cpt_bonjour.h"

namespace {

int g_signalPipe[2] = {-1, -1};

void OnSignal(int) {
  const char c = 's';
  ssize_t ignored = write(g_signalPipe[1], &c, 1);
  (void)ignored;
}

std::mutex g_outMutex;

void PrintLine(const Json::Value& line) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  const std::string text = Json::writeString(builder, line);
  std::lock_guard<std::mutex> lock(g_outMutex);
  std::cout << text << '\n' << std::flush;
}

void LogLine(const char* file, const char* function, const char* text) {
  std::lock_guard<std::mutex> lock(g_outMutex);
  std::fprintf(stderr, "%s %s %s\n", file, function, text);
}

// Results arrive on the layer's threads; they are printed there, and
// instances to resolve are handed to the main thread (the layer takes no
// calls from its own threads).
class Sink : public cpt_bonjour_sink {
 public:
  explicit Sink(bool resolveAdded) : resolveAdded_(resolveAdded) {}

  void on_register_result(int32_t error, const std::string& name, const std::string& type,
                          const std::string& domain) override {
    Json::Value line(Json::objectValue);
    line["event"] = "register";
    line["error"] = error;
    line["name"] = name;
    line["type"] = type;
    line["domain"] = domain;
    PrintLine(line);
  }

  void on_browse_result(int32_t error, const std::string& name, const std::string& type,
                        const std::string& domain, bool added) override {
    Json::Value line(Json::objectValue);
    line["event"] = "browse";
    line["error"] = error;
    line["added"] = added;
    line["name"] = name;
    line["type"] = type;
    line["domain"] = domain;
    PrintLine(line);
    if (added && error == 0 && resolveAdded_) {
      std::lock_guard<std::mutex> lock(mutex_);
      toResolve_.push_back({name, type, domain});
      ready_.notify_all();
    }
  }

  void on_resolve_result(int32_t error, const std::string& name, const std::string& type,
                         const std::string& domain, const std::string& host,
                         const std::string& address, bool ipv4, uint16_t port,
                         const txt_entries& txt) override {
    Json::Value line(Json::objectValue);
    line["event"] = "resolve";
    line["error"] = error;
    line["name"] = name;
    line["type"] = type;
    line["domain"] = domain;
    line["host"] = host;
    line["address"] = address;
    line["ipv4"] = ipv4;
    line["port"] = port;
    Json::Value entries(Json::objectValue);
    for (const auto& entry : txt) entries[entry.first] = entry.second;
    line["txt"] = entries;
    PrintLine(line);
  }

  // Instances to resolve, taken by the main thread.
  std::vector<std::vector<std::string>> TakeResolves() {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::vector<std::string>> out(toResolve_.begin(), toResolve_.end());
    toResolve_.clear();
    return out;
  }

 private:
  bool resolveAdded_;
  std::mutex mutex_;
  std::condition_variable ready_;
  std::deque<std::vector<std::string>> toResolve_;
};

int Usage() {
  std::fprintf(stderr,
               "usage: tessel-dnssd browse TYPE [--resolve]\n"
               "       tessel-dnssd resolve NAME TYPE\n"
               "       tessel-dnssd register NAME TYPE PORT [KEY=VALUE ...]\n"
               "       tessel-dnssd room NAME CODE [--port PORT]\n"
               "options: --time SECONDS, --domain DOMAIN, --log\n");
  return 2;
}

bool ParsePort(const std::string& text, uint16_t& port) {
  char* end = nullptr;
  const long v = std::strtol(text.c_str(), &end, 10);
  if (text.empty() || *end != '\0' || v < 0 || v > 65535) return false;
  port = static_cast<uint16_t>(v);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args;
  double seconds = 0;
  bool resolveAdded = false;
  bool log = false;
  std::string domain;
  uint16_t roomPort = 7100;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--time" && i + 1 < argc) {
      seconds = std::atof(argv[++i]);
    } else if (a == "--domain" && i + 1 < argc) {
      domain = argv[++i];
    } else if (a == "--port" && i + 1 < argc) {
      if (!ParsePort(argv[++i], roomPort)) return Usage();
    } else if (a == "--resolve") {
      resolveAdded = true;
    } else if (a == "--log") {
      log = true;
    } else {
      args.push_back(a);
    }
  }
  if (args.empty()) return Usage();
  const std::string mode = args[0];

  dns_service_record record;
  if (mode == "browse" && args.size() == 2) {
  } else if (mode == "resolve" && args.size() == 3) {
  } else if (mode == "register" && args.size() >= 4) {
    record.name = args[1];
    record.type = args[2];
    record.domain = domain;
    if (!ParsePort(args[3], record.port)) return Usage();
    for (std::size_t i = 4; i < args.size(); ++i) {
      const std::size_t eq = args[i].find('=');
      if (eq == std::string::npos || eq == 0) return Usage();
      record.txt[args[i].substr(0, eq)] = args[i].substr(eq + 1);
    }
  } else if (mode == "room" && args.size() == 3) {
    record.name = args[1];
    record.type = "_tesselrooms._tcp";
    record.domain = domain;
    record.port = roomPort;
    record.txt["code"] = args[2];
  } else {
    return Usage();
  }

  if (pipe(g_signalPipe) != 0) return 1;
  struct sigaction sa {};
  sa.sa_handler = OnSignal;
  sigaction(SIGINT, &sa, nullptr);
  sigaction(SIGTERM, &sa, nullptr);
  if (log) set_bonjour_logger(LogLine);

  Sink sink(resolveAdded);
  cpt_bonjour* bonjour = create_cpt_bonjour();
  if (!bonjour) {
    Json::Value line(Json::objectValue);
    line["event"] = "error";
    line["message"] = "the DNS-SD layer cannot start";
    PrintLine(line);
    return 1;
  }
  bonjour->set_sink(&sink);

  service_handle published = nullptr;
  if (mode == "browse") {
    bonjour->start_browse_service(args[1], domain);
  } else if (mode == "resolve") {
    bonjour->resolve_service(args[1], args[2], domain);
  } else {
    published = bonjour->register_service(record);
    if (!published) {
      Json::Value line(Json::objectValue);
      line["event"] = "error";
      line["message"] = "the service cannot be published";
      PrintLine(line);
    }
  }

  const auto deadline = std::chrono::steady_clock::now() +
                        std::chrono::milliseconds(static_cast<int64_t>(seconds * 1000));
  std::string input;
  bool stdinOpen = true;
  for (;;) {
    for (const auto& r : sink.TakeResolves()) bonjour->resolve_service(r[0], r[1], r[2]);
    int timeout = 50;
    if (seconds > 0) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                            deadline - std::chrono::steady_clock::now())
                            .count();
      if (left <= 0) break;
      if (left < timeout) timeout = static_cast<int>(left);
    }
    pollfd fds[2] = {{g_signalPipe[0], POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    const int n = poll(fds, stdinOpen ? 2 : 1, timeout);
    if (n <= 0) continue;
    if (fds[0].revents & POLLIN) break;
    if (stdinOpen && (fds[1].revents & (POLLIN | POLLHUP))) {
      char buf[256];
      const ssize_t got = read(STDIN_FILENO, buf, sizeof(buf));
      if (got <= 0) {
        stdinOpen = false;
        continue;
      }
      input.append(buf, static_cast<std::size_t>(got));
      std::size_t nl;
      bool quit = false;
      while ((nl = input.find('\n')) != std::string::npos) {
        const std::string command = input.substr(0, nl);
        input.erase(0, nl + 1);
        if (command == "quit") quit = true;
        if (mode == "room" && command == "withdraw" && published) {
          bonjour->unregister_service(published);
          published = nullptr;
          Json::Value line(Json::objectValue);
          line["event"] = "withdrawn";
          line["name"] = record.name;
          PrintLine(line);
        } else if (mode == "room" && command == "announce" && !published) {
          published = bonjour->register_service(record);
        }
      }
      if (quit) break;
    }
  }

  if (published) bonjour->unregister_service(published);
  delete bonjour;
  Json::Value line(Json::objectValue);
  line["event"] = "end";
  PrintLine(line);
  return 0;
}
