// Waits on a DNS-SD reference's socket until it is readable or closed, or
// until the stop event is set.
#pragma once

#include <atomic>
#include <cstdint>

#include "Platform/Platform.h"

class dnssd_socket {
 public:
  enum : uint32_t { readable = platform::SocketWatch::kReadable, closed = platform::SocketWatch::kClosed };

  dnssd_socket();
  virtual ~dnssd_socket();

  // Starts watching the socket; false for -1 or when it cannot be watched.
  bool open(int descriptor);
  // True only when the socket signalled (not the stop event, not a failure).
  bool wait();
  // What the socket reports: readable, closed, both or 0.
  uint32_t check();
  void close();
  // Wakes a wait() for good (until the next open).
  void signal_stop();
  int descriptor() const { return descriptor_; }

 private:
  std::atomic<int> descriptor_{-1};
  uint32_t timeout_ = platform::Event::kInfinite;  // never changed
  platform::Event stop_event_{platform::Event::kManualReset};
  platform::SocketWatch watch_;
};
