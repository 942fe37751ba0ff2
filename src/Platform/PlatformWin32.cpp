// The platform layer on Windows.
//
// Linking: the library needs ws2_32 (sockets) and wintrust (signature
// check) besides kernel32 and advapi32. Microsoft's compiler takes them from
// the pragmas below; MinGW-w64 builds pass -lws2_32 -lwintrust.
#if defined(_WIN32)

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
// winsock2.h before windows.h, or the old winsock.h comes in with it.
#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>
#include <process.h>
#include <softpub.h>
#include <wintrust.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstring>
#include <mutex>

#include "Platform/Platform.h"
#include "Platform/PlatformInternal.h"

#if defined(_MSC_VER)
#pragma comment(lib, "ws2_32.lib")
#pragma comment(lib, "wintrust.lib")
#endif

namespace platform {
namespace {

// Any object of this file will do: its address tells which module we are.
const char kModuleAnchor = 0;

// UTF-8 to UTF-16. False for text that is not valid UTF-8.
bool ToWide(const char* text, size_t length, std::wstring& out) {
  out.clear();
  if (length == 0) return true;
  if (length > static_cast<size_t>(INT_MAX)) return false;
  const int n = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text,
                                    static_cast<int>(length), nullptr, 0);
  if (n <= 0) return false;
  out.resize(static_cast<size_t>(n));
  return MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text, static_cast<int>(length),
                             &out[0], n) == n;
}

bool ToWide(const std::string& text, std::wstring& out) {
  return ToWide(text.data(), text.size(), out);
}

// UTF-16 to UTF-8; "" when the text cannot be converted.
std::string ToUtf8(const wchar_t* text, size_t length) {
  if (length == 0 || length > static_cast<size_t>(INT_MAX)) return std::string();
  const int n = WideCharToMultiByte(CP_UTF8, 0, text, static_cast<int>(length), nullptr, 0,
                                    nullptr, nullptr);
  if (n <= 0) return std::string();
  std::string out(static_cast<size_t>(n), '\0');
  if (WideCharToMultiByte(CP_UTF8, 0, text, static_cast<int>(length), &out[0], n, nullptr,
                          nullptr) != n)
    return std::string();
  return out;
}

}  // namespace

namespace internal {
// The folder this module was loaded from, "" when it cannot be told.
std::string OwnModuleFolder() {
  HMODULE module = nullptr;
  if (!GetModuleHandleExW(
          GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
          reinterpret_cast<LPCWSTR>(&kModuleAnchor), &module))
    return std::string();
  wchar_t path[MAX_PATH];
  const DWORD length = GetModuleFileNameW(module, path, MAX_PATH);
  // A path that does not fit comes back cut off (length == MAX_PATH): a cut
  // path names some other folder, so the folder counts as unknown.
  if (length == 0 || length >= MAX_PATH) return std::string();
  size_t cut = length;
  while (cut > 0 && path[cut - 1] != L'\\') --cut;
  if (cut == 0) return std::string();
  return ToUtf8(path, cut - 1);
}
}  // namespace internal

namespace {

// Whether libraries loaded from the module's folder may also resolve their
// own dependencies from the host application's folder. The host installs
// its runtime libraries there, so for now this is always allowed; it stays a
// separate decision so that a host with a writable application folder can
// turn it off in one place.
bool ApplicationDirectoryAllowed() { return true; }

}  // namespace

// ---- libraries

LibraryHandle LoadLibraryByName(const char* name) {
  if (!name) return nullptr;
  try {
    std::wstring wide;
    if (!ToWide(name, std::strlen(name), wide) || wide.empty()) return nullptr;
    return LoadLibraryW(wide.c_str());
  } catch (...) {
    return nullptr;
  }
}

LibraryHandle LoadLibraryFromModuleDir(const char* fileName) {
  if (!fileName) return nullptr;
  try {
    const std::string folder = ModuleDirectory();
    const std::string utf8Path = folder + "\\" + fileName;
    std::wstring path;
    // "<folder>\<fileName>" must fit the classic path limit, terminator
    // included; when it cannot be built the system's own search order is
    // the only one left.
    if (folder.empty() || !ToWide(utf8Path, path) || path.size() >= MAX_PATH)
      return LoadLibraryByName(fileName);
    if (!IsTrustedModule(utf8Path)) return nullptr;
    // The library's own dependencies come from its folder and System32 (and
    // the application folder when allowed), never from the current folder
    // or PATH.
    DWORD flags = LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32;
    if (ApplicationDirectoryAllowed()) flags |= LOAD_LIBRARY_SEARCH_APPLICATION_DIR;
    return LoadLibraryExW(path.c_str(), nullptr, flags);
  } catch (...) {
    return nullptr;
  }
}

