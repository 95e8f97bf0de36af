#include "mail/workflow/mail_delivery.h"

#include <cctype>
#include <filesystem>

#include "mail/pop3_client.h"
#include "mail/workflow/mail_fragments.h"
#include "mail/workflow/size_estimate.h"
#include "platform/socket.h"

namespace quorvane::mail {
namespace {

// An SMTP connection whose sends stop once the job is cancelled: a message cut off before its
// final dot is dropped by the server.
class CancellableConnection : public CSMTPConnection {
 public:
  explicit CancellableConnection(platform::ProgressSink& progress) : progress_(progress) {}
  bool Send(std::string_view bytes) override {
    return !progress_.Cancelled() && CSMTPConnection::Send(bytes);
  }

 private:
  platform::ProgressSink& progress_;
};

std::string OneLine(std::string_view text) {
  std::string line;
  for (const char c : text) line += (c == '\r' || c == '\n' || c == '\t') ? ' ' : c;
  while (!line.empty() && line.back() == ' ') line.pop_back();
  return line;
}

DeliveryOutcome Cancelled(const StatusCallback& status) {
  status(kCancelledText);
  return {platform::kCancelled, {}};
}

DeliveryOutcome Failed(const StatusCallback& status, std::string message, bool hint) {
  status(message);
  if (hint) status(kConfigureServerHint);
  return {platform::kFailed, std::move(message)};
}

uint64_t AttachmentBytes(const MailBodyPart& part) {
  uint64_t total = 0;
  if (!part.file_path().empty()) {
    std::error_code ec;
    const uintmax_t size = std::filesystem::file_size(part.file_path(), ec);
    if (!ec) total += size;
  }
  for (int i = 0; i < part.child_count(); ++i) total += AttachmentBytes(*part.child(i));
  return total;
}

}  // namespace

std::string FailureReason(const CSMTPConnection& connection) {
  if (!connection.tls_error().empty()) return connection.tls_error();
  if (!connection.last_reply().empty()) return OneLine(connection.last_reply());
  switch (connection.error_number()) {
    case platform::kErrorTimedOut:
      return "no reply in time";
    case platform::kErrorInvalidArgument:
      return "host not found";
    case platform::kErrorConnectionRefused:
      return "connection refused";
    case platform::kErrorConnectionReset:
      return "connection closed by the server";
    default:
      return "network error";
  }
}

std::string ConnectFailedText(std::string_view reason) {
  return "Unable to connect to mail server. (" + std::string(reason) + ")";
}

std::string RecipientRefusedText(std::string_view address) {
  return "Unable to find mail server for \"" + std::string(address) +
         "\".  Are you sure this address is correct?";
}

std::string SettingsProblem(const MailSettings& settings) {
  if (settings.smtp_server.empty()) return std::string(kConfigureServerText);
  if (settings.smtp_method != kSmtpNone && settings.smtp_user.empty()) {
    return std::string(kNoUserText);
  }
  return {};
}

std::string AlbumMailBody(const MailSettings& settings, std::string_view album_title,
                          int photo_count) {
  const std::string sender = !settings.sender_name.empty()
                                 ? settings.sender_name
                                 : "Your friend at " + settings.sender_address;
  std::string body(FragmentText(MailFragment::kAlbumMailBody));
  body = ReplacePlaceholder(std::move(body), "{SenderName}", sender);
  body = ReplacePlaceholder(std::move(body), "{AlbumTitle}", album_title);
  body = ReplacePlaceholder(std::move(body), "{NumPhotos}", std::to_string(photo_count));
  return ReplacePlaceholder(std::move(body), "{GoalNum}", "15");
}

std::optional<uint64_t> ParseSizeLimit(std::string_view reply) {
  while (!reply.empty()) {
    const size_t end = reply.find("\r\n");
    std::string_view line = reply.substr(0, end);
    reply = end == std::string_view::npos ? std::string_view() : reply.substr(end + 2);
    if (line.size() < 8) continue;
    line.remove_prefix(4);  // "250-" or "250 "
    std::string keyword;
    for (size_t i = 0; i < 4; ++i) {
      keyword += static_cast<char>(std::toupper(static_cast<unsigned char>(line[i])));
    }
    if (keyword != "SIZE" || (line.size() > 4 && line[4] != ' ')) continue;
    uint64_t value = 0;
    bool digits = false;
    for (size_t i = 5; i < line.size() && std::isdigit(static_cast<unsigned char>(line[i])); ++i) {
      if (value > (UINT64_MAX - 9) / 10) return std::nullopt;
      value = value * 10 + static_cast<uint64_t>(line[i] - '0');
      digits = true;
    }
    if (digits && value > 0) return value;
    return std::nullopt;
  }
  return std::nullopt;
}

std::optional<uint64_t> QueryServerSizeLimit(const MailSettings& settings, uint32_t timeout_ms) {
  if (settings.smtp_server.empty()) return std::nullopt;
  CSMTPConnection connection;
  connection.set_timeout_ms(timeout_ms);
  connection.set_security(settings.smtp_security);
  connection.set_extended_greeting(true);
  if (!connection.OpenConnection(settings.smtp_server, kSmtpNone, "", "", settings.smtp_port)) {
    return std::nullopt;
  }
  std::optional<uint64_t> limit = ParseSizeLimit(connection.ehlo_reply());
  connection.CloseConnection();
  return limit;
}

DeliveryOutcome DeliverMessage(const MailSettings& settings, const MailMessage& message,
                               platform::ProgressSink& progress, const StatusCallback& status) {
  if (std::string problem = SettingsProblem(settings); !problem.empty()) {
    return Failed(status, std::move(problem), false);
  }
  if (progress.Cancelled()) return Cancelled(status);
  status(kConnectingText);
  status(kPleaseWaitText);
  if (settings.pop_before_smtp) {
    if (progress.Cancelled()) return Cancelled(status);
    Pop3Client pop3;
    if (!pop3.Connect(settings.pop3_server, settings.pop3_port)) {
      return Failed(status, std::string(kPop3ConnectFailedText), false);
    }
    if (progress.Cancelled()) return Cancelled(status);
    if (!pop3.Login(settings.smtp_user, settings.smtp_pass, settings.pop3_apop)) {
      return Failed(status, std::string(kPop3LoginFailedText), false);
    }
  }
  if (progress.Cancelled()) return Cancelled(status);
  CancellableConnection connection(progress);
  connection.set_security(settings.smtp_security);
  if (!connection.OpenConnection(settings.smtp_server, settings.smtp_method, settings.smtp_user,
                                 settings.smtp_pass, settings.smtp_port)) {
    if (progress.Cancelled()) return Cancelled(status);
    return Failed(status, ConnectFailedText(FailureReason(connection)), true);
  }
  // A server that announced its limit would refuse the message only after all of it was sent.
  const std::optional<uint64_t> limit = ParseSizeLimit(connection.ehlo_reply());
  const uint64_t bytes = MessageBytes(AttachmentBytes(message.root));
  if (limit && bytes > *limit) {
    connection.CloseConnection();
    return Failed(status,
                  ConnectFailedText("the message of " + SizeText(bytes) + " is larger than the " +
                                    SizeText(*limit) + " the server accepts"),
                  false);
  }
  if (progress.Cancelled()) {
    connection.CloseConnection();
    return Cancelled(status);
  }
  if (!connection.DeliverMessage(message)) {
    if (progress.Cancelled()) {
      connection.CloseConnection();
      return Cancelled(status);
    }
    DeliveryOutcome outcome =
        connection.refused_recipient().empty()
            ? Failed(status, ConnectFailedText(FailureReason(connection)), true)
            : Failed(status, RecipientRefusedText(connection.refused_recipient()), false);
    connection.CloseConnection();
    return outcome;
  }
  // Accepted once DATA is answered; a rude goodbye does not undo that.
  connection.CloseConnection();
  return {};
}

DeliveryOutcome SendTestMessage(const MailSettings& settings, const std::string& to,
                                platform::ProgressSink& progress, const StatusCallback& status) {
  status(kPreparingTestText);
  MailMessage message;
  message.mime = true;
  message.from = {settings.sender_name, settings.sender_address};
  message.AddRecipient({"", to}, kTo);
  message.subject = kTestSubject;
  message.SetBodyText(FragmentText(MailFragment::kTestMailBody));
  DeliveryOutcome outcome = DeliverMessage(settings, message, progress, status);
  if (outcome.result == platform::kOk) status(kTestSentText);
  return outcome;
}

}  // namespace quorvane::mail
