#include "mail/transport.h"

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

namespace quorvane::mail {

struct Transport::Tls {
  SSL_CTX* context = nullptr;
  SSL* ssl = nullptr;
  ~Tls() {
    if (ssl != nullptr) SSL_free(ssl);
    if (context != nullptr) SSL_CTX_free(context);
  }
};

namespace {

std::string OpenSslErrors(std::string_view what) {
  std::string text(what);
  while (const unsigned long code = ERR_get_error()) {
    char buffer[256];
    ERR_error_string_n(code, buffer, sizeof buffer);
    text += "; ";
    text += buffer;
  }
  return text;
}

}  // namespace

Transport::Transport() = default;
Transport::~Transport() { Close(); }

bool Transport::Connect(const std::string& host, uint16_t port, const std::string& local_address) {
  Close();
  error_ = 0;
  return socket_.Connect(host, port, local_address);
}

bool Transport::IsEncrypted() const { return tls_ != nullptr; }

bool Transport::StartTls(const std::string& host, bool verify) {
  auto tls = std::make_unique<Tls>();
  ERR_clear_error();
  tls->context = SSL_CTX_new(TLS_client_method());
  if (tls->context == nullptr) {
    tls_error_ = OpenSslErrors("cannot set up TLS");
    return false;
  }
  SSL_CTX_set_min_proto_version(tls->context, TLS1_2_VERSION);
  if (verify) {
    SSL_CTX_set_verify(tls->context, SSL_VERIFY_PEER, nullptr);
    SSL_CTX_set_default_verify_paths(tls->context);
  }
  tls->ssl = SSL_new(tls->context);
  if (tls->ssl == nullptr || SSL_set_fd(tls->ssl, static_cast<int>(socket_.handle())) != 1) {
    tls_error_ = OpenSslErrors("cannot set up TLS");
    return false;
  }
  // The name for servers that host several (SNI); the library's macro for this is a C cast.
  SSL_ctrl(tls->ssl, SSL_CTRL_SET_TLSEXT_HOSTNAME, TLSEXT_NAMETYPE_host_name,
           const_cast<char*>(host.c_str()));
  if (verify) {
    // An address given as numbers is checked against the certificate's IP entries.
    if (X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(tls->ssl), host.c_str()) != 1) {
      SSL_set1_host(tls->ssl, host.c_str());
    }
  }
  if (SSL_connect(tls->ssl) != 1) {
    const long verdict = SSL_get_verify_result(tls->ssl);
    tls_error_ = verdict != X509_V_OK ? std::string("certificate not trusted: ") +
                                            X509_verify_cert_error_string(verdict)
                                      : OpenSslErrors("TLS handshake failed");
    return false;
  }
  tls_ = std::move(tls);
  return true;
}

bool Transport::Send(std::string_view bytes) {
  if (tls_ == nullptr) return socket_.SendAll(bytes.data(), bytes.size());
  while (!bytes.empty()) {
    const int chunk = bytes.size() > (1u << 30) ? (1 << 30) : static_cast<int>(bytes.size());
    const int sent = SSL_write(tls_->ssl, bytes.data(), chunk);
    if (sent <= 0) {
      error_ = platform::kErrorConnectionReset;
      tls_error_ = OpenSslErrors("TLS write failed");
      return false;
    }
    bytes.remove_prefix(static_cast<size_t>(sent));
  }
  return true;
}

long Transport::Receive(char* data, size_t size) {
  if (tls_ == nullptr) return socket_.Receive(data, size);
  const int chunk = size > (1u << 30) ? (1 << 30) : static_cast<int>(size);
  const int got = SSL_read(tls_->ssl, data, chunk);
  if (got > 0) return got;
  if (SSL_get_error(tls_->ssl, got) == SSL_ERROR_ZERO_RETURN) return 0;
  error_ = platform::kErrorConnectionReset;
  tls_error_ = OpenSslErrors("TLS read failed");
  return -1;
}

int Transport::WaitReadable(int timeout_ms) {
  if (tls_ != nullptr && SSL_pending(tls_->ssl) > 0) return 1;
  return socket_.WaitReadable(timeout_ms);
}

void Transport::Close() {
  if (tls_ != nullptr && socket_.IsOpen()) SSL_shutdown(tls_->ssl);
  tls_.reset();
  socket_.Close();
}

}  // namespace quorvane::mail
