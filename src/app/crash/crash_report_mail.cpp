// Composing the crash report's e-mail.
#include "app/crash/crash_report_mail.h"

#include <string_view>

namespace quorvane::app {

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
