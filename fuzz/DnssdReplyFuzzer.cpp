// Fuzzes what DNS-SD replies bring into the layer: TXT records, taken apart
// and built by the TXT functions, and resolve replies (host target, port,
// TXT bytes) reaching dnssd_discovery::on_service_resolve. The first byte
// picks the path. The layer runs against the scripted client library from a
// layout beside the fuzzer, loaded through the real loader.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <algorithm>
#include <cstdlib>
#include <string>

#include "Platform/Platform.h"
#include "cpt_bonjour.h"
#include "dnssd_discovery.h"
#include "mdns/txt_record.h"

namespace {

const char kType[] = "_tesselrooms._tcp";

class NullSink : public cpt_bonjour_sink {
 public:
  void on_register_result(int32_t, const std::string&, const std::string&,
                          const std::string&) override {}
  void on_browse_result(int32_t, const std::string&, const std::string&, const std::string&,
                        bool) override {}
  void on_resolve_result(int32_t, const std::string& name, const std::string&,
                         const std::string&, const std::string& host, const std::string&, bool,
                         uint16_t, const txt_entries& txt) override {
    // Touch everything that was reported.
    volatile std::size_t n = name.size() + host.size();
    for (const auto& entry : txt) n = n + entry.first.size() + entry.second.size();
  }
};

dnssd_discovery& Discovery() {
  static dnssd_discovery* discovery = [] {
    platform::testing::SetSystemClientLibrary("/nonexistent/libdns_sd.so.1");
    platform::testing::SetModuleDirectory(FUZZ_LAYOUT_DIR);
    static NullSink sink;
    auto* d = new dnssd_discovery(&sink);  // lives for the whole run
    if (!d->connected()) {
      std::fprintf(stderr, "dnssd_reply_fuzzer: no connection through %s\n", FUZZ_LAYOUT_DIR);
      std::abort();
    }
    return d;
  }();
  return *discovery;
}

void FuzzTxt(const uint8_t* data, std::size_t size) {
  // Read the bytes as a record.
  const uint16_t length = static_cast<uint16_t>(size > 0xFFFF ? 0xFFFF : size);
  const uint16_t count = mdns_txt::GetCount(length, data);
  for (uint16_t i = 0; i <= count; ++i) {
    char key[256];
    uint8_t valueLength = 0;
    const void* value = nullptr;
    if (mdns_txt::GetItemAtIndex(length, data, i, sizeof key, key, &valueLength, &value) == 0) {
      uint8_t found = 0;
      mdns_txt::GetValuePtr(length, data, key, &found);
      mdns_txt::ContainsKey(length, data, key);
    }
  }
  // Build a record from the bytes: NUL-separated keys and values.
  TXTRecordRef record;
  char small[64];
  mdns_txt::Create(&record, size % 2 ? sizeof small : 0, size % 2 ? small : nullptr);
  std::size_t at = 0;
  while (at < size) {
    std::size_t keyEnd = at;
    while (keyEnd < size && data[keyEnd] != 0) ++keyEnd;
    if (keyEnd >= size) break;
    const std::string key(reinterpret_cast<const char*>(data + at), keyEnd - at);
    at = keyEnd + 1;
    if (at >= size) {
      mdns_txt::SetValue(&record, key.c_str(), 0, nullptr);
      break;
    }
    const std::size_t valueSize = data[at++];
    const std::size_t take = std::min(valueSize, size - at);
    if (valueSize % 7 == 3)
      mdns_txt::RemoveValue(&record, key.c_str());
    else if (valueSize % 5 == 1)
      mdns_txt::SetValue(&record, key.c_str(), 0, nullptr);
    else
      mdns_txt::SetValue(&record, key.c_str(), static_cast<uint8_t>(take), data + at);
    at += take;
  }
  // Whatever was built reads back item by item.
  const uint16_t built = mdns_txt::GetLength(&record);
  const void* bytes = mdns_txt::GetBytesPtr(&record);
  const uint16_t items = bytes ? mdns_txt::GetCount(built, bytes) : 0;
  for (uint16_t i = 0; i < items; ++i) {
    char key[256];
    uint8_t valueLength = 0;
    const void* value = nullptr;
    if (mdns_txt::GetItemAtIndex(built, bytes, i, sizeof key, key, &valueLength, &value) != 0) {
      std::fprintf(stderr, "dnssd_reply_fuzzer: item %u of a built record does not read back\n", i);
      std::abort();
    }
  }
  mdns_txt::Deallocate(&record);
}

void FuzzResolveReply(const uint8_t* data, std::size_t size) {
  dnssd_discovery& discovery = Discovery();
  // A fresh round for one instance, then its reply made of the input:
  // error flag, port, host target up to a NUL, TXT bytes.
  discovery.resolve("Room", kType, "");
  static const std::string full = dnssd_discovery::full_name("Room", kType, "local");
  if (size < 3) return;
  const bool failed = data[0] & 1;
  const uint16_t port = static_cast<uint16_t>(data[1] << 8 | data[2]);
  std::size_t at = 3;
  std::string host;
  while (at < size && data[at] != 0) host += static_cast<char>(data[at++]);
  if (at < size) ++at;
  const std::size_t txtSize = std::min<std::size_t>(size - at, 0xFFFF);
  discovery.on_service_resolve(failed ? kDNSServiceErr_Unknown : 0, 0, full, host, port,
                               static_cast<uint16_t>(txtSize), data + at);
  (void)dnssd_discovery::short_host(host);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  if (data[0] & 1)
    FuzzResolveReply(data + 1, size - 1);
  else
    FuzzTxt(data + 1, size - 1);
  return 0;
}
