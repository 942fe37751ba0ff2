// cpt_bonjour over dns_service objects: one per published service, and one
// for browsing and resolving.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <set>

#include "cpt_bonjour.h"
#include "dns_service.h"

class bonjour_impl : public cpt_bonjour {
 public:
  bonjour_impl();
  ~bonjour_impl() override;

  void set_sink(cpt_bonjour_sink* sink) override;
  service_handle register_service(const dns_service_record& record) override;
  void unregister_service(service_handle handle) override;
  const void* get_txt_record(service_handle handle, uint16_t* length) override;
  void start_browse_service(const std::string& type, const std::string& domain) override;
  void stop_browse_service() override;
  void resolve_service(const std::string& name, const std::string& type,
                       const std::string& domain) override;

 private:
  dns_service* browse_service(const char* function);

  std::atomic<cpt_bonjour_sink*> sink_{nullptr};
  std::set<dns_service*> registrations_;  // owned
  std::mutex mutex_;                      // registrations and teardown
  std::unique_ptr<dns_service> browse_;
};
