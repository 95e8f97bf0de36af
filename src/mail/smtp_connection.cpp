#include "mail/smtp_connection.h"

#include <algorithm>
#include <chrono>

#include "mail/digest.h"
#include "mail/mime/base64.h"
#include "platform/uuid.h"

namespace quorvane::mail {
namespace {

using platform::kErrorBadCommand;
using platform::kErrorConnectionReset;
using platform::kErrorNoProtocol;
using platform::kErrorTimedOut;

constexpr int kReadinessStepMs = 250;
// A reply larger than this is no SMTP reply; stop before it eats the memory.
constexpr size_t kMaxReply = size_t{1} << 20;

// Streams the DATA pieces straight onto the connection, one send each.
class ConnectionSink : public DataSink {
 public:
  explicit ConnectionSink(CSMTPConnection& connection) : connection_(connection) {}
  bool Write(std::string_view bytes) override { return bytes.empty() || connection_.Send(bytes); }

 private:
  CSMTPConnection& connection_;
};

std::string MessageIdLine(const MailMessage& message) {
  const size_t at = message.from.address.rfind('@');
  std::string domain =
      at == std::string::npos ? std::string() : message.from.address.substr(at + 1);
  if (domain.empty()) domain = platform::LocalHostName();
  return "Message-ID: <" + platform::NewUuidText() + "@" + domain + ">";
}

}  // namespace

bool ParseSmtpSecurity(std::string_view text, SmtpSecurity* out) {
  if (text == "none") {
    *out = SmtpSecurity::kNone;
  } else if (text == "starttls") {
    *out = SmtpSecurity::kStartTls;
  } else if (text == "tls") {
    *out = SmtpSecurity::kTls;
  } else {
    return false;
  }
  return true;
}

bool ReplyHasCode(std::string_view reply, int expected, int* last_code) {
  while (!reply.empty()) {
    int code = 0;
    for (size_t i = 0; i < 3 && i < reply.size() && reply[i] >= '0' && reply[i] <= '9'; ++i) {
      code = code * 10 + (reply[i] - '0');
    }
    *last_code = code;
    if (code == expected) return true;
    const size_t end = reply.find("\r\n");
    if (end == std::string_view::npos) break;
    reply.remove_prefix(end + 2);
  }
  return false;
}

CSMTPConnection::CSMTPConnection() { platform::StartSockets(); }

CSMTPConnection::~CSMTPConnection() { transport_.Close(); }

bool CSMTPConnection::Fail(int error_number) {
  error_number_ = error_number;
  return false;
}

bool CSMTPConnection::Send(std::string_view bytes) {
  if (transport_.Send(bytes)) return true;
  return Fail(transport_.error());
}

bool CSMTPConnection::AwaitReply(int expected) { return ReadReply(256, "\r\n", expected, 4096); }

bool CSMTPConnection::ReadReply(size_t initial_size, std::string_view terminator, int expected,
                                size_t grow_step) {
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  const auto limit = std::chrono::milliseconds(timeout_ms_);
  std::string buffer(std::max<size_t>(initial_size, 2), '\0');
  size_t used = 0;
  last_reply_.clear();
  for (;;) {
    const auto elapsed = Clock::now() - start;
    if (elapsed > limit) {
      last_reply_.assign(buffer, 0, used);
      return Fail(kErrorTimedOut);
    }
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(limit - elapsed);
    const int wait = static_cast<int>(std::min<int64_t>(kReadinessStepMs, left.count() + 1));
    const int ready = transport_.WaitReadable(wait);
    if (ready < 0) return Fail(transport_.error());
    if (ready == 0) continue;
    const long got = transport_.Receive(buffer.data() + used, buffer.size() - used - 1);
    if (got <= 0) {
      last_reply_.assign(buffer, 0, used);
      return Fail(got == 0 ? kErrorConnectionReset : transport_.error());
    }
    used += static_cast<size_t>(got);
    if (used + 1 >= buffer.size()) {
      if (buffer.size() >= kMaxReply) {
        last_reply_.assign(buffer, 0, used);
        return Fail(kErrorNoProtocol);
      }
      buffer.resize(buffer.size() + std::max<size_t>(grow_step, 1));
    }
    if (std::string_view(buffer.data(), used).ends_with(terminator)) break;
  }
  last_reply_.assign(buffer, 0, used);
  if (ReplyHasCode(last_reply_, expected, &last_reply_code_)) return true;
  return Fail(kErrorNoProtocol);
}

bool CSMTPConnection::Expect(int code, int error_if_other) {
  if (AwaitReply(code)) return true;
  // A time-out or a dropped connection keeps its own number; only a wrong code is remapped.
  if (error_number_ == kErrorNoProtocol && error_if_other != 0) error_number_ = error_if_other;
  return false;
}

bool CSMTPConnection::Greet(const std::string& name, bool extended) {
  if (!SendLine((extended ? "EHLO " : "HELO ") + name + "\r\n") || !Expect(250, 0)) return false;
  if (extended) ehlo_reply_ = last_reply_;
  return true;
}

bool CSMTPConnection::DecodedChallenge(std::string* out) const {
  const std::string_view reply = last_reply_;
  const size_t end = reply.find("\r\n");
  const std::string_view line = reply.substr(0, end);
  out->clear();
  return Base64Decode(line.size() > 4 ? line.substr(4) : std::string_view(), out);
}

bool CSMTPConnection::LoginDialogue(const char* command, const std::string& user,
                                    const std::string& password) {
  std::string challenge;
  if (!SendLine(command) || !Expect(334, 0)) return false;
  if (!DecodedChallenge(&challenge) || challenge != "Username:") return Fail(kErrorBadCommand);
  if (!SendLine(Base64Encode(user) + "\r\n") || !Expect(334, 0)) return false;
  if (!DecodedChallenge(&challenge) || challenge != "Password:") return Fail(kErrorBadCommand);
  return SendLine(Base64Encode(password) + "\r\n") && Expect(235, 0);
}

bool CSMTPConnection::CramMd5(const std::string& user, const std::string& password) {
  std::string challenge;
  if (!SendLine("AUTH CRAM-MD5\r\n") || !Expect(334, 0)) return false;
  if (!DecodedChallenge(&challenge)) return Fail(kErrorBadCommand);
  const std::string answer = user + " " + LowerHex(HmacMd5(password, challenge));
  return SendLine(Base64Encode(answer) + "\r\n") && Expect(235, 0);
}

bool CSMTPConnection::Plain(const std::string& user, const std::string& password) {
  const std::string response = std::string(1, '\0') + user + std::string(1, '\0') + password;
  return SendLine("AUTH PLAIN " + Base64Encode(response) + "\r\n") && Expect(235, 0);
}

bool CSMTPConnection::OpenConnection(const std::string& host, int method, const std::string& user,
                                     const std::string& password, uint16_t port,
                                     const std::string& local_address) {
  error_number_ = 0;
  last_reply_.clear();
  last_reply_code_ = 0;
  ehlo_reply_.clear();
  host_ = host;
  if (!transport_.Connect(host, port, local_address)) return Fail(transport_.error());
  const bool opened = [&] {
    if (security_ == SmtpSecurity::kTls && !transport_.StartTls(host, verify_certificates_)) {
      return Fail(platform::kErrorConnectionReset);
    }
    if (!Expect(220, 0)) return false;
    const std::string name = helo_name_ == "auto" ? platform::LocalHostName() : helo_name_;
    if (security_ == SmtpSecurity::kStartTls) {
      // STARTTLS is offered after EHLO only; the greeting is said again inside the tunnel.
      if (!Greet(name, true) || !SendLine("STARTTLS\r\n") || !Expect(220, 0)) return false;
      if (!transport_.StartTls(host, verify_certificates_)) {
        return Fail(platform::kErrorConnectionReset);
      }
    }
    if (!Greet(name, method != kSmtpNone || extended_greeting_)) return false;
    switch (method) {
      case kSmtpNone:
        return true;
      case kSmtpCramMd5:
        return CramMd5(user, password);
      case kSmtpLogin:
        return LoginDialogue("AUTH LOGIN\r\n", user, password);
      case kSmtpLoginPlain:
        return LoginDialogue("AUTH LOGIN PLAIN\r\n", user, password);
      case kSmtpPlain:
        return Plain(user, password);
      default:
        return Fail(platform::kErrorInvalidArgument);
    }
  }();
  if (!opened) {
    const int kept = error_number_;
    CloseConnection();
    error_number_ = kept;
    return false;
  }
  connected_ = true;
  return true;
}

bool CSMTPConnection::DeliverMessage(const MailMessage& message) {
  error_number_ = 0;
  refused_recipient_.clear();
  if (!SendLine("MAIL FROM:<" + message.from.address + ">\r\n") || !Expect(250, kErrorBadCommand)) {
    return false;
  }
  for (const RecipientKind kind : {kTo, kCc, kBcc}) {
    for (int i = 0; i < message.RecipientCount(kind); ++i) {
      const std::string& address = message.Recipient(i, kind).address;
      if (!SendLine("RCPT TO:<" + address + ">\r\n")) return false;
      if (!Expect(250, kErrorBadCommand)) {
        if (error_number_ == kErrorBadCommand) refused_recipient_ = address;
        return false;
      }
    }
  }
  if (!SendLine("DATA\r\n") || !Expect(354, kErrorBadCommand)) return false;
  std::vector<std::string> more;
  if (!message.HasExtraHeader("Message-ID")) more.push_back(MessageIdLine(message));
  ConnectionSink sink(*this);
  if (!message.WriteDataStream(sink, more)) {
    // An attachment that could not be read: the server still waits for the end of DATA, and
    // must not get a cut message; the connection is closed without the final dot.
    if (error_number_ == 0) error_number_ = platform::kErrorInvalidArgument;
    const int kept = error_number_;
    connected_ = false;
    transport_.Close();
    error_number_ = kept;
    return false;
  }
  return Expect(250, kErrorBadCommand);
}

bool CSMTPConnection::CloseConnection() {
  bool ok = true;
  if (connected_) ok = SendLine("QUIT\r\n") && Expect(221, kErrorBadCommand);
  transport_.Close();
  connected_ = false;
  return ok;
}

}  // namespace quorvane::mail
