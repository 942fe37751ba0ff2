// The face of the DNS-SD layer: publish services, browse a type, resolve an
// instance. Results come back through cpt_bonjour_sink on the layer's event
// threads.
#pragma once

#include <cstdint>
#include <map>
#include <string>

using txt_entries = std::map<std::string, std::string>;

// One service to publish.
struct dns_service_record {
  std::string name;
  uint16_t port = 0;  // host byte order
  std::string type;   // e.g. "_tesselrooms._tcp"
  std::string domain; // may be empty
  txt_entries txt;
};

// Implemented by the layer's user. Called on the layer's event threads.
class cpt_bonjour_sink {
 public:
  virtual ~cpt_bonjour_sink() = default;
  virtual void on_register_result(int32_t error, const std::string& name,
                                  const std::string& type, const std::string& domain) = 0;
  // `added` is false for a removed instance and for a browse that failed.
  virtual void on_browse_result(int32_t error, const std::string& name, const std::string& type,
                                const std::string& domain, bool added) = 0;
  // One call per address of the host; `port` in host byte order.
  virtual void on_resolve_result(int32_t error, const std::string& name, const std::string& type,
                                 const std::string& domain, const std::string& host,
                                 const std::string& address, bool ipv4, uint16_t port,
                                 const txt_entries& txt) = 0;
};

class dns_service;
using service_handle = dns_service*;

class cpt_bonjour {
 public:
  virtual void set_sink(cpt_bonjour_sink* sink) = 0;
  // The handle of the published service, or null when publishing failed.
  virtual service_handle register_service(const dns_service_record& record) = 0;
  virtual void unregister_service(service_handle handle) = 0;
  // The TXT bytes of a published service (null for a null handle, which
  // leaves `length` untouched).
  virtual const void* get_txt_record(service_handle handle, uint16_t* length) = 0;
  // Stops any running browse first.
  virtual void start_browse_service(const std::string& type, const std::string& domain) = 0;
  virtual void stop_browse_service() = 0;
  virtual void resolve_service(const std::string& name, const std::string& type,
                               const std::string& domain) = 0;
  virtual ~cpt_bonjour() = default;
};

// A new user of the layer (null when it cannot be made); delete it when done.
cpt_bonjour* create_cpt_bonjour();
