// The byte stream under SMTP and POP3: a TCP socket, optionally wrapped in TLS after connecting
// (implicit TLS) or after a STARTTLS exchange. Readers see one code path either way: wait until
// readable, receive what is there.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "platform/socket.h"

namespace quorvane::mail {

// Thread-compatible.
class Transport {
 public:
  Transport();
  ~Transport();
  Transport(const Transport&) = delete;
  Transport& operator=(const Transport&) = delete;

  // Connects the plain socket. False with error() set.
  bool Connect(const std::string& host, uint16_t port, const std::string& local_address = {});
  // Runs the TLS handshake over the connected socket. With `verify` the server's certificate
  // must chain to the system's trusted store (or the file named by SSL_CERT_FILE) and name
  // `host`. False with tls_error() set; the connection is then unusable.
  bool StartTls(const std::string& host, bool verify);
  bool IsOpen() const { return socket_.IsOpen(); }
  bool IsEncrypted() const;

  bool Send(std::string_view bytes);
  // Bytes received (> 0), 0 when the peer closed, -1 on an error.
  long Receive(char* data, size_t size);
  // 1 when bytes (or a close) are waiting, 0 after `timeout_ms` without, -1 on an error.
  // Decrypted bytes already buffered count as waiting.
  int WaitReadable(int timeout_ms);
  void Close();

  // The socket error number of the last failure (Winsock numbering).
  int error() const { return error_ != 0 ? error_ : socket_.error(); }
  const std::string& tls_error() const { return tls_error_; }

 private:
  struct Tls;
  platform::Socket socket_;
  std::unique_ptr<Tls> tls_;
  int error_ = 0;
  std::string tls_error_;
};

}  // namespace quorvane::mail
