#include "dnssd_socket.h"

dnssd_socket::dnssd_socket() = default;

dnssd_socket::~dnssd_socket() { close(); }

bool dnssd_socket::open(int descriptor) {
  if (descriptor == -1) return false;
  stop_event_.Reset();
  if (!watch_.Open(descriptor)) return false;
  descriptor_ = descriptor;
  return true;
}

bool dnssd_socket::wait() {
  if (descriptor_ == -1) return false;
  return watch_.Wait(stop_event_, timeout_);
}

uint32_t dnssd_socket::check() { return descriptor_ == -1 ? 0 : watch_.Check(); }

void dnssd_socket::close() {
  watch_.Close();
  descriptor_ = -1;  // the socket itself belongs to the DNS-SD library
}

void dnssd_socket::signal_stop() { stop_event_.Set(); }
