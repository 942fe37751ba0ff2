#include "bonjour_service.h"

#include "bonjour_log.h"
#include "dnssd_api.h"
#include "dnssd_types.h"

namespace {
const char kFile[] = "as/Common/bonjour/bonjour_service";
}

bonjour_service& bonjour_service::instance() {
  static bonjour_service service;  // stopped once more at process exit
  return service;
}

bonjour_service::~bonjour_service() { stop(); }

bool bonjour_service::responder_loaded() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return responder_ != nullptr;
}

void bonjour_service::start() {
  std::lock_guard<std::mutex> lifecycle(lifecycle_);
  const int32_t count = ++refcount_;
  bonjour_log(kFile, "bonjour_service::start", "bonjour_service::start, refcount: %d", count);
  if (count >= 2) return;
  // The same choice as the client library's: a daemon that appears later
  // must not leave the own client library without its responder.
  if (dnssd_api::instance().uses_system_daemon()) {
    bonjour_log(kFile, "bonjour_service::start", "bonjour service is running.");
    return;
  }
  bonjour_log(kFile, "bonjour_service::start", "bonjour service is not running.");
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (server_thread_) return;  // a previous responder is still winding down
    auto thread = std::make_unique<named_thread>();
    if (!thread->Start([this] { return bonjour_server_thread(); }, "bonjour server thread"))
      return;
    server_thread_ = std::move(thread);
  }
  started_.Wait(platform::Event::kInfinite);
}

uint32_t bonjour_service::bonjour_server_thread() {
  dnssd_service_start_fn start = nullptr;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!responder_) {
      responder_ = platform::LoadLibraryFromModuleDir(platform::OwnResponderLibraryName());
      bonjour_log(kFile, "bonjour_service::bonjour_server_thread", "load mdnsresponder.dll, %p",
                  responder_);
    }
    start = reinterpret_cast<dnssd_service_start_fn>(
        platform::GetSymbol(responder_, "dnssd_service_start"));
  }
  if (start) {
    bonjour_log(kFile, "bonjour_service::bonjour_server_thread", "start own bonjour service");
    // Signalled before the responder serves: early clients retry meanwhile.
    started_.Set();
    start();  // runs until dnssd_service_stop
    return 0;
  }
  started_.Set();
  return 0;
}

void bonjour_service::stop() {
  std::lock_guard<std::mutex> lifecycle(lifecycle_);
  const int32_t count = --refcount_;
  bonjour_log(kFile, "bonjour_service::stop", "bonjour_service::stop, refcount: %d", count);
  if (count >= 1) return;
  std::unique_ptr<named_thread> thread;
  platform::LibraryHandle responder;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    responder = responder_;
    thread = std::move(server_thread_);
    if (responder) {
      bonjour_log(kFile, "bonjour_service::stop", "stop own bonjour service");
      if (auto stop = reinterpret_cast<dnssd_service_stop_fn>(
              platform::GetSymbol(responder, "dnssd_service_stop")))
        stop();
    }
  }
  // A responder that did not end in time keeps its module loaded.
  if (thread && thread->Join() != 0) return;
  std::lock_guard<std::mutex> lock(mutex_);
  if (responder_ == responder && responder) {
    platform::FreeLibrary(responder_);
    responder_ = nullptr;
  }
}
