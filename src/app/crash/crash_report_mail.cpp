// Composing the crash report's e-mail.
#include "app/crash/crash_report_mail.h"

#include <string_view>

namespace quorvane::app {

mail::MailSettings StoredMailSettings(const settings::Settings& values) {
  const auto port = [](int32_t value, uint16_t fallback) {
    return value > 0 && value <= 65535 ? static_cast<uint16_t>(value) : fallback;
  };
  mail::MailSettings out;
  out.use_mail_client = values.mapi_enable;
  if (!mail::ParseSmtpSecurity(values.smtp_security, &out.smtp_security)) {
    out.smtp_security = mail::SmtpSecurity::kNone;
  }
  out.smtp_server = values.smtp_server;
  out.smtp_port = port(values.smtp_port, 25);
  out.smtp_method = values.smtp_method;
  out.smtp_user = values.smtp_user;
  out.smtp_pass = values.smtp_pass;
  out.pop_before_smtp = values.pop3_auth_popbeforesmtp;
  out.pop3_apop = values.pop3_auth_apop;
  out.pop3_server = values.pop3_server;
  out.pop3_port = port(values.pop3_port, 110);
  out.sender_name = values.email_name;
  out.sender_address = values.email_address;
  return out;
}

mail::MailMessage ComposeCrashReportMail(const std::filesystem::path& folder,
                                         const crash::CrashRecord& record,
                                         const mail::MailSettings& settings,
                                         const std::string& to) {
  mail::MailMessage message;
  message.mime = true;
  message.from = {settings.sender_name,
                  settings.sender_address.empty() ? to : settings.sender_address};
  message.AddRecipient({"", to}, mail::kTo);
  message.subject = "Quorvane Error Report";
  std::string text = "Quorvane " + record.version + " stopped on " + record.time + " (" +
                     (record.exception.empty() ? record.signal : record.exception) +
                     ").\nThe error report is attached.\n";
  message.SetBodyText(text);
  for (std::string_view name :
       {crash::kReportFileName, crash::kRecordFileName, crash::kThreadsFileName}) {
    mail::MailBodyPart part;
    if (part.AttachFile((folder / name).string())) message.AddAttachmentPart(part);
  }
  return message;
}

}  // namespace quorvane::app
