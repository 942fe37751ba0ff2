// Makes sure a DNS-SD daemon exists while the layer is in use: when the
// system's daemon is not usable, the layer's own responder runs on a thread
// of its own from the first user's start to the last user's stop.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>

#include "Platform/Platform.h"
#include "named_thread.h"

class bonjour_service {
 public:
  static bonjour_service& instance();
  ~bonjour_service();

  void start();
  void stop();

  int32_t refcount() const { return refcount_; }
  bool responder_loaded() const;

 private:
  bonjour_service() = default;
  uint32_t bonjour_server_thread();

  std::mutex lifecycle_;      // one start or stop at a time
  mutable std::mutex mutex_;  // the module handle and the server thread
  platform::LibraryHandle responder_ = nullptr;
  std::atomic<int32_t> refcount_{0};
  std::unique_ptr<named_thread> server_thread_;
  platform::Event started_{platform::Event::kAutoReset};
};
