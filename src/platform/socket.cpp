#include "platform/socket.h"

#include <cstring>
#include <mutex>

#ifdef _WIN32
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <arpa/inet.h>
#include <cerrno>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

namespace quorvane::platform {
namespace {

#ifdef _WIN32
using NativeSocket = SOCKET;
NativeSocket Native(intptr_t handle) { return static_cast<NativeSocket>(handle); }
int LastSystemError() { return WSAGetLastError(); }
#else
using NativeSocket = int;
NativeSocket Native(intptr_t handle) { return static_cast<NativeSocket>(handle); }
// The same meanings under Winsock's numbers, so callers see one numbering everywhere.
int LastSystemError() {
  switch (errno) {
    case ETIMEDOUT:
      return kErrorTimedOut;
    case ECONNREFUSED:
      return kErrorConnectionRefused;
    case ECONNRESET:
    case EPIPE:
      return kErrorConnectionReset;
    case EINVAL:
      return kErrorInvalidArgument;
    case ENETUNREACH:
      return 10051;
    case EHOSTUNREACH:
      return 10065;
    case EADDRNOTAVAIL:
      return 10049;
    default:
      return errno;
  }
}
#endif

}  // namespace

bool StartSockets() {
#ifdef _WIN32
  static std::once_flag once;
  static bool started = false;
  std::call_once(once, [] {
    WSADATA data;
    started = WSAStartup(MAKEWORD(2, 2), &data) == 0;
  });
  return started;
#else
  return true;
#endif
}

bool ResolveIpv4(const std::string& host, uint32_t* address) {
  if (!StartSockets() || host.empty()) return false;
  in_addr parsed{};
  if (inet_pton(AF_INET, host.c_str(), &parsed) == 1) {
    std::memcpy(address, &parsed, sizeof *address);
    return true;
  }
  addrinfo hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0 || found == nullptr) return false;
  sockaddr_in first{};
  std::memcpy(&first, found->ai_addr, sizeof first);
  freeaddrinfo(found);
  std::memcpy(address, &first.sin_addr, sizeof *address);
  return true;
}

std::string LocalHostName() {
  char name[101] = {};
  if (!StartSockets() || gethostname(name, 100) != 0 || name[0] == '\0') return "localhost";
  return name;
}

Socket::~Socket() { Close(); }

void Socket::TakeSystemError() { error_ = LastSystemError(); }

bool Socket::Connect(const std::string& host, uint16_t port, const std::string& local_address) {
  Close();
  if (!StartSockets()) {
    TakeSystemError();
    return false;
  }
  uint32_t remote = 0;
  if (!ResolveIpv4(host, &remote)) {
    error_ = kErrorInvalidArgument;
    return false;
  }
  const NativeSocket native = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
#ifdef _WIN32
  if (native == INVALID_SOCKET) {
#else
  if (native < 0) {
#endif
    TakeSystemError();
    return false;
  }
  handle_ = static_cast<intptr_t>(native);
  if (!local_address.empty()) {
    sockaddr_in local{};
    local.sin_family = AF_INET;
    uint32_t bound = 0;
    if (!ResolveIpv4(local_address, &bound)) {
      error_ = kErrorInvalidArgument;
      Close();
      return false;
    }
    local.sin_addr.s_addr = bound;
    if (bind(native, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
      TakeSystemError();
      Close();
      return false;
    }
  }
  sockaddr_in to{};
  to.sin_family = AF_INET;
  to.sin_port = htons(port);
  to.sin_addr.s_addr = remote;
  if (connect(native, reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0) {
    TakeSystemError();
    const int kept = error_;
    Close();
    error_ = kept;
    return false;
  }
  return true;
}

bool Socket::SendAll(const char* data, size_t size) {
  while (size > 0) {
    const int chunk = size > (1 << 30) ? (1 << 30) : static_cast<int>(size);
#ifdef _WIN32
    const int sent = send(Native(handle_), data, chunk, 0);
#else
    const auto sent =
        static_cast<int>(send(Native(handle_), data, static_cast<size_t>(chunk), MSG_NOSIGNAL));
    if (sent < 0 && errno == EINTR) continue;
#endif
    if (sent <= 0) {
      TakeSystemError();
      return false;
    }
    data += sent;
    size -= static_cast<size_t>(sent);
  }
  return true;
}

long Socket::Receive(char* data, size_t size) {
  const int chunk = size > (1 << 30) ? (1 << 30) : static_cast<int>(size);
  for (;;) {
#ifdef _WIN32
    const int got = recv(Native(handle_), data, chunk, 0);
#else
    const auto got = static_cast<int>(recv(Native(handle_), data, static_cast<size_t>(chunk), 0));
    if (got < 0 && errno == EINTR) continue;
#endif
    if (got < 0) TakeSystemError();
    return got;
  }
}

int Socket::WaitReadable(int timeout_ms) {
#ifdef _WIN32
  fd_set readable;
  FD_ZERO(&readable);
  FD_SET(Native(handle_), &readable);
  timeval wait{timeout_ms / 1000, (timeout_ms % 1000) * 1000};
  const int ready = select(0, &readable, nullptr, nullptr, &wait);
#else
  pollfd entry{Native(handle_), POLLIN, 0};
  int ready = 0;
  do {
    ready = poll(&entry, 1, timeout_ms);
  } while (ready < 0 && errno == EINTR);
#endif
  if (ready < 0) {
    TakeSystemError();
    return -1;
  }
  return ready > 0 ? 1 : 0;
}

void Socket::Close() {
  if (handle_ == kInvalid) return;
#ifdef _WIN32
  shutdown(Native(handle_), SD_BOTH);
  closesocket(Native(handle_));
#else
  shutdown(Native(handle_), SHUT_RDWR);
  close(Native(handle_));
#endif
  handle_ = kInvalid;
}

}  // namespace quorvane::platform