void* GetSymbol(LibraryHandle library, const char* name) {
  if (!library || !name) return nullptr;
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

void FreeLibrary(LibraryHandle library) {
  if (library) ::FreeLibrary(static_cast<HMODULE>(library));
}

bool IsTrustedModule(const std::string& path) {
  try {
    std::wstring wide;
    if (path.empty() || !ToWide(path, wide)) return false;

    WINTRUST_FILE_INFO file;
    std::memset(&file, 0, sizeof file);
    file.cbStruct = sizeof file;
    file.pcwszFilePath = wide.c_str();

    WINTRUST_DATA data;
    std::memset(&data, 0, sizeof data);
    data.cbStruct = sizeof data;
    data.dwUIChoice = WTD_UI_NONE;
    // No revocation look-up: the check must not wait on the network while
    // the plug-in starts.
    data.fdwRevocationChecks = WTD_REVOKE_NONE;
    data.dwUnionChoice = WTD_CHOICE_FILE;
    data.pFile = &file;
    data.dwStateAction = WTD_STATEACTION_VERIFY;

    GUID action = WINTRUST_ACTION_GENERIC_VERIFY_V2;
    const LONG result = WinVerifyTrust(nullptr, &action, &data);
    // The verification keeps state until it is closed, whatever the result.
    data.dwStateAction = WTD_STATEACTION_CLOSE;
    WinVerifyTrust(nullptr, &action, &data);
    return result == 0;
  } catch (...) {
    return false;
  }
}

bool SystemDaemonUsable() {
  // Usable means: the daemon's service is installed and running, and its
  // client library loads.
  SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
  if (!manager) return false;
  bool running = false;
  if (SC_HANDLE service = OpenServiceW(manager, L"Bonjour Service", SERVICE_QUERY_STATUS)) {
    SERVICE_STATUS_PROCESS status;
    std::memset(&status, 0, sizeof status);
    DWORD needed = 0;
    running = QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO,
                                   reinterpret_cast<LPBYTE>(&status), sizeof status, &needed) &&
              status.dwCurrentState == SERVICE_RUNNING;
    CloseServiceHandle(service);
  }
  CloseServiceHandle(manager);
  if (!running) return false;
  // Only a trial: the caller loads the library again when it decides to
  // use it.
  LibraryHandle trial = LoadLibraryByName(SystemClientLibraryName());
  if (!trial) return false;
  FreeLibrary(trial);
  return true;
}

// ---- events

struct Event::Impl {
  HANDLE handle;
};

Event::Event(Kind kind) : impl_(new Impl) {
  impl_->handle = CreateEventW(nullptr, kind == kManualReset ? TRUE : FALSE, FALSE, nullptr);
}

Event::~Event() {
  if (impl_->handle) CloseHandle(impl_->handle);
}

bool Event::Valid() const { return impl_->handle != nullptr; }

void Event::Set() {
  if (impl_->handle) SetEvent(impl_->handle);
}

void Event::Reset() {
  if (impl_->handle) ResetEvent(impl_->handle);
}

bool Event::Wait(uint32_t timeoutMs) {
  if (!impl_->handle) return false;
  const DWORD wait = timeoutMs == kInfinite ? INFINITE : static_cast<DWORD>(timeoutMs);
  return WaitForSingleObject(impl_->handle, wait) == WAIT_OBJECT_0;
}

// ---- waiting on a socket: the socket's network events signal a WSA event

struct SocketWatch::Impl {
  bool started = false;  // WSAStartup succeeded, WSACleanup is owed
  SOCKET socket = INVALID_SOCKET;
  WSAEVENT event = WSA_INVALID_EVENT;
  bool closed = false;  // the peer closed; Winsock says so only once
};

