// Real mail servers for tests, started in the foreground on free loopback ports with their whole
// configuration in a test's temporary folder (the machine's own services are never touched),
// a reader of what they stored, and the independent parser that checks every message we send.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <sys/types.h>
#include <vector>

namespace quorvane::testing {

// The accounts both servers know; the second has a password longer than an HMAC block.
inline constexpr const char* kMailUser = "alice";
inline constexpr const char* kMailPassword = "s3cret";
inline constexpr const char* kLongMailUser = "longpass";
inline constexpr const char* kLongMailPassword =
    "a-password-of-seventy-characters-which-is-longer-than-one-hmac-block!";

// A free TCP port on 127.0.0.1 at the time of the call.
uint16_t FreeLoopbackPort();

// A child process with its output in a log file; stopped (SIGTERM, then waited for) on
// destruction.
class ServerProcess {
 public:
  ServerProcess() = default;
  ~ServerProcess();
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

  // Starts `argv` with stdout and stderr into `log`, then waits (up to 15 s) until `port`
  // accepts connections. False, with the log's text in *error, when it never does.
  bool Start(const std::vector<std::string>& argv, const std::filesystem::path& log, uint16_t port,
             std::string* error);
  void Stop();

 private:
  pid_t pid_ = -1;
};

// The SMTP server: plain SMTP with STARTTLS on one port, implicit TLS on another; LOGIN (with
// the challenges "Username:" and "Password:"), PLAIN and CRAM-MD5 for both accounts. Accepted
// messages stay in its queue, never delivered; RCPT to a local part "refuse" is refused with 550.
class SmtpTestServer {
 public:
  // Writes the configuration and a self-signed certificate for "localhost" and 127.0.0.1 into
  // `folder` and starts the server.
  bool Start(const std::filesystem::path& folder, std::string* error);
  // The largest message it takes, as the server writes it ("200M", "40K"); set before Start.
  // It announces it as SIZE in its EHLO reply.
  void set_message_size_limit(std::string limit) { size_limit_ = std::move(limit); }
  uint16_t port() const { return port_; }
  uint16_t tls_port() const { return tls_port_; }
  // The certificate to trust (e.g. through SSL_CERT_FILE) for TLS tests.
  const std::filesystem::path& certificate() const { return certificate_; }
  // The number of messages accepted so far.
  size_t MessageCount() const { return MessageIds().size(); }
  // The last message accepted, as stored (empty when there is none).
  std::string LastMessage() const;

 private:
  // Queue ids, oldest first.
  std::vector<std::string> MessageIds() const;

  std::filesystem::path folder_, config_, certificate_;
  std::string size_limit_ = "200M";
  uint16_t port_ = 0, tls_port_ = 0;
  ServerProcess process_;
};

// The POP3 server, with USER/PASS and APOP for both accounts.
class Pop3TestServer {
 public:
  // Opens `folder` to the server's unprivileged users, which must also be able to pass through
  // its parent folders: give it a test's temporary folder itself, not a folder inside one.
  bool Start(const std::filesystem::path& folder, std::string* error);
  uint16_t port() const { return port_; }

 private:
  uint16_t port_ = 0;
  ServerProcess process_;
};

// Reads `message` with Python's email package and returns its view, one line per item:
// "Subject: ...", "From: ...", "To: ...", "Cc: ...", "Message-ID: ...", "defects: <names>",
// and per leaf part "part <n>: <type> text '<decoded text>'" or
// "part <n>: <type> attachment <filename> <size> bytes md5 <hex>".
// With `attachments`, also writes each attachment there under its file name.
std::string ParseMailWithPython(const std::string& message,
                                const std::filesystem::path& attachments = {});

}  // namespace quorvane::testing
