// The responder of the own DNS-SD modules: serves the local protocol
// (mdns/mdns_wire.h) on the embeddable mDNS stack. Everything of one
// responder, the stack included, runs on the thread that called Run; Stop
// is the only call meant for other threads.
#pragma once

#include <mutex>
#include <string>
#include <type_traits>

namespace mdns_responder {

struct Options {
  // A file path to listen on; empty: mdns_wire::SocketAddress, that is
  // TESSEL_MDNS_SOCKET or the abstract socket of this process.
  std::string socket_path;
  // Comma-separated names of the interfaces the stack may use; empty: all.
  std::string interfaces;

  // The options as TESSEL_MDNS_INTERFACES sets them.
  static Options FromEnvironment();
};

class Responder {
 public:
  Responder() = default;
  Responder(const Responder&) = delete;
  Responder& operator=(const Responder&) = delete;

  // Serves until Stop. Returns at once (true) while another Run of this
  // responder is under way, and when a Stop came while none was: that Stop
  // was meant for this Run. False when the responder could not start (the
  // socket is taken, the stack failed); with hold_on_failure it then waits
  // for Stop before it returns, as a run loop would.
  bool Run(const Options& options, bool hold_on_failure = false) noexcept;
  // Makes a running Run return soon; from any thread.
  void Stop() noexcept;

 private:
  std::mutex mu_;
  bool running_ = false;
  bool stop_kept_ = false;
  int wake_fd_ = -1;
};

// The module keeps its responder in static storage for the whole life of the
// process: there must be nothing to run at exit.
static_assert(std::is_trivially_destructible<Responder>::value,
              "a responder must outlive every thread that may still use it");

}  // namespace mdns_responder
