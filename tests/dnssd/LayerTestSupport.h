// What the DNS-SD layer's tests share: a logger that keeps every message, a
// sink that keeps every report and lets the test wait for them, and the
// folders of the scripted libraries.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bonjour_log.h"
#include "cpt_bonjour.h"

namespace layertest {

// The folder of one test layout: "own", "partial" or "nostart".
std::string Layout(const std::string& name);

struct LogLine {
  std::string file, function, message;
};
void InstallLogger();
std::vector<LogLine> Logs();
void ClearLogs();
bool Logged(const std::string& message);           // exactly this message
bool LoggedPrefix(const std::string& prefix);      // a message that starts so

struct Report {
  std::string kind;  // "register", "browse", "resolve"
  int32_t error = 0;
  std::string name, type, domain, host, address;
  bool flag = false;  // added, or ipv4
  uint16_t port = 0;
  txt_entries txt;
  std::thread::id thread;
};

class RecordingSink : public cpt_bonjour_sink {
 public:
  void on_register_result(int32_t error, const std::string& name, const std::string& type,
                          const std::string& domain) override;
  void on_browse_result(int32_t error, const std::string& name, const std::string& type,
                        const std::string& domain, bool added) override;
  void on_resolve_result(int32_t error, const std::string& name, const std::string& type,
                         const std::string& domain, const std::string& host,
                         const std::string& address, bool ipv4, uint16_t port,
                         const txt_entries& txt) override;

  // Waits (up to 5 s) until at least `count` reports arrived; returns them all.
  std::vector<Report> WaitFor(std::size_t count);
  std::vector<Report> Reports();

 private:
  void Add(Report report);
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Report> reports_;
};

}  // namespace layertest