SocketWatch::SocketWatch() : impl_(new Impl) {
  WSADATA data;
  impl_->started = WSAStartup(MAKEWORD(2, 2), &data) == 0;
}

SocketWatch::~SocketWatch() {
  Close();
  if (impl_->started) WSACleanup();
}

bool SocketWatch::Open(int socket) {
  // Socket handles are small non-negative values; -1 is the library's
  // "no socket".
  if (socket < 0) return false;
  const SOCKET s = static_cast<SOCKET>(socket);
  u_long nonBlocking = 1;
  if (ioctlsocket(s, FIONBIO, &nonBlocking) != 0) return false;
  // The socket may still be tied to an event of an earlier watch.
  if (WSAEventSelect(s, nullptr, 0) != 0) return false;
  // The previous socket is not touched: it may already be closed by its
  // owner, and its handle value reused by another socket.
  if (impl_->event != WSA_INVALID_EVENT) {
    WSACloseEvent(impl_->event);
    impl_->event = WSA_INVALID_EVENT;
    impl_->socket = INVALID_SOCKET;
  }
  impl_->event = WSACreateEvent();
  if (impl_->event == WSA_INVALID_EVENT) return false;
  if (WSAEventSelect(s, impl_->event, FD_READ | FD_CLOSE) != 0) return false;
  impl_->socket = s;
  impl_->closed = false;
  return true;
}

bool SocketWatch::Wait(Event& stop, uint32_t timeoutMs) {
  if (impl_->event == WSA_INVALID_EVENT || !stop.impl() || !stop.impl()->handle) return false;
  // Order matters: when both are signalled the lower index is reported, so
  // pending socket data is handled before a stop.
  WSAEVENT events[2] = {impl_->event, stop.impl()->handle};
  const DWORD wait = timeoutMs == Event::kInfinite ? WSA_INFINITE : static_cast<DWORD>(timeoutMs);
  return WSAWaitForMultipleEvents(2, events, FALSE, wait, FALSE) == WSA_WAIT_EVENT_0;
}

uint32_t SocketWatch::Check() {
  if (impl_->socket == INVALID_SOCKET) return 0;
  WSANETWORKEVENTS reported;
  std::memset(&reported, 0, sizeof reported);
  if (WSAEnumNetworkEvents(impl_->socket, impl_->event, &reported) != 0) return 0;
  // Enumerating with the event resets it already; resetting it again here
  // could swallow a close that arrived in between.
  uint32_t result = 0;
  if (reported.lNetworkEvents & FD_READ) result |= kReadable;
  if (reported.lNetworkEvents & FD_CLOSE) impl_->closed = true;
  if (impl_->closed) {
    // The close is reported once, perhaps together with data. Keep it, and
    // keep the loop awake while data remains to be read before it.
    result |= kClosed;
    char c;
    if (recv(impl_->socket, &c, 1, MSG_PEEK) > 0) {
      result |= kReadable;
      WSASetEvent(impl_->event);
    }
  }
  return result;
}

void SocketWatch::Close() {
  if (impl_->event != WSA_INVALID_EVENT) {
    WSACloseEvent(impl_->event);
    impl_->event = WSA_INVALID_EVENT;
  }
  impl_->socket = INVALID_SOCKET;
}

// ---- threads

namespace {

struct NameSlot {
  char name[64];
  uint64_t id;
};

// Diagnostics only: which named threads the process runs. A slot is free
// while its id is 0 (no Windows thread has id 0).
std::mutex g_tableMutex;
NameSlot g_table[NamedThread::kTableSlots];
std::atomic<uint64_t> g_abandonedThreadId{0};

// Takes the first free slot for `name`; -1 when all are taken.
int RecordName(const std::string& name, uint64_t id) {
  std::lock_guard<std::mutex> lock(g_tableMutex);
  for (int i = 0; i < NamedThread::kTableSlots; ++i) {
    NameSlot& slot = g_table[i];
    if (slot.id != 0) continue;
    const size_t length = std::min(std::strlen(name.c_str()), sizeof slot.name - 1);
    std::memcpy(slot.name, name.c_str(), length);
    slot.name[length] = '\0';
    slot.id = id;
    return i;
  }
  return -1;
}

void ForgetName(int slot, uint64_t id) {
  if (slot < 0 || slot >= NamedThread::kTableSlots) return;
  std::lock_guard<std::mutex> lock(g_tableMutex);
  if (g_table[slot].id == id) g_table[slot] = NameSlot{};
}

}  // namespace

