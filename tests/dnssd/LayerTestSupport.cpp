#include "LayerTestSupport.h"

namespace layertest {
namespace {
std::mutex g_logMutex;
std::vector<LogLine> g_logs;

void KeepLog(const char* file, const char* function, const char* message) {
  std::lock_guard<std::mutex> lock(g_logMutex);
  g_logs.push_back({file, function, message});
}
}  // namespace

std::string Layout(const std::string& name) { return std::string(DNSSD_LAYOUTS_DIR) + "/" + name; }

void InstallLogger() { set_bonjour_logger(&KeepLog); }

std::vector<LogLine> Logs() {
  std::lock_guard<std::mutex> lock(g_logMutex);
  return g_logs;
}

void ClearLogs() {
  std::lock_guard<std::mutex> lock(g_logMutex);
  g_logs.clear();
}

bool Logged(const std::string& message) {
  for (const auto& line : Logs())
    if (line.message == message) return true;
  return false;
}

bool LoggedPrefix(const std::string& prefix) {
  for (const auto& line : Logs())
    if (line.message.compare(0, prefix.size(), prefix) == 0) return true;
  return false;
}

void RecordingSink::Add(Report report) {
  report.thread = std::this_thread::get_id();
  std::lock_guard<std::mutex> lock(mutex_);
  reports_.push_back(std::move(report));
  changed_.notify_all();
}

void RecordingSink::on_register_result(int32_t error, const std::string& name,
                                       const std::string& type, const std::string& domain) {
  Report r;
  r.kind = "register";
  r.error = error;
  r.name = name;
  r.type = type;
  r.domain = domain;
  Add(std::move(r));
}

void RecordingSink::on_browse_result(int32_t error, const std::string& name,
                                     const std::string& type, const std::string& domain,
                                     bool added) {
  Report r;
  r.kind = "browse";
  r.error = error;
  r.name = name;
  r.type = type;
  r.domain = domain;
  r.flag = added;
  Add(std::move(r));
}

void RecordingSink::on_resolve_result(int32_t error, const std::string& name,
                                      const std::string& type, const std::string& domain,
                                      const std::string& host, const std::string& address,
                                      bool ipv4, uint16_t port, const txt_entries& txt) {
  Report r;
  r.kind = "resolve";
  r.error = error;
  r.name = name;
  r.type = type;
  r.domain = domain;
  r.host = host;
  r.address = address;
  r.flag = ipv4;
  r.port = port;
  r.txt = txt;
  Add(std::move(r));
}

std::vector<Report> RecordingSink::WaitFor(std::size_t count) {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait_for(lock, std::chrono::seconds(5), [&] { return reports_.size() >= count; });
  return reports_;
}

std::vector<Report> RecordingSink::Reports() {
  std::lock_guard<std::mutex> lock(mutex_);
  return reports_;
}

}  // namespace layertest
