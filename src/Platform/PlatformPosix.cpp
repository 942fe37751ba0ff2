// The platform layer on POSIX systems.
#if !defined(_WIN32)

#include <arpa/inet.h>
#include <dlfcn.h>
#include <netinet/in.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>

#include "Platform/Platform.h"
#include "Platform/PlatformInternal.h"
#include "dnssd_types.h"

namespace platform {

namespace internal {
std::string OwnModuleFolder() {
  Dl_info info;
  if (dladdr(reinterpret_cast<void*>(&OwnModuleFolder), &info) == 0 || !info.dli_fname)
    return std::string();
  char resolved[PATH_MAX];
  if (!realpath(info.dli_fname, resolved)) return std::string();
  std::string path(resolved);
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}
}  // namespace internal

namespace {

// Polls one descriptor; returns its revents, 0 on time-out or failure.
short PollOne(int fd, short events, int timeoutMs) {
  pollfd p{fd, events, 0};
  for (;;) {
    const int n = poll(&p, 1, timeoutMs);
    if (n > 0) return p.revents;
    if (n == 0 || errno != EINTR) return 0;
  }
}

int PollTimeout(uint32_t timeoutMs) {
  return timeoutMs == Event::kInfinite ? -1 : static_cast<int>(std::min<uint32_t>(timeoutMs, INT_MAX));
}

}  // namespace

// ---- libraries

LibraryHandle LoadLibraryByName(const char* name) {
  return name ? dlopen(name, RTLD_NOW | RTLD_LOCAL) : nullptr;
}

LibraryHandle LoadLibraryFromModuleDir(const char* fileName) {
  if (!fileName) return nullptr;
  const std::string folder = ModuleDirectory();
  if (folder.empty()) return LoadLibraryByName(fileName);
  const std::string path = folder + "/" + fileName;
  if (!IsTrustedModule(path)) return nullptr;
  return dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
}

void* GetSymbol(LibraryHandle library, const char* name) {
  return library && name ? dlsym(library, name) : nullptr;
}

void FreeLibrary(LibraryHandle library) {
  if (library) dlclose(library);
}

bool IsTrustedModule(const std::string& path) {
  struct stat st;
  if (lstat(path.c_str(), &st) != 0) return false;
  if (!S_ISREG(st.st_mode)) return false;              // no links, devices or folders
  if (st.st_mode & (S_IWGRP | S_IWOTH)) return false;  // nobody else may have changed it
  return st.st_uid == 0 || st.st_uid == getuid();
}

bool SystemDaemonUsable() {
  // Usable means: the library loads, has every function the layer calls, and
  // a shared connection can be made through it. A compatibility library that
  // refuses shared connections or lacks address look-up fails here.
  LibraryHandle library = LoadLibraryByName(SystemClientLibraryName());
  if (!library) return false;
  static const char* const kFunctions[] = {
      "DNSServiceCreateConnection", "DNSServiceBrowse",       "DNSServiceResolve",
      "DNSServiceGetAddrInfo",      "DNSServiceRegister",     "DNSServiceProcessResult",
      "DNSServiceRefDeallocate",    "DNSServiceRefSockFD",    "DNSServiceConstructFullName",
      "TXTRecordCreate",            "TXTRecordDeallocate",    "TXTRecordSetValue",
      "TXTRecordGetLength",         "TXTRecordGetBytesPtr",   "TXTRecordGetCount",
      "TXTRecordGetItemAtIndex"};
  bool usable = true;
  for (const char* name : kFunctions) usable = usable && dlsym(library, name) != nullptr;
  if (usable) {
    auto connect = reinterpret_cast<DNSServiceCreateConnectionFn>(
        dlsym(library, "DNSServiceCreateConnection"));
    auto deallocate =
        reinterpret_cast<DNSServiceRefDeallocateFn>(dlsym(library, "DNSServiceRefDeallocate"));
    DNSServiceRef ref = nullptr;
    usable = connect(&ref) == kDNSServiceErr_NoError;
    if (ref) deallocate(ref);
  }
  dlclose(library);
  return usable;
}

// ---- events: an eventfd whose counter is the signalled state

struct Event::Impl {
  int fd = -1;
  bool manual = false;
};

Event::Event(Kind kind) : impl_(new Impl) {
  impl_->fd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  impl_->manual = kind == kManualReset;
}

Event::~Event() {
  if (impl_->fd >= 0) close(impl_->fd);
}

bool Event::Valid() const { return impl_->fd >= 0; }

void Event::Set() {
  if (impl_->fd < 0) return;
  const uint64_t one = 1;
  ssize_t ignored = write(impl_->fd, &one, sizeof one);
  (void)ignored;
}

void Event::Reset() {
  if (impl_->fd < 0) return;
  uint64_t value;
  ssize_t ignored = read(impl_->fd, &value, sizeof value);  // non-blocking: drains or fails
  (void)ignored;
}

bool Event::Wait(uint32_t timeoutMs) {
  if (impl_->fd < 0) return false;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  for (;;) {
    int wait = PollTimeout(timeoutMs);
    if (timeoutMs != kInfinite) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
          deadline - std::chrono::steady_clock::now());
      wait = static_cast<int>(std::max<int64_t>(0, left.count()));
    }
    if (!(PollOne(impl_->fd, POLLIN, wait) & POLLIN)) return false;
    if (impl_->manual) return true;
    uint64_t value;
    if (read(impl_->fd, &value, sizeof value) == sizeof value) return true;
    // Another waiter took it first: wait again for what time is left.
    if (timeoutMs != kInfinite && std::chrono::steady_clock::now() >= deadline) return false;
  }
}

