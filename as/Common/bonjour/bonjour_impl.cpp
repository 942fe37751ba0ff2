#include "bonjour_impl.h"

#include <cerrno>
#include <new>

#include "bonjour_log.h"
#include "bonjour_service.h"

namespace {
const char kFile[] = "as/Common/bonjour/bonjour_impl";
}

cpt_bonjour* create_cpt_bonjour() { return new (std::nothrow) bonjour_impl(); }

bonjour_impl::bonjour_impl() { bonjour_service::instance().start(); }

bonjour_impl::~bonjour_impl() {
  bonjour_service::instance().stop();
  std::lock_guard<std::mutex> lock(mutex_);
  for (dns_service* service : registrations_) {
    service->unpublish();
    delete service;
  }
  registrations_.clear();
  if (browse_) browse_->stop_scan();
  browse_.reset();
}

void bonjour_impl::set_sink(cpt_bonjour_sink* sink) {
  bonjour_log(kFile, "bonjour_impl::set_sink", "set bonjour sink: %p", static_cast<void*>(sink));
  sink_ = sink;
}

service_handle bonjour_impl::register_service(const dns_service_record& record) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto* service = new (std::nothrow) dns_service(sink_);
  if (!service) {
    bonjour_log(kFile, "bonjour_impl::register_service", "error: new dns service failed, %d", errno);
    return nullptr;
  }
  if (!service->publish(record)) {
    delete service;
    return nullptr;
  }
  registrations_.insert(service);
  return service;
}

void bonjour_impl::unregister_service(service_handle handle) {
  if (!handle) return;
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = registrations_.find(handle);
  if (it == registrations_.end()) return;  // not ours
  (*it)->unpublish();
  delete *it;
  registrations_.erase(it);
}

const void* bonjour_impl::get_txt_record(service_handle handle, uint16_t* length) {
  if (!handle) return nullptr;
  std::lock_guard<std::mutex> lock(mutex_);
  if (registrations_.count(handle) == 0) {
    if (length) *length = 0;
    return nullptr;
  }
  return handle->txt_record(length);
}

dns_service* bonjour_impl::browse_service(const char* function) {
  if (!browse_) {
    browse_.reset(new (std::nothrow) dns_service(sink_));
    if (!browse_) bonjour_log(kFile, function, "error: new dns service failed, %d", errno);
  }
  return browse_.get();
}

void bonjour_impl::start_browse_service(const std::string& type, const std::string& domain) {
  dns_service* service = browse_service("bonjour_impl::start_browse_service");
  if (!service) return;
  stop_browse_service();
  service->start_scan(type, domain);
}

void bonjour_impl::stop_browse_service() {
  if (browse_) browse_->stop_scan();
}

void bonjour_impl::resolve_service(const std::string& name, const std::string& type,
                                   const std::string& domain) {
  if (dns_service* service = browse_service("bonjour_impl::resolve_service"))
    service->resolve(name, type, domain);
}
