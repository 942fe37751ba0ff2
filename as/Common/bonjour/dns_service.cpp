#include "dns_service.h"

#include <new>

#include "bonjour_log.h"
#include "dnssd_discovery.h"
#include "dnssd_register.h"

namespace {
const char kFile[] = "as/Common/bonjour/dns_service";
}

dns_service::dns_service(cpt_bonjour_sink* sink) : sink_(sink) {
  bonjour_log(kFile, "dns_service::dns_service", "construct dns service, %p",
              static_cast<void*>(sink));
}

dns_service::~dns_service() {
  bonjour_log(kFile, "dns_service::~dns_service", "destruct dns service");
  register_.reset();
  discovery_.reset();
}

bool dns_service::publish(const dns_service_record& record) {
  if (!register_) register_.reset(new (std::nothrow) dnssd_register(sink_));
  bonjour_log(kFile, "dns_service::publish", "publish service, %s, %s, %s, %d, %p",
              record.name.c_str(), record.type.c_str(), record.domain.c_str(), record.port,
              static_cast<void*>(register_.get()));
  return register_ && register_->start(record);
}

void dns_service::unpublish() {
  bonjour_log(kFile, "dns_service::unpublish", "unpublish service, %p",
              static_cast<void*>(register_.get()));
  if (register_) register_->stop();
}

bool dns_service::start_scan(const std::string& type, const std::string& domain) {
  if (!discovery_) discovery_.reset(new (std::nothrow) dnssd_discovery(sink_));
  bonjour_log(kFile, "dns_service::start_scan", "browse services, %s, %s, %p", type.c_str(),
              domain.c_str(), static_cast<void*>(discovery_.get()));
  return discovery_ && discovery_->start(type, domain);
}

void dns_service::stop_scan() {
  if (discovery_) discovery_->stop();
}

void dns_service::resolve(const std::string& name, const std::string& type,
                          const std::string& domain) {
  if (!discovery_) discovery_.reset(new (std::nothrow) dnssd_discovery(sink_));
  bonjour_log(kFile, "dns_service::resolve", "resolve service, %s, %s, %s, %p", name.c_str(),
              type.c_str(), domain.c_str(), static_cast<void*>(discovery_.get()));
  if (discovery_) discovery_->resolve(name, type, domain);
}

const void* dns_service::txt_record(uint16_t* length) const {
  if (!register_) {
    if (length) *length = 0;
    return nullptr;
  }
  return register_->txt_record(length);
}
