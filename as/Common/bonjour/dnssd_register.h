// Publishes one service instance and reports the daemon's answer.
#pragma once

#include <mutex>
#include <vector>

#include "cpt_bonjour.h"
#include "dnssd_thread.h"

class dnssd_register : public dnssd_thread {
 public:
  explicit dnssd_register(cpt_bonjour_sink* sink);
  ~dnssd_register() override;

  // False at once while a registration is live.
  bool start(const dns_service_record& record);
  // Withdraws the service; cuts a register retry short. Any thread.
  void stop();
  const void* txt_record(uint16_t* length) const;

  static void DNSSD_API registerCallback(DNSServiceRef ref, DNSServiceFlags flags,
                                         DNSServiceErrorType error, const char* name,
                                         const char* type, const char* domain, void* context);

 private:
  cpt_bonjour_sink* sink_;
  mutable std::mutex mutex_;  // the TXT copy and the reference, against a concurrent stop
  std::vector<unsigned char> txt_;
  uint16_t txt_length_ = 0;
  uint64_t generation_ = 0;  // counts stops: a start that a stop overtook gives up
  platform::Event cancel_{platform::Event::kAutoReset};
};
