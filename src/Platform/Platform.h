// The platform layer: every operating-system call of the library goes
// through here. PlatformPosix.cpp implements it on Linux and other POSIX
// systems, PlatformWin32.cpp on Windows; nothing else includes a system
// header for these services.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

struct sockaddr;

namespace platform {

// ---- libraries

using LibraryHandle = void*;

// Loads a library by name with the system's default search order.
LibraryHandle LoadLibraryByName(const char* name);
// Loads `fileName` from the folder of this module (the plug-in), after the
// module trust check: null when the file fails the check or does not load.
// When the folder cannot be found, falls back to LoadLibraryByName.
LibraryHandle LoadLibraryFromModuleDir(const char* fileName);
void* GetSymbol(LibraryHandle library, const char* name);
void FreeLibrary(LibraryHandle library);

// The folder of this module, without a trailing separator ("" when unknown).
std::string ModuleDirectory();
// The module trust check. POSIX: a regular file, not writable by group or
// others, owned by root or the current user. Windows: the file's signature.
bool IsTrustedModule(const std::string& path);
// Whether the system's DNS-SD daemon can be used.
bool SystemDaemonUsable();

// File names of the DNS-SD libraries on this platform.
const char* SystemClientLibraryName();   // "dnssd.dll" / "libdns_sd.so.1"
const char* OwnClientLibraryName();      // "mdnsclient.dll" / "libmdnsclient.so"
const char* OwnResponderLibraryName();   // "mdnsresponder.dll" / "libmdnsresponder.so"

// ---- events

class Event {
 public:
  enum Kind { kAutoReset, kManualReset };
  explicit Event(Kind kind);
  ~Event();
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  bool Valid() const;
  void Set();
  void Reset();
  // Waits until the event is set (an auto-reset event is then reset).
  // `timeoutMs` of kInfinite waits without end. True when it was set.
  bool Wait(uint32_t timeoutMs);

  static constexpr uint32_t kInfinite = 0xFFFFFFFFu;

  struct Impl;
  Impl* impl() const { return impl_.get(); }

 private:
  std::unique_ptr<Impl> impl_;
};

// ---- waiting on a socket

// Watches one socket for "readable" and "closed" together with a stop event.
class SocketWatch {
 public:
  enum : uint32_t { kReadable = 2, kClosed = 4 };

  SocketWatch();
  ~SocketWatch();
  SocketWatch(const SocketWatch&) = delete;
  SocketWatch& operator=(const SocketWatch&) = delete;

  // Starts watching `socket` (non-blocking from now on). False on failure;
  // steps already done stay done.
  bool Open(int socket);
  // Waits for the socket or `stop`; true only when the socket signalled.
  bool Wait(Event& stop, uint32_t timeoutMs);
  // What the socket reports now: kReadable, kClosed, both or 0.
  uint32_t Check();
  // Stops watching. The socket itself stays open: it is not ours.
  void Close();

  struct Impl;

 private:
  std::unique_ptr<Impl> impl_;
};

// ---- addresses

// The text form of an IPv4 or IPv6 socket address ("" for anything else or
// null); `ipv4` is false only for an IPv6 address.
std::string AddressText(const struct sockaddr* address, bool* ipv4);

// ---- threads

// A thread with a name. The first four names of the process are recorded in
// a table (diagnostics only); further threads run without an entry.
class NamedThread {
 public:
  NamedThread();
  ~NamedThread();  // frees the table entry; a running thread must be joined first
  NamedThread(const NamedThread&) = delete;
  NamedThread& operator=(const NamedThread&) = delete;

  bool Start(std::function<uint32_t()> body, const std::string& name);
  // Waits up to `timeoutMs` for the thread to end and returns its exit code.
  // A thread that has not ended by then is given up (see the implementation)
  // and 1 is returned.
  uint32_t Join(uint32_t timeoutMs = kJoinTimeoutMs);
  bool Started() const;
  const std::string& Name() const { return name_; }

  static constexpr uint32_t kJoinTimeoutMs = 120000;
  // The recorded names, in table order (empty strings for free slots).
  static std::string TableName(int slot);
  static constexpr int kTableSlots = 4;
  // The id of the last thread that was given up after a join time-out (0 when none).
  static uint64_t AbandonedThreadId();

  struct Impl;

 private:
  std::shared_ptr<Impl> impl_;
  std::string name_;
};

// ---- test hooks

namespace testing {
// Replaces the folder that LoadLibraryFromModuleDir and ModuleDirectory use
// (empty: back to the module's own folder).
void SetModuleDirectory(const std::string& folder);
// Replaces the system client library that SystemDaemonUsable tries (a name
// or a path; empty: the platform's own name).
void SetSystemClientLibrary(const std::string& nameOrPath);
}  // namespace testing

}  // namespace platform
