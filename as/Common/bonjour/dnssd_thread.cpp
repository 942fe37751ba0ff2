#include "dnssd_thread.h"

#include "dnssd_api.h"

dnssd_thread::dnssd_thread() = default;

dnssd_thread::~dnssd_thread() { stop_thread(); }

bool dnssd_thread::start_thread() {
  if (thread_) return true;
  // Cleared here rather than in the thread, so that a stop that comes before
  // the thread has run cannot be forgotten.
  stop_ = false;
  auto thread = std::make_unique<named_thread>();
  if (!thread->Start([this] { return event_loop(); }, "bonjour thread")) return false;
  thread_ = std::move(thread);
  return true;
}

void dnssd_thread::stop_thread() {
  if (!thread_) return;
  stop_ = true;
  // A socket that is not open yet needs no wake-up: the loop sees the flag
  // right after opening it.
  if (socket_.descriptor() != -1) socket_.signal_stop();
  thread_->Join();
  thread_.reset();
}

uint32_t dnssd_thread::event_loop() {
  const DNSServiceRef ref = ref_;
  if (!ref) return 0;
  dnssd_api& api = dnssd_api::instance();
  if (!socket_.open(api.ref_sock_fd(ref))) return 0;
  looping_ = true;
  while (!stop_) {
    if (!socket_.wait()) continue;
    const uint32_t events = socket_.check();
    if (events & dnssd_socket::readable) {
      // Both together: only the read is handled. A read that fails means the
      // daemon is gone; trying again would only spin.
      if (api.process_result(ref) != kDNSServiceErr_NoError) stop_ = true;
    } else if (events & dnssd_socket::closed) {
      stop_ = true;  // the daemon went away
    }
  }
  looping_ = false;
  socket_.close();
  return 0;
}
