// One thread per live DNS-SD reference: it waits on the reference's socket
// and processes each reply, so every callback of the reference (and every
// sink report that follows from it) runs on that thread.
#pragma once

#include <atomic>
#include <memory>

#include "dnssd_socket.h"
#include "dnssd_types.h"
#include "named_thread.h"

class dnssd_thread {
 public:
  dnssd_thread();
  virtual ~dnssd_thread();
  dnssd_thread(const dnssd_thread&) = delete;
  dnssd_thread& operator=(const dnssd_thread&) = delete;

  // Starts "bonjour thread" on the reference; true when it was created.
  bool start_thread();
  // Stops and joins the thread (at most 120 s); nothing when none runs.
  void stop_thread();
  bool thread_running() const { return thread_ != nullptr; }
  // Whether the thread is inside its event loop (false once the daemon closed
  // the socket, even before the thread is stopped).
  bool event_loop_running() const { return looping_; }

 protected:
  // The reference, owned (and deallocated) by the derived class.
  std::atomic<DNSServiceRef> ref_{nullptr};

 private:
  uint32_t event_loop();

  std::unique_ptr<named_thread> thread_;
  std::atomic<bool> stop_{false};
  std::atomic<bool> looping_{false};
  dnssd_socket socket_;
};
