// The responder module's entry points: the DNS-SD layer calls
// dnssd_service_start on its server thread, where it runs until
// dnssd_service_stop comes from any thread.
#include "responder.h"

#define MDNS_RESPONDER_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// Static storage with nothing to destroy: a thread may still be inside start
// when the process ends or the module is unloaded, and nothing is left
// allocated after a stop.
mdns_responder::Responder g_responder;

mdns_responder::Responder& Instance() { return g_responder; }

}  // namespace

MDNS_RESPONDER_EXPORT void dnssd_service_start() noexcept {
  mdns_responder::Options options;
  try {
    options = mdns_responder::Options::FromEnvironment();
  } catch (...) {
  }
  // A responder that cannot serve still waits for its stop, as the layer
  // expects of a run loop.
  Instance().Run(options, /*hold_on_failure=*/true);
}

MDNS_RESPONDER_EXPORT void dnssd_service_stop() noexcept { Instance().Stop(); }
