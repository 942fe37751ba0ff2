#include "dnssd_register.h"

#include <cstring>

#include "bonjour_log.h"
#include "dnssd_api.h"

namespace {
const char kFile[] = "as/Common/bonjour/dnssd_register";

uint16_t ToNetworkOrder(uint16_t port) {
  const unsigned char bytes[2] = {static_cast<unsigned char>(port >> 8),
                                  static_cast<unsigned char>(port & 0xFF)};
  uint16_t out;
  std::memcpy(&out, bytes, 2);
  return out;
}
}  // namespace

dnssd_register::dnssd_register(cpt_bonjour_sink* sink) : sink_(sink) {
  bonjour_log(kFile, "dnssd_register::dnssd_register", "construct dnssd register, %p",
              static_cast<void*>(sink));
}

dnssd_register::~dnssd_register() {
  bonjour_log(kFile, "dnssd_register::~dnssd_register", "destruct dnssd register");
  stop();
}

bool dnssd_register::start(const dns_service_record& record) {
  dnssd_api& api = dnssd_api::instance();
  std::vector<unsigned char> txt;
  uint64_t generation;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (ref_.load()) return false;  // one service at a time
    TXTRecordRef record_txt;
    api.txt_create(&record_txt);
    for (const auto& entry : record.txt) {
      // The value's length is cut to 8 bits, as the TXT format stores it.
      api.txt_set_value(&record_txt, entry.first.c_str(),
                        static_cast<uint8_t>(entry.second.size()), entry.second.data());
    }
    const uint16_t length = api.txt_length(&record_txt);
    const void* bytes = api.txt_bytes(&record_txt);
    if (length > 0 && bytes) {
      txt_.assign(static_cast<const unsigned char*>(bytes),
                  static_cast<const unsigned char*>(bytes) + length);
      txt_length_ = length;
    }
    api.txt_deallocate(&record_txt);
    txt = txt_;
    generation = generation_;
    cancel_.Reset();  // a stop before this start must not cut it short
  }
  DNSServiceRef ref = nullptr;
  DNSServiceErrorType error = api.register_service(
      &ref, 0, 0, record.name.c_str(), record.type.c_str(), record.domain.c_str(), nullptr,
      ToNetworkOrder(record.port), static_cast<uint16_t>(txt.size()),
      txt.empty() ? nullptr : txt.data(), &dnssd_register::registerCallback, this, &cancel_);
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (generation != generation_) {
      // Stopped while registering: the service is withdrawn before it lived.
      if (error == kDNSServiceErr_NoError && ref) api.ref_deallocate(ref);
      if (error == kDNSServiceErr_NoError) return false;
    } else if (error == kDNSServiceErr_NoError) {
      ref_ = ref;
      if (start_thread()) return true;
    }
  }
  if (error != kDNSServiceErr_NoError && ref) api.ref_deallocate(ref);
  bonjour_log(kFile, "dnssd_register::start", "error: register service (%s, %s, %s, %d) failed, %d",
              record.name.c_str(), record.type.c_str(), record.domain.c_str(), record.port, error);
  stop();
  if (sink_) sink_->on_register_result(error, record.name, record.type, record.domain);
  return false;
}

void dnssd_register::stop() {
  cancel_.Set();
  std::lock_guard<std::mutex> lock(mutex_);
  ++generation_;
  // The thread ends before its reference goes, so no reply is processed on
  // a reference that no longer exists.
  stop_thread();
  if (DNSServiceRef ref = ref_.exchange(nullptr)) dnssd_api::instance().ref_deallocate(ref);
  txt_.clear();
  txt_length_ = 0;
}

const void* dnssd_register::txt_record(uint16_t* length) const {
  std::lock_guard<std::mutex> lock(mutex_);
  if (length) *length = txt_length_;
  return txt_.empty() ? nullptr : txt_.data();
}

void DNSSD_API dnssd_register::registerCallback(DNSServiceRef, DNSServiceFlags flags,
                                                DNSServiceErrorType error, const char* name,
                                                const char* type, const char* domain,
                                                void* context) {
  bonjour_log(kFile, "dnssd_register::registerCallback", "register callback: %d, %d, %s, %s, %s, %p",
              static_cast<int>(flags), error, name ? name : "", type ? type : "",
              domain ? domain : "", context);
  auto* self = static_cast<dnssd_register*>(context);
  if (self && self->sink_)
    self->sink_->on_register_result(error, name ? name : "", type ? type : "",
                                    domain ? domain : "");
}