// Shared by the NamedThread and the running thread: a thread that is not
// joined before its NamedThread goes keeps the state alive until it ends.
struct NamedThread::Impl {
  std::function<uint32_t()> body;
  HANDLE handle = nullptr;
  unsigned id = 0;
  int slot = -1;
};

namespace {

unsigned __stdcall ThreadEntry(void* arg) {
  std::shared_ptr<NamedThread::Impl> impl;
  std::function<uint32_t()> body;
  {
    std::unique_ptr<std::shared_ptr<NamedThread::Impl>> holder(
        static_cast<std::shared_ptr<NamedThread::Impl>*>(arg));
    impl = std::move(*holder);
    body = std::move(impl->body);
  }
  // Nothing may leave a thread's entry: an escaping exception ends the
  // thread with exit code 1, as a thread that was given up.
  try {
    return body();
  } catch (...) {
    return 1;
  }
}

}  // namespace

NamedThread::NamedThread() = default;

NamedThread::~NamedThread() {
  if (!impl_) return;
  // Closing the handle does not stop a thread that is still running.
  if (impl_->handle) CloseHandle(impl_->handle);
  ForgetName(impl_->slot, impl_->id);
}

bool NamedThread::Start(std::function<uint32_t()> body, const std::string& name) {
  if (impl_ || !body) return false;
  try {
    auto impl = std::make_shared<Impl>();
    impl->body = std::move(body);
    std::string ownName = name;
    auto* arg = new std::shared_ptr<Impl>(impl);
    unsigned id = 0;
    const uintptr_t handle = _beginthreadex(nullptr, 0, &ThreadEntry, arg, CREATE_SUSPENDED, &id);
    if (handle == 0) {
      delete arg;
      return false;
    }
    impl->handle = reinterpret_cast<HANDLE>(handle);
    impl->id = id;
    impl->slot = RecordName(ownName, id);
    if (ResumeThread(impl->handle) == static_cast<DWORD>(-1)) {
      // Never ran: its body and the reference it holds are lost with it.
      TerminateThread(impl->handle, 1);
      CloseHandle(impl->handle);
      ForgetName(impl->slot, id);
      return false;
    }
    impl_ = std::move(impl);
    name_ = std::move(ownName);
    return true;
  } catch (...) {
    return false;
  }
}

uint32_t NamedThread::Join(uint32_t timeoutMs) {
  if (!impl_ || !impl_->handle) return 0;
  // A thread cannot wait for itself; it would end up killing itself below.
  if (GetCurrentThreadId() == impl_->id) return 1;
  const DWORD result = WaitForSingleObject(impl_->handle, timeoutMs);
  if (result == WAIT_OBJECT_0) {
    DWORD code = 1;
    if (!GetExitCodeThread(impl_->handle, &code)) return 1;
    return static_cast<uint32_t>(code);
  }
  if (result == WAIT_TIMEOUT) {
    // Chosen behaviour: a thread that has not ended within the join time
    // (120 s by default) is stuck in a call that will not return, and the
    // plug-in is about to be unloaded under it. Left running it would run
    // unloaded code and bring the host down, so it is killed. What it held
    // (its stack, its share of Impl, any lock it owned) is lost; the id is
    // kept for diagnostics.
    g_abandonedThreadId = impl_->id;
    TerminateThread(impl_->handle, 1);
    return 1;
  }
  return 1;
}

bool NamedThread::Started() const { return impl_ != nullptr; }

std::string NamedThread::TableName(int slot) {
  if (slot < 0 || slot >= kTableSlots) return std::string();
  try {
    std::lock_guard<std::mutex> lock(g_tableMutex);
    const NameSlot& entry = g_table[slot];
    if (entry.id == 0) return std::string();
    return std::string(entry.name, strnlen(entry.name, sizeof entry.name));
  } catch (...) {
    return std::string();
  }
}

uint64_t NamedThread::AbandonedThreadId() { return g_abandonedThreadId; }

}  // namespace platform

#endif  // _WIN32
