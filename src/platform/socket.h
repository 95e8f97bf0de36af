// A blocking TCP socket over the system's sockets (Winsock on Windows, POSIX elsewhere) with the
// few calls the mail clients need. Failures keep the system's error number; on Windows those are
// Winsock's own numbers (10060 for a time-out), elsewhere the same meanings map to them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace quorvane::platform {

// Error numbers the mail clients report, with Winsock's values on every system.
inline constexpr int kErrorBadCommand = 22;          // a reply with an unexpected code
inline constexpr int kErrorInvalidArgument = 10022;  // a host name that cannot be resolved
inline constexpr int kErrorNoProtocol = 10043;       // no line of a reply had the code awaited
inline constexpr int kErrorConnectionReset = 10054;  // the peer closed or reset the connection
inline constexpr int kErrorTimedOut = 10060;         // no complete reply within the time-out
inline constexpr int kErrorConnectionRefused = 10061;

// Starts the socket library once per process (Winsock 2.2); nothing to do elsewhere. Safe to
// call from any thread, any number of times.
bool StartSockets();

// Resolves `host` to an IPv4 address in network byte order: a dotted address first, then by
// name (first address). False when neither works.
bool ResolveIpv4(const std::string& host, uint32_t* address);

// The machine's host name (at most 100 characters), or "localhost" when it cannot be had.
std::string LocalHostName();

// One stream socket. Thread-compatible: one thread at a time.
class Socket {
 public:
  Socket() = default;
  ~Socket();
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  // Creates the socket, binds it to `local_address` when non-empty, and connects to host:port.
  // False with error() set (kErrorInvalidArgument for a name that does not resolve); the socket
  // is closed again on failure.
  bool Connect(const std::string& host, uint16_t port, const std::string& local_address = {});
  bool IsOpen() const { return handle_ != kInvalid; }

  // Sends all of `size` bytes. False with error() set when the connection fails.
  bool SendAll(const char* data, size_t size);
  // Receives up to `size` bytes: the count, 0 when the peer closed, -1 on error (error() set).
  long Receive(char* data, size_t size);
  // Waits up to `timeout_ms` for data or a close: 1 readable, 0 not yet, -1 error.
  int WaitReadable(int timeout_ms);

  // Shuts both directions down and closes; safe on a closed socket.
  void Close();

  // The system's error number of the last failed call, in Winsock's numbering.
  int error() const { return error_; }
  // The native handle, for the TLS layer.
  intptr_t handle() const { return handle_; }

 private:
  static constexpr intptr_t kInvalid = -1;
  void TakeSystemError();

  intptr_t handle_ = kInvalid;
  int error_ = 0;
};

}  // namespace quorvane::platform
