#include "settings/mail_settings.h"

namespace quorvane::settings {
namespace {

uint16_t Port(int32_t value, uint16_t fallback) {
  return value >= 1 && value <= 65535 ? static_cast<uint16_t>(value) : fallback;
}

}  // namespace

mail::MailSettings MailSettingsFrom(const Settings& values) {
  mail::MailSettings out;
  out.use_mail_client = values.mapi_enable;
  out.smtp_server = values.smtp_server;
  if (!mail::ParseSmtpSecurity(values.smtp_security, &out.smtp_security)) {
    out.smtp_security = mail::SmtpSecurity::kNone;
  }
  out.smtp_port = Port(values.smtp_port, 25);
  out.smtp_method = values.smtp_method;
  out.smtp_user = values.smtp_user;
  out.smtp_pass = values.smtp_pass;
  out.pop_before_smtp = values.pop3_auth_popbeforesmtp;
  out.pop3_apop = values.pop3_auth_apop;
  out.pop3_server = values.pop3_server;
  out.pop3_port = Port(values.pop3_port, 110);
  out.sender_name = values.email_name;
  out.sender_address = values.email_address;
  return out;
}

}  // namespace quorvane::settings
