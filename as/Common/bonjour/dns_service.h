// One use of the DNS-SD library under one sink: at most one registration and
// one discovery (browse and resolve), each made on first need.
#pragma once

#include <memory>
#include <string>

#include "cpt_bonjour.h"

class dnssd_register;
class dnssd_discovery;

class dns_service {
 public:
  explicit dns_service(cpt_bonjour_sink* sink);
  virtual ~dns_service();
  dns_service(const dns_service&) = delete;
  dns_service& operator=(const dns_service&) = delete;

  bool publish(const dns_service_record& record);
  void unpublish();
  bool start_scan(const std::string& type, const std::string& domain);
  void stop_scan();
  void resolve(const std::string& name, const std::string& type, const std::string& domain);
  // The registration's TXT bytes; length 0 and null before any publish.
  const void* txt_record(uint16_t* length) const;

 private:
  cpt_bonjour_sink* sink_;
  std::unique_ptr<dnssd_register> register_;
  std::unique_ptr<dnssd_discovery> discovery_;
};
