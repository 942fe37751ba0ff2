// TXT record building and reading; see txt_record.h for the rules.
#include "mdns/txt_record.h"

#include <cstdlib>
#include <cstring>

namespace mdns_txt {
namespace {

constexpr size_t kMaxItem = 255;
constexpr size_t kMaxRecord = 65535;

// What a TXTRecordRef's private bytes hold.
struct Storage {
  unsigned char* bytes;
  uint16_t used;
  uint16_t capacity;
  uint8_t ownsBytes;  // allocated here: may grow and is freed by Deallocate
};
static_assert(sizeof(Storage) <= sizeof(TXTRecordRef), "TXTRecordRef too small");

Storage Load(const TXTRecordRef* ref) {
  Storage s{};
  std::memcpy(&s, ref->PrivateData, sizeof s);
  return s;
}

void Save(TXTRecordRef* ref, const Storage& s) { std::memcpy(ref->PrivateData, &s, sizeof s); }

unsigned char Lower(unsigned char c) { return (c >= 'A' && c <= 'Z') ? c + ('a' - 'A') : c; }

// One complete item with a non-empty key, inside the record's bounds.
struct Item {
  const unsigned char* start;  // the length byte
  size_t keyLen;
  bool hasValue;
  const unsigned char* value;  // after '=', when hasValue
  size_t valueLen;
};

// Walks the record: the next item at or after *offset, skipping items
// without a key; false at the end or at an item that runs past it.
bool NextItem(const unsigned char* data, size_t len, size_t* offset, Item* item) {
  while (data && *offset < len) {
    const unsigned char* start = data + *offset;
    size_t itemLen = start[0];
    if (itemLen > len - *offset - 1) return false;
    *offset += 1 + itemLen;
    const unsigned char* text = start + 1;
    const void* eq = std::memchr(text, '=', itemLen);
    size_t keyLen = eq ? static_cast<const unsigned char*>(eq) - text : itemLen;
    if (keyLen == 0) continue;
    item->start = start;
    item->keyLen = keyLen;
    item->hasValue = eq != nullptr;
    item->value = eq ? text + keyLen + 1 : nullptr;
    item->valueLen = eq ? itemLen - keyLen - 1 : 0;
    return true;
  }
  return false;
}

bool KeyMatches(const Item& item, const char* key) {
  const unsigned char* text = item.start + 1;
  size_t i = 0;
  for (; i < item.keyLen; ++i) {
    unsigned char c = static_cast<unsigned char>(key[i]);
    if (c == 0 || Lower(c) != Lower(text[i])) return false;
  }
  return key[i] == 0;
}

bool FindKey(const void* record, size_t len, const char* key, Item* found) {
  if (!key) return false;
  const unsigned char* data = static_cast<const unsigned char*>(record);
  size_t offset = 0;
  Item item;
  while (NextItem(data, len, &offset, &item)) {
    if (KeyMatches(item, key)) {
      *found = item;
      return true;
    }
  }
  return false;
}

// The key's length when it may be stored, 0 when it may not.
size_t ValidKeyLength(const char* key) {
  if (!key) return 0;
  size_t n = 0;
  for (; key[n]; ++n) {
    unsigned char c = static_cast<unsigned char>(key[n]);
    if (c < 0x20 || c > 0x7E || c == '=' || n >= kMaxItem) return 0;
  }
  return n;
}

// Removes the item starting at `start` from the record.
void Erase(Storage* s, const unsigned char* start) {
  size_t at = start - s->bytes;
  size_t size = 1 + start[0];
  std::memmove(s->bytes + at, s->bytes + at + size, s->used - at - size);
  s->used = static_cast<uint16_t>(s->used - size);
}

}  // namespace

void Create(TXTRecordRef* txtRecord, uint16_t bufferLen, void* buffer) noexcept {
  if (!txtRecord) return;
  std::memset(txtRecord->PrivateData, 0, sizeof txtRecord->PrivateData);
  Storage s{};
  s.bytes = static_cast<unsigned char*>(buffer);
  s.capacity = buffer ? bufferLen : 0;
  s.ownsBytes = buffer ? 0 : 1;
  Save(txtRecord, s);
}

void Deallocate(TXTRecordRef* txtRecord) noexcept {
  if (!txtRecord) return;
  Storage s = Load(txtRecord);
  if (s.ownsBytes) std::free(s.bytes);
  Create(txtRecord, 0, nullptr);
}

DNSServiceErrorType SetValue(TXTRecordRef* txtRecord, const char* key, uint8_t valueSize,
                             const void* value) noexcept {
  if (!txtRecord) return kDNSServiceErr_BadParam;
  size_t keyLen = ValidKeyLength(key);
  if (keyLen == 0) return kDNSServiceErr_Invalid;
  size_t itemLen = keyLen + (value ? 1 + size_t{valueSize} : 0);
  if (itemLen > kMaxItem) return kDNSServiceErr_Invalid;

  // Built aside first: the value may point into this very record.
  unsigned char item[1 + kMaxItem];
  item[0] = static_cast<unsigned char>(itemLen);
  std::memcpy(item + 1, key, keyLen);
  if (value) {
    item[1 + keyLen] = '=';
    std::memcpy(item + 2 + keyLen, value, valueSize);
  }

  Storage s = Load(txtRecord);
  Item old{};
  bool replacing = FindKey(s.bytes, s.used, key, &old);
  size_t needed = s.used - (replacing ? 1 + size_t{old.start[0]} : 0) + 1 + itemLen;
  if (needed > kMaxRecord) return kDNSServiceErr_NoMemory;
  if (needed > s.capacity) {
    if (!s.ownsBytes) return kDNSServiceErr_NoMemory;
    size_t grown = s.capacity < 128 ? 256 : size_t{s.capacity} * 2;
    if (grown < needed) grown = needed;
    if (grown > kMaxRecord) grown = kMaxRecord;
    size_t oldAt = replacing ? old.start - s.bytes : 0;
    void* bigger = std::realloc(s.bytes, grown);
    if (!bigger) return kDNSServiceErr_NoMemory;
    s.bytes = static_cast<unsigned char*>(bigger);
    s.capacity = static_cast<uint16_t>(grown);
    if (replacing) old.start = s.bytes + oldAt;
  }
  if (replacing) Erase(&s, old.start);
  std::memcpy(s.bytes + s.used, item, 1 + itemLen);
  s.used = static_cast<uint16_t>(s.used + 1 + itemLen);
  Save(txtRecord, s);
  return kDNSServiceErr_NoError;
}

DNSServiceErrorType RemoveValue(TXTRecordRef* txtRecord, const char* key) noexcept {
  if (!txtRecord) return kDNSServiceErr_BadParam;
  Storage s = Load(txtRecord);
  Item found{};
  if (!FindKey(s.bytes, s.used, key, &found)) return kDNSServiceErr_NoSuchKey;
  Erase(&s, found.start);
  Save(txtRecord, s);
  return kDNSServiceErr_NoError;
}

uint16_t GetLength(const TXTRecordRef* txtRecord) noexcept {
  return txtRecord ? Load(txtRecord).used : 0;
}

const void* GetBytesPtr(const TXTRecordRef* txtRecord) noexcept {
  return txtRecord ? Load(txtRecord).bytes : nullptr;
}

int ContainsKey(uint16_t txtLen, const void* txtRecord, const char* key) noexcept {
  Item found{};
  return FindKey(txtRecord, txtLen, key, &found) ? 1 : 0;
}

const void* GetValuePtr(uint16_t txtLen, const void* txtRecord, const char* key,
                        uint8_t* valueLen) noexcept {
  Item found{};
  bool present = FindKey(txtRecord, txtLen, key, &found);
  if (valueLen) *valueLen = present ? static_cast<uint8_t>(found.valueLen) : 0;
  return present ? found.value : nullptr;
}

uint16_t GetCount(uint16_t txtLen, const void* txtRecord) noexcept {
  const unsigned char* data = static_cast<const unsigned char*>(txtRecord);
  size_t offset = 0;
  uint16_t count = 0;
  Item item;
  while (NextItem(data, txtLen, &offset, &item)) ++count;
  return count;
}

DNSServiceErrorType GetItemAtIndex(uint16_t txtLen, const void* txtRecord, uint16_t itemIndex,
                                   uint16_t keyBufLen, char* key, uint8_t* valueLen,
                                   const void** value) noexcept {
  if (!valueLen || !value) return kDNSServiceErr_BadParam;
  *valueLen = 0;
  *value = nullptr;
  if (key && keyBufLen > 0) key[0] = 0;

  const unsigned char* data = static_cast<const unsigned char*>(txtRecord);
  size_t offset = 0;
  Item item{};
  uint16_t index = 0;
  bool found = false;
  while (NextItem(data, txtLen, &offset, &item)) {
    if (index++ == itemIndex) {
      found = true;
      break;
    }
  }
  if (!found) return kDNSServiceErr_Invalid;
  if (!key || item.keyLen + 1 > keyBufLen) return kDNSServiceErr_NoMemory;
  std::memcpy(key, item.start + 1, item.keyLen);
  key[item.keyLen] = 0;
  *valueLen = static_cast<uint8_t>(item.valueLen);
  *value = item.value;
  return kDNSServiceErr_NoError;
}

}  // namespace mdns_txt
