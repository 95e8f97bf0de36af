// The e-mail that carries a crash report: the message with the report's files attached.
#pragma once

#include <filesystem>
#include <string>

#include "crash/crash_report.h"
#include "mail/mail_message.h"
#include "mail/workflow/mail_delivery.h"

namespace quorvane::app {

// "Quorvane Error Report" to `to`, from the sender of `settings` (or `to` itself when none is
// set), a short text naming the error, and the report folder's error report, crash record and
// thread list attached (those that exist).
mail::MailMessage ComposeCrashReportMail(const std::filesystem::path& folder,
                                         const crash::CrashRecord& record,
                                         const mail::MailSettings& settings, const std::string& to);

}  // namespace quorvane::app
