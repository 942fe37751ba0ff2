// TXT records as the public DNS-SD client interface builds and reads them.
// Every client library of ours exports the TXTRecord* functions with C
// linkage and forwards them here, so the rules live in one place.
//
// A record is a sequence of items, each a length byte followed by "key" or
// "key=value"; an item holds at most 255 bytes and a record at most 65535.
// Keys are printable ASCII (0x20-0x7E) without '=' and are compared without
// regard to ASCII case. Readers never look past txtLen: an item whose length
// byte runs past the end is not an item, and items without a key (a zero
// length byte, or one starting with '=') are skipped, as they carry nothing.
#pragma once

#include <stdint.h>

#include "bonjour/dnssd_types.h"

namespace mdns_txt {

// Starts an empty record. With a null buffer the storage is allocated here
// and grows as needed (bufferLen is then ignored); with a caller's
// buffer of bufferLen bytes nothing is ever allocated, and a value that does
// not fit is refused with kDNSServiceErr_NoMemory.
void Create(TXTRecordRef* txtRecord, uint16_t bufferLen, void* buffer) noexcept;
// Frees storage allocated here; the record is empty afterwards.
void Deallocate(TXTRecordRef* txtRecord) noexcept;

// Adds key (with value unless value is null, in which case valueSize is
// ignored and the item has no '='), replacing an item with the same key.
// kDNSServiceErr_Invalid: bad key or an item over 255 bytes;
// kDNSServiceErr_NoMemory: no room; kDNSServiceErr_BadParam: null record.
// A failed call leaves the record as it was.
DNSServiceErrorType SetValue(TXTRecordRef* txtRecord, const char* key, uint8_t valueSize,
                             const void* value) noexcept;
// kDNSServiceErr_NoSuchKey when the key is not there.
DNSServiceErrorType RemoveValue(TXTRecordRef* txtRecord, const char* key) noexcept;

uint16_t GetLength(const TXTRecordRef* txtRecord) noexcept;
// Null until something was stored in a record whose storage is allocated here.
const void* GetBytesPtr(const TXTRecordRef* txtRecord) noexcept;

// 1 when the key is present (with or without a value), 0 otherwise.
int ContainsKey(uint16_t txtLen, const void* txtRecord, const char* key) noexcept;
// The value of key and its length; null (and length 0) when the key is
// absent or has no '='. "key=" gives a non-null pointer and length 0.
const void* GetValuePtr(uint16_t txtLen, const void* txtRecord, const char* key,
                        uint8_t* valueLen) noexcept;
uint16_t GetCount(uint16_t txtLen, const void* txtRecord) noexcept;
// Copies the key of item itemIndex, NUL-terminated, into key (keyBufLen
// bytes) and points *value at its value (null and length 0 without '=').
// kDNSServiceErr_Invalid: index out of range; kDNSServiceErr_NoMemory: key
// buffer too small; kDNSServiceErr_BadParam: null valueLen or value.
DNSServiceErrorType GetItemAtIndex(uint16_t txtLen, const void* txtRecord, uint16_t itemIndex,
                                   uint16_t keyBufLen, char* key, uint8_t* valueLen,
                                   const void** value) noexcept;

}  // namespace mdns_txt
