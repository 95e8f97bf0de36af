// quorvane-cli mail: sends one message through the SMTP client, with the optional POP3 log-in
// first, as the album e-mail does. The password comes from a file, never the command line.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/user_settings.h"
#include "mail/mail_message.h"
#include "mail/pop3_client.h"
#include "mail/smtp_connection.h"
#include "mail/workflow/mail_delivery.h"
#include "platform/number_text.h"
#include "platform/socket.h"

namespace quorvane::cli {
namespace {

constexpr std::string_view kUsage = "mail send";

constexpr OptionSpec kOptions[] = {
    {"--server", true},        {"--method", true},    {"--security", true},  {"--user", true},
    {"--password-file", true}, {"--pop3", true},      {"--pop3-user", true}, {"--apop", false},
    {"--from", true},          {"--from-name", true}, {"--to", true},        {"--cc", true},
    {"--bcc", true},           {"--subject", true},   {"--body", true},      {"--body-file", true},
    {"--attach", true},
};

// "host" or "host:port".
bool SplitHostPort(const std::string& text, uint16_t default_port, std::string* host,
                   uint16_t* port) {
  const size_t colon = text.rfind(':');
  *host = text.substr(0, colon);
  *port = default_port;
  if (colon != std::string::npos) {
    int64_t value = 0;
    if (!platform::ParseInteger(std::string_view(text).substr(colon + 1), 1, 65535, &value)) {
      return false;
    }
    *port = static_cast<uint16_t>(value);
  }
  return !host->empty();
}

bool ReadWholeFile(const std::string& path, std::string* out) {
  std::ifstream in(std::filesystem::path(path), std::ios::binary);
  if (!in) return false;
  std::ostringstream text;
  text << in.rdbuf();
  *out = text.str();
  return !in.bad();
}

// The password file's first line, without its line end.
bool ReadPassword(const std::string& path, std::string* password) {
  if (!ReadWholeFile(path, password)) return false;
  const size_t end = password->find_first_of("\r\n");
  if (end != std::string::npos) password->resize(end);
  return true;
}

std::string OneLineReply(const std::string& reply) {
  std::string text = OneLine(reply);
  while (!text.empty() && text.back() == ' ') text.pop_back();
  return text;
}

int SmtpFailure(const mail::CSMTPConnection& connection) {
  std::cerr << "quorvane-cli: " << mail::ConnectFailedText(mail::FailureReason(connection)) << "\n"
            << "quorvane-cli: error " << connection.error_number()
            << "; last reply: " << OneLineReply(connection.last_reply()) << '\n';
  return kExitFailure;
}

int Send(const Arguments& parsed) {
  if (!parsed.positional.empty())
    return UsageError("send takes no positional arguments", UsageOf(kUsage));
  for (const char* required : {"--server", "--from", "--to", "--subject"}) {
    if (!parsed.Has(required))
      return UsageError(std::string(required) + " is required", UsageOf(kUsage));
  }
  if (parsed.Has("--body") == parsed.Has("--body-file")) {
    return UsageError("give one of --body and --body-file", UsageOf(kUsage));
  }
  int64_t method = mail::kSmtpNone;
  if (const std::string* text = parsed.Value("--method");
      text != nullptr && !platform::ParseInteger(*text, 0, 3, &method)) {
    return UsageError("--method takes 0, 1, 2 or 3", UsageOf(kUsage));
  }
  mail::SmtpSecurity security = mail::SmtpSecurity::kNone;
  if (const std::string* text = parsed.Value("--security")) {
    if (!mail::ParseSmtpSecurity(*text, &security)) {
      return UsageError("--security takes none, starttls or tls", UsageOf(kUsage));
    }
  } else {
    // The stored "smtp.security" applies when the command line says nothing.
    const settings::UserSettings user = LoadSettingsReportingProblems();
    if (!mail::ParseSmtpSecurity(user.settings.smtp_security, &security)) {
      security = mail::SmtpSecurity::kNone;
    }
  }
  const uint16_t default_port = security == mail::SmtpSecurity::kTls        ? 465
                                : security == mail::SmtpSecurity::kStartTls ? 587
                                                                            : 25;
  std::string host;
  uint16_t port = 0;
  if (!SplitHostPort(*parsed.Value("--server"), default_port, &host, &port)) {
    return UsageError("--server takes HOST or HOST:PORT", UsageOf(kUsage));
  }
  std::string pop3_host;
  uint16_t pop3_port = 0;
  if (const std::string* text = parsed.Value("--pop3");
      text != nullptr && !SplitHostPort(*text, 110, &pop3_host, &pop3_port)) {
    return UsageError("--pop3 takes HOST or HOST:PORT", UsageOf(kUsage));
  }
  const std::string user = parsed.Has("--user") ? *parsed.Value("--user") : std::string();
  std::string password;
  if (const std::string* path = parsed.Value("--password-file");
      path != nullptr && !ReadPassword(*path, &password)) {
    return Failure("cannot read the password file " + *path);
  }
  std::string body;
  if (const std::string* text = parsed.Value("--body")) {
    body = *text;
  } else if (!ReadWholeFile(*parsed.Value("--body-file"), &body)) {
    return Failure("cannot read " + *parsed.Value("--body-file"));
  }

  mail::MailMessage message;
  message.mime = true;
  message.from = {parsed.Has("--from-name") ? *parsed.Value("--from-name") : std::string(),
                  *parsed.Value("--from")};
  for (const auto& [option, kind] : {std::pair{"--to", mail::kTo}, std::pair{"--cc", mail::kCc},
                                     std::pair{"--bcc", mail::kBcc}}) {
    for (const std::string& address : parsed.Values(option))
      message.AddRecipient({"", address}, kind);
  }
  message.subject = *parsed.Value("--subject");
  message.SetBodyText(body);
  for (const std::string& path : parsed.Values("--attach")) {
    mail::MailBodyPart attachment;
    if (!attachment.AttachFile(path)) return Failure("cannot attach " + path + ": no such file");
    message.AddAttachmentPart(attachment);
  }

  if (!pop3_host.empty()) {
    mail::Pop3Client pop3;
    if (!pop3.Connect(pop3_host, pop3_port)) {
      std::cerr << "quorvane-cli: Unable to connect to POP3 server. (" << pop3.GetStatusText()
                << ")\n";
      return kExitFailure;
    }
    const std::string pop3_user = parsed.Has("--pop3-user") ? *parsed.Value("--pop3-user") : user;
    if (!pop3.Login(pop3_user, password, parsed.Has("--apop"))) {
      std::cerr << "quorvane-cli: Unable to login to the POP3 server. (" << pop3.GetStatusText()
                << ")\nquorvane-cli: last reply: " << OneLineReply(pop3.reply()) << '\n';
      return kExitFailure;
    }
  }

  mail::CSMTPConnection connection;
  connection.set_security(security);
  if (!connection.OpenConnection(host, static_cast<int>(method), user, password, port)) {
    return SmtpFailure(connection);
  }
  if (!connection.DeliverMessage(message)) {
    const int code = SmtpFailure(connection);
    connection.CloseConnection();
    return code;
  }
  // The message is accepted once DATA is answered; a rude goodbye does not undo that.
  connection.CloseConnection();
  return kExitOk;
}

}  // namespace

int RunMailCommand(std::span<const std::string> args) {
  if (!args.empty() && (args[0] == "estimate" || args[0] == "album" || args[0] == "test")) {
    return RunMailWorkflowCommand(args);
  }
  if (args.empty() || args[0] != "send") {
    return UsageError("expected \"send\", \"estimate\", \"album\" or \"test\"", UsageOf("mail"));
  }
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args.subspan(1), kOptions, &parsed, &error)) {
    return UsageError(error, UsageOf(kUsage));
  }
  return Send(parsed);
}

}  // namespace quorvane::cli