// ---- waiting on a socket

struct SocketWatch::Impl {
  int socket = -1;
};

SocketWatch::SocketWatch() : impl_(new Impl) {}
SocketWatch::~SocketWatch() { Close(); }

bool SocketWatch::Open(int socket) {
  if (socket < 0) return false;
  const int flags = fcntl(socket, F_GETFL, 0);
  if (flags < 0 || fcntl(socket, F_SETFL, flags | O_NONBLOCK) < 0) return false;
  impl_->socket = socket;
  return true;
}

bool SocketWatch::Wait(Event& stop, uint32_t timeoutMs) {
  if (impl_->socket < 0 || !stop.impl()) return false;
  pollfd fds[2] = {{impl_->socket, POLLIN, 0}, {stop.impl()->fd, POLLIN, 0}};
  for (;;) {
    const int n = poll(fds, 2, PollTimeout(timeoutMs));
    if (n > 0) return (fds[0].revents & (POLLIN | POLLHUP | POLLERR | POLLNVAL)) != 0;
    if (n == 0 || errno != EINTR) return false;
  }
}

uint32_t SocketWatch::Check() {
  if (impl_->socket < 0) return 0;
  const short revents = PollOne(impl_->socket, POLLIN, 0);
  if (revents & POLLIN) {
    char c;
    const ssize_t n = recv(impl_->socket, &c, 1, MSG_PEEK | MSG_DONTWAIT);
    if (n > 0) return kReadable;
    if (n == 0) return kClosed;
    if (errno == ENOTSOCK) return kReadable;  // a pipe: data is there
    if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR) return 0;
    return kClosed;
  }
  // A descriptor that is no longer open counts as closed.
  return (revents & (POLLHUP | POLLERR | POLLNVAL)) ? static_cast<uint32_t>(kClosed) : 0u;
}

void SocketWatch::Close() { impl_->socket = -1; }

// ---- threads

namespace {

struct NameSlot {
  char name[64];
  uint64_t id;
};

std::mutex g_tableMutex;
NameSlot g_table[NamedThread::kTableSlots];
std::atomic<uint64_t> g_nextThreadId{1};
std::atomic<uint64_t> g_abandonedThreadId{0};

}  // namespace

struct NamedThread::Impl {
  std::mutex mutex;
  std::condition_variable ended;
  bool done = false;
  uint32_t exitCode = 0;
  uint64_t id = 0;
  int slot = -1;
  std::thread thread;
};

NamedThread::NamedThread() = default;

NamedThread::~NamedThread() {
  if (!impl_) return;
  if (impl_->thread.joinable()) impl_->thread.detach();  // not joined: leave it be
  std::lock_guard<std::mutex> lock(g_tableMutex);
  if (impl_->slot >= 0 && g_table[impl_->slot].id == impl_->id) g_table[impl_->slot] = NameSlot{};
}

bool NamedThread::Start(std::function<uint32_t()> body, const std::string& name) {
  if (impl_ || !body) return false;
  auto impl = std::make_shared<Impl>();
  impl->id = g_nextThreadId++;
  {
    std::lock_guard<std::mutex> lock(g_tableMutex);
    for (int i = 0; i < kTableSlots; ++i) {
      if (g_table[i].id == 0) {
        std::strncpy(g_table[i].name, name.c_str(), sizeof g_table[i].name - 1);
        g_table[i].name[sizeof g_table[i].name - 1] = '\0';
        g_table[i].id = impl->id;
        impl->slot = i;
        break;
      }
    }
  }
  try {
    // The thread holds its own reference: a thread given up at Join may
    // outlive this object.
    impl->thread = std::thread([impl, body = std::move(body), name] {
      pthread_setname_np(pthread_self(), name.substr(0, 15).c_str());
      const uint32_t code = body();
      std::lock_guard<std::mutex> lock(impl->mutex);
      impl->exitCode = code;
      impl->done = true;
      impl->ended.notify_all();
    });
  } catch (...) {
    std::lock_guard<std::mutex> lock(g_tableMutex);
    if (impl->slot >= 0) g_table[impl->slot] = NameSlot{};
    return false;
  }
  impl_ = std::move(impl);
  name_ = name;
  return true;
}

uint32_t NamedThread::Join(uint32_t timeoutMs) {
  if (!impl_ || !impl_->thread.joinable()) return impl_ ? impl_->exitCode : 0;
  if (impl_->thread.get_id() == std::this_thread::get_id()) return 1;  // cannot wait for itself
  bool done;
  {
    std::unique_lock<std::mutex> lock(impl_->mutex);
    done = impl_->ended.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                 [this] { return impl_->done; });
  }
  if (done) {
    impl_->thread.join();
    return impl_->exitCode;
  }
  // POSIX has no safe way to kill a thread: one that has not ended in time
  // is detached and recorded, and keeps its own state alive until it ends.
  g_abandonedThreadId = impl_->id;
  impl_->thread.detach();
  return 1;
}

bool NamedThread::Started() const { return impl_ != nullptr; }

std::string NamedThread::TableName(int slot) {
  if (slot < 0 || slot >= kTableSlots) return std::string();
  std::lock_guard<std::mutex> lock(g_tableMutex);
  return g_table[slot].id ? std::string(g_table[slot].name) : std::string();
}

uint64_t NamedThread::AbandonedThreadId() { return g_abandonedThreadId; }

}  // namespace platform

#endif  // !_WIN32
