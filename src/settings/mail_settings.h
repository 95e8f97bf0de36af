// The stored mail settings as the mail thread takes them, read the same way by quorvane-cli
// and the desktop program (the album e-mail, the crash report). A library of its own, so that
// the settings store stays free of the mail libraries.
#pragma once

#include "mail/workflow/mail_delivery.h"
#include "settings/settings.h"

namespace quorvane::settings {

// The SMTP and POP3 keys, the sender and "mapi.enable"; a port out of 1..65535 takes the
// protocol's own (25, 110), an unknown "smtp.security" none.
mail::MailSettings MailSettingsFrom(const Settings& values);

}  // namespace quorvane::settings
