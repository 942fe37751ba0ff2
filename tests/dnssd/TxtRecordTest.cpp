// TXT records as every client library of ours builds and reads them.
#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "mdns/txt_record.h"

namespace txt = mdns_txt;
using namespace std::string_literals;

namespace {

// A record whose storage is allocated by the implementation.
struct Record {
  TXTRecordRef ref;
  Record() { txt::Create(&ref, 0, nullptr); }
  ~Record() { txt::Deallocate(&ref); }
  DNSServiceErrorType Set(const char* key, const std::string& value) {
    return txt::SetValue(&ref, key, static_cast<uint8_t>(value.size()), value.data());
  }
  std::string Bytes() const {
    return std::string(static_cast<const char*>(txt::GetBytesPtr(&ref)), txt::GetLength(&ref));
  }
};

// The value of key: its text, "<no value>" for a key without '=', "<absent>".
std::string ValueOf(const std::string& record, const char* key) {
  uint8_t len = 77;
  const void* value =
      txt::GetValuePtr(static_cast<uint16_t>(record.size()), record.data(), key, &len);
  if (value) return std::string(static_cast<const char*>(value), len);
  EXPECT_EQ(0, len) << key;
  return txt::ContainsKey(static_cast<uint16_t>(record.size()), record.data(), key) ? "<no value>"
                                                                                    : "<absent>";
}

TEST(TxtRecordBuild, KeysWithAndWithoutValuesRoundTrip) {
  Record r;
  EXPECT_EQ(kDNSServiceErr_NoError, r.Set("a", "1"));
  EXPECT_EQ(kDNSServiceErr_NoError, txt::SetValue(&r.ref, "flag", 7, nullptr));
  EXPECT_EQ(kDNSServiceErr_NoError, r.Set("empty", ""));
  const std::string bytes = r.Bytes();
  EXPECT_EQ("\3a=1\4flag\6empty="s, bytes);

  const char* keys[] = {"a", "flag", "empty"};
  for (uint16_t i = 0; i < 3; ++i) {
    char key[256];
    uint8_t len = 99;
    const void* value = nullptr;
    ASSERT_EQ(kDNSServiceErr_NoError,
              txt::GetItemAtIndex(16, bytes.data(), i, sizeof key, key, &len, &value));
    EXPECT_STREQ(keys[i], key);
    EXPECT_EQ(i == 0 ? 1 : 0, len);
    EXPECT_EQ(i != 1, value != nullptr) << "only the key without '=' has no value";
  }
  EXPECT_EQ("1", ValueOf(bytes, "a"));
  EXPECT_EQ("<no value>", ValueOf(bytes, "flag"));
  EXPECT_EQ("", ValueOf(bytes, "empty"));
  EXPECT_EQ("<absent>", ValueOf(bytes, "other"));
}

TEST(TxtRecordBuild, ItemsOver255BytesAndBadKeysAreRefused) {
  Record r;
  EXPECT_EQ(kDNSServiceErr_Invalid, r.Set("k", std::string(255, 'v')));
  EXPECT_EQ(kDNSServiceErr_Invalid, r.Set("k", std::string(254, 'v')));  // 256 with "k="
  const std::string key256(256, 'k');
  EXPECT_EQ(kDNSServiceErr_Invalid, txt::SetValue(&r.ref, key256.c_str(), 0, nullptr));
  for (const char* key : {"", "a=b", "tab\t", "del\x7f", "\xc3\xa9"})
    EXPECT_EQ(kDNSServiceErr_Invalid, r.Set(key, "v")) << key;
  EXPECT_EQ(kDNSServiceErr_Invalid, r.Set(nullptr, "v"));
  EXPECT_EQ(0, txt::GetLength(&r.ref));

  EXPECT_EQ(kDNSServiceErr_NoError, r.Set("k", std::string(253, 'v')));
  EXPECT_EQ(kDNSServiceErr_NoError, txt::SetValue(&r.ref, key256.c_str() + 1, 0, nullptr));
  EXPECT_EQ(512, txt::GetLength(&r.ref));
}

TEST(TxtRecordBuild, SettingAKeyAgainReplacesItWhateverItsCase) {
  Record r;
  r.Set("Path", "/a");
  r.Set("b", "2");
  EXPECT_EQ(kDNSServiceErr_NoError, r.Set("PATH", "/longer"));
  std::string bytes = r.Bytes();
  EXPECT_EQ(2, txt::GetCount(static_cast<uint16_t>(bytes.size()), bytes.data()));
  EXPECT_EQ(17u, bytes.size());
  EXPECT_EQ("/longer", ValueOf(bytes, "path"));

  // The new value may be read out of the record itself, ahead of what moves.
  r.Set("a", "xyz");
  r.Set("c", "123");
  uint8_t len = 0;
  const void* own = txt::GetValuePtr(txt::GetLength(&r.ref), txt::GetBytesPtr(&r.ref), "a", &len);
  EXPECT_EQ(kDNSServiceErr_NoError, txt::SetValue(&r.ref, "a", len, own));
  EXPECT_EQ("xyz", ValueOf(r.Bytes(), "a"));
  EXPECT_EQ("123", ValueOf(r.Bytes(), "c"));
}

TEST(TxtRecordBuild, RemovingAKey) {
  Record r;
  r.Set("a", "1");
  r.Set("b", "2");
  r.Set("c", "3");
  EXPECT_EQ(kDNSServiceErr_NoError, txt::RemoveValue(&r.ref, "B"));
  EXPECT_EQ(kDNSServiceErr_NoSuchKey, txt::RemoveValue(&r.ref, "b"));
  EXPECT_EQ("\3a=1\3c=3"s, r.Bytes());
}

TEST(TxtRecordBuild, CallerBufferIsNeverOutgrown) {
  unsigned char buffer[8];
  TXTRecordRef ref;
  txt::Create(&ref, sizeof buffer, buffer);
  EXPECT_EQ(kDNSServiceErr_NoError, txt::SetValue(&ref, "ab", 2, "cd"));
  EXPECT_EQ(buffer, txt::GetBytesPtr(&ref));
  EXPECT_EQ(kDNSServiceErr_NoMemory, txt::SetValue(&ref, "x", 2, "yy"));
  EXPECT_EQ(6, txt::GetLength(&ref));
  EXPECT_EQ(kDNSServiceErr_NoError, txt::SetValue(&ref, "ab", 4, "cdef"));  // fills all 8
  EXPECT_EQ(kDNSServiceErr_NoMemory, txt::SetValue(&ref, "ab", 5, "cdefg"));
  EXPECT_EQ("\7ab=cdef"s, std::string(reinterpret_cast<char*>(buffer), 8));
  txt::Deallocate(&ref);  // must leave the caller's buffer alone
  EXPECT_EQ(0, txt::GetLength(&ref));
}

TEST(TxtRecordBuild, AllocatedStorageStopsAt65535Bytes) {
  Record r;
  int stored = 0;
  for (int i = 0; i < 300; ++i) {
    char key[8];
    std::snprintf(key, sizeof key, "k%04d", i);
    if (r.Set(key, std::string(249, 'v')) != kDNSServiceErr_NoError) break;
    ++stored;
  }
  EXPECT_EQ(255, stored);  // 256 bytes each: one more would make 65536
  EXPECT_EQ(65280, txt::GetLength(&r.ref));
  EXPECT_EQ(kDNSServiceErr_NoError, r.Set("z", ""));
  EXPECT_EQ(256, txt::GetCount(txt::GetLength(&r.ref), txt::GetBytesPtr(&r.ref)));
  txt::Deallocate(&r.ref);
  EXPECT_EQ(0, txt::GetLength(&r.ref));
  EXPECT_EQ(kDNSServiceErr_NoError, r.Set("again", "1"));
}

TEST(TxtRecordRead, EmptyAndKeylessItemsCountNothing) {
  EXPECT_EQ(0, txt::GetCount(0, nullptr));
  EXPECT_EQ(0, txt::GetCount(5, nullptr));
  EXPECT_EQ(0, txt::GetCount(1, "\0"));
  const std::string record = "\0\2=x\3a=1"s;
  EXPECT_EQ(1, txt::GetCount(8, record.data()));
  EXPECT_EQ("<absent>", ValueOf(record, ""));
  char key[8];
  uint8_t len = 0;
  const void* value = nullptr;
  EXPECT_EQ(kDNSServiceErr_Invalid, txt::GetItemAtIndex(1, "\0", 0, sizeof key, key, &len, &value));
  EXPECT_EQ(kDNSServiceErr_NoError,
            txt::GetItemAtIndex(8, record.data(), 0, sizeof key, key, &len, &value));
  EXPECT_STREQ("a", key);
}

TEST(TxtRecordRead, LookupIgnoresCaseButMatchesWholeKeys) {
  const std::string record = "\6Path=/\5pathx\5a=b=c\3A=2"s;
  EXPECT_EQ("/", ValueOf(record, "PATH"));
  EXPECT_EQ("<absent>", ValueOf(record, "pat"));
  EXPECT_EQ("<absent>", ValueOf(record, "path="));
  EXPECT_EQ("<no value>", ValueOf(record, "PathX"));
  EXPECT_EQ("b=c", ValueOf(record, "a")) << "the first of two equal keys counts";
}

TEST(TxtRecordRead, TruncatedLastItemIsNotRead) {
  const std::vector<unsigned char> record = {3, 'a', '=', '1', 9, 'x', 'y'};
  EXPECT_EQ(1, txt::GetCount(7, record.data()));
  EXPECT_EQ(0, txt::ContainsKey(7, record.data(), "xy"));
  char key[8];
  uint8_t len = 0;
  const void* value = nullptr;
  EXPECT_EQ(kDNSServiceErr_Invalid,
            txt::GetItemAtIndex(7, record.data(), 1, sizeof key, key, &len, &value));
}

TEST(TxtRecordRead, KeyBufferAndIndexAreChecked) {
  const char* record = "\5abc=1";
  char key[4] = {'x', 'x', 'x', 'x'};
  uint8_t len = 9;
  const void* value = record;
  EXPECT_EQ(kDNSServiceErr_NoMemory, txt::GetItemAtIndex(6, record, 0, 3, key, &len, &value));
  EXPECT_EQ(kDNSServiceErr_NoMemory, txt::GetItemAtIndex(6, record, 0, 0, nullptr, &len, &value));
  EXPECT_EQ(kDNSServiceErr_Invalid, txt::GetItemAtIndex(6, record, 1, 4, key, &len, &value));
  EXPECT_EQ(nullptr, value);
  EXPECT_EQ(0, len);
  EXPECT_EQ(kDNSServiceErr_BadParam, txt::GetItemAtIndex(6, record, 0, 4, key, &len, nullptr));
  ASSERT_EQ(kDNSServiceErr_NoError, txt::GetItemAtIndex(6, record, 0, 4, key, &len, &value));
  EXPECT_STREQ("abc", key);
  EXPECT_EQ(record + 5, value);
  EXPECT_EQ(1, len);
}

// Any bytes at all: every item found lies inside them (ASan builds also
// catch a read past the exactly sized copy).
TEST(TxtRecordRead, ArbitraryBytesAreReadWithinBounds) {
  std::mt19937 random(12345);
  for (int round = 0; round < 3000; ++round) {
    std::vector<unsigned char> bytes(random() % 48);
    for (auto& b : bytes) {
      const unsigned r = random();
      b = static_cast<unsigned char>(r % 2 ? r % 10 : (r % 3 ? 'a' + r % 3 : '='));
    }
    const uint16_t n = static_cast<uint16_t>(bytes.size());
    const uint16_t count = txt::GetCount(n, bytes.data());
    for (uint16_t i = 0; i <= count; ++i) {
      char key[256];
      uint8_t len = 0;
      const void* value = nullptr;
      DNSServiceErrorType err =
          txt::GetItemAtIndex(n, bytes.data(), i, sizeof key, key, &len, &value);
      ASSERT_EQ(i < count ? kDNSServiceErr_NoError : kDNSServiceErr_Invalid, err);
      if (!value) continue;
      auto* v = static_cast<const unsigned char*>(value);
      ASSERT_TRUE(v >= bytes.data() && v + len <= bytes.data() + n);
    }
    txt::ContainsKey(n, bytes.data(), "a");
    uint8_t len = 0;
    txt::GetValuePtr(n, bytes.data(), "a", &len);
  }
}

}  // namespace
