// The settings the album e-mail runs with, read from the store's "smtp.", "pop3.", "mapi." and
// "email." keys, so that the desktop program and quorvane-cli send the same way. A library of
// its own, like the picture settings, so that the settings store needs no mail code.
#pragma once

#include "mail/workflow/mail_delivery.h"
#include "settings/settings.h"

namespace quorvane::settings {

// Ports outside 1..65535 fall back to 25 and 110, an unknown "smtp.security" to none.
mail::MailSettings MailSettingsFrom(const Settings& values);

}  // namespace quorvane::settings
