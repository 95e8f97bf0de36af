// The SMTP client: greeting, optional log-in (CRAM-MD5, LOGIN, the "AUTH LOGIN PLAIN" variant,
// or PLAIN), envelope, DATA and QUIT over a plain, STARTTLS or implicit-TLS connection. Replies
// are read with a bounded wait so a silent server costs the time-out and no more.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "mail/mail_message.h"
#include "mail/transport.h"

namespace quorvane::mail {

enum SmtpMethod {
  kSmtpNone = 0,  // HELO, no log-in
  kSmtpCramMd5 = 1,
  kSmtpLogin = 2,       // "AUTH LOGIN"
  kSmtpLoginPlain = 3,  // "AUTH LOGIN PLAIN", then the LOGIN dialogue
  kSmtpPlain = 4,       // "AUTH PLAIN" with the initial response
};

enum class SmtpSecurity { kNone, kStartTls, kTls };

// Parses "none", "starttls" or "tls" (the values of the "smtp.security" setting).
bool ParseSmtpSecurity(std::string_view text, SmtpSecurity* out);

// Finds a line of `reply` (lines end in CRLF) whose first three characters read as `expected`.
// *last_code gets the code of each line looked at. A continuation marker is not looked at.
bool ReplyHasCode(std::string_view reply, int expected, int* last_code);

// One SMTP session. Every step returns false on failure and leaves error_number() (22 for an
// unexpected reply code, 10060 for a reply time-out, 10043 for a reply without the code, 10022
// for a host that cannot be resolved, or the socket's own number) and the last reply text.
// Thread-compatible; all calls block.
class CSMTPConnection {
 public:
  CSMTPConnection();
  virtual ~CSMTPConnection();
  CSMTPConnection(const CSMTPConnection&) = delete;
  CSMTPConnection& operator=(const CSMTPConnection&) = delete;

  // Sends bytes as they are. False (socket error number kept) when the connection fails.
  virtual bool Send(std::string_view bytes);
  // Reads one reply ending in CRLF and succeeds when a line carries `expected`.
  virtual bool AwaitReply(int expected);
  // Reads until the text ends in `terminator` or `timeout_ms()` passes, then looks for
  // `expected` line by line. The wait blocks in the readiness check for at most 250 ms at a
  // time, so a reply is read as soon as it arrives.
  virtual bool ReadReply(size_t initial_size, std::string_view terminator, int expected,
                         size_t grow_step);

  // Connects to host:port, reads the greeting, says HELO (method 0) or EHLO, upgrades to TLS as
  // security() asks and logs in with `method`. On failure the connection is closed.
  bool OpenConnection(const std::string& host, int method, const std::string& user,
                      const std::string& password, uint16_t port = 25,
                      const std::string& local_address = {});
  // MAIL FROM, one RCPT TO per recipient (To, Cc, then Bcc), DATA and the message, streamed.
  // A Message-ID is added to the headers when the message has none.
  bool DeliverMessage(const MailMessage& message);
  // QUIT when connected (expecting 221), then closes in any case.
  bool CloseConnection();

  const std::string& last_reply() const { return last_reply_; }
  // The server's reply to EHLO (its extensions, such as "SIZE 52428800"); empty after HELO.
  const std::string& ehlo_reply() const { return ehlo_reply_; }
  // The recipient whose RCPT TO the server refused in the last DeliverMessage, or empty.
  const std::string& refused_recipient() const { return refused_recipient_; }
  int last_reply_code() const { return last_reply_code_; }
  int error_number() const { return error_number_; }
  // The TLS failure in words, when a handshake or certificate check failed.
  const std::string& tls_error() const { return transport_.tls_error(); }
  bool connected() const { return connected_; }

  const std::string& helo_name() const { return helo_name_; }
  void set_helo_name(std::string name) { helo_name_ = std::move(name); }
  uint32_t timeout_ms() const { return timeout_ms_; }
  void set_timeout_ms(uint32_t value) { timeout_ms_ = value; }
  SmtpSecurity security() const { return security_; }
  void set_security(SmtpSecurity value) { security_ = value; }
  // Certificate checking; on unless a caller turns it off for a known server.
  void set_verify_certificates(bool value) { verify_certificates_ = value; }
  // Says EHLO also for method 0, to learn the server's extensions without logging in.
  void set_extended_greeting(bool value) { extended_greeting_ = value; }

 private:
  bool Fail(int error_number);
  bool SendLine(const std::string& line) { return Send(line); }
  bool Expect(int code, int error_if_other);
  bool Greet(const std::string& name, bool extended);
  bool LoginDialogue(const char* command, const std::string& user, const std::string& password);
  bool CramMd5(const std::string& user, const std::string& password);
  bool Plain(const std::string& user, const std::string& password);
  // The text after the code and its separator of the last reply, base64-decoded.
  bool DecodedChallenge(std::string* out) const;

  Transport transport_;
  bool connected_ = false;
  std::string last_reply_;
  std::string helo_name_ = "auto";
  uint32_t timeout_ms_ = 60000;
  int last_reply_code_ = 0;
  int error_number_ = 0;
  SmtpSecurity security_ = SmtpSecurity::kNone;
  bool verify_certificates_ = true;
  bool extended_greeting_ = false;
  std::string ehlo_reply_;
  std::string refused_recipient_;
  std::string host_;
};

}  // namespace quorvane::mail
