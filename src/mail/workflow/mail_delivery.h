// The mail thread of the album e-mail: the POP3 log-in when the settings ask for it, then the
// SMTP delivery of one message, each step announced by its status text and each failure
// reported with the words the user knows; the test message of the mail settings page; and the
// SIZE limit a server announces. All calls block: the desktop runs them on a worker.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mail/mail_message.h"
#include "mail/smtp_connection.h"
#include "platform/progress.h"
#include "platform/result_code.h"

namespace quorvane::mail {

// The mail settings the workflow needs, filled by its caller from the settings store.
struct MailSettings {
  bool use_mail_client = false;  // hand the message to the desktop's mail client instead
  std::string smtp_server;
  uint16_t smtp_port = 25;
  int smtp_method = kSmtpNone;  // passed to the SMTP client unchanged
  SmtpSecurity smtp_security = SmtpSecurity::kNone;
  std::string smtp_user;  // also the POP3 log-in
  std::string smtp_pass;
  bool pop_before_smtp = false;
  bool pop3_apop = false;
  std::string pop3_server;
  uint16_t pop3_port = 110;
  std::string sender_name;
  std::string sender_address;
};

// Receives each status text as it happens (the wizard's status line, the command line's
// output). Called on the thread that runs the step.
using StatusCallback = std::function<void(std::string_view)>;

inline constexpr std::string_view kPrepareToSendText = "Prepare to send album...";
inline constexpr std::string_view kNoAlbumText = "No album to send.";
inline constexpr std::string_view kLaunchingClientText = "Launching your email program...";
inline constexpr std::string_view kPressFinishText =
    "Press the Finish button to close this dialog.";
inline constexpr std::string_view kThreadFailedText = "Failed to start mail thread.";
inline constexpr std::string_view kPreparingSendingText = "Preparing photo album for sending...";
inline constexpr std::string_view kPreparingTestText = "Preparing to send...";
inline constexpr std::string_view kConnectingText = "Connecting to mail server...";
inline constexpr std::string_view kPleaseWaitText = "Please wait, this may take up to 30 seconds";
inline constexpr std::string_view kPop3ConnectFailedText = "Unable to connect to POP3 server.";
inline constexpr std::string_view kPop3LoginFailedText = "Unable to login to the POP3 server.";
inline constexpr std::string_view kConfigureServerHint =
    "Please check your mail server configuration by pressing the \"Configure Mail Server\" "
    "button.";
inline constexpr std::string_view kSentText = "Done!  Your photo album has been sent.";
inline constexpr std::string_view kTestSentText =
    "The test email has been sent, please check your inbox.";
inline constexpr std::string_view kTestSubject = "Test Email from Quorvane";
inline constexpr std::string_view kCancellingText = "Cancelling email, please wait...";
inline constexpr std::string_view kCancelledText = "Email cancelled.";
inline constexpr std::string_view kSendAgainText =
    "To send the same album to another person, press the Send to Another Person button.";
inline constexpr std::string_view kRetryText =
    "To retry sending the same album with the new mail server configuration, press the Try "
    "Sending Again button.  To check or change the email address, press the Back button.";
inline constexpr std::string_view kNoAddressText = "Please enter an email address.";
inline constexpr std::string_view kNoUserText = "Please enter the user name you use to send mail.";
inline constexpr std::string_view kConfigureServerText =
    "Please configure your outgoing mail server by selecting one of the options on this "
    "page.\n\nIf you are not sure about your mail server settings or your ISP is not "
    "listed,\ncontact your Internet Service Provider or network administrator.";

// Why a connection failed, for the user: the TLS failure, the server's last reply on one line,
// or the socket error in words ("connection refused", "no reply in time").
std::string FailureReason(const CSMTPConnection& connection);

// "Unable to connect to mail server. (%s)" with `reason`.
std::string ConnectFailedText(std::string_view reason);
// "Unable to find mail server for "%s".  Are you sure this address is correct?"
std::string RecipientRefusedText(std::string_view address);

// What the mail settings page would refuse for the SMTP path: no server
// (kConfigureServerText), or a log-in method without a user name (kNoUserText). Empty when the
// settings can be tried.
std::string SettingsProblem(const MailSettings& settings);

// The message body of an album: the body fragment with the sender ("Your friend at <address>"
// when the name is empty), the album title, the photo count and "15" for {GoalNum}.
std::string AlbumMailBody(const MailSettings& settings, std::string_view album_title,
                          int photo_count);

// The SIZE an EHLO reply announces ("250-SIZE 52428800"); none when it names no limit
// (absent, or "SIZE" / "SIZE 0").
std::optional<uint64_t> ParseSizeLimit(std::string_view ehlo_reply);

// Connects to the SMTP server of `settings`, says EHLO and QUIT, and returns the SIZE it
// announced. None when it announces none or cannot be reached within `timeout_ms`.
std::optional<uint64_t> QueryServerSizeLimit(const MailSettings& settings, uint32_t timeout_ms);

// What a delivery left behind for its caller.
struct DeliveryOutcome {
  platform::ResultCode result = platform::kOk;
  std::string failure;  // the message shown for a failure (kFailed)
};

// The mail thread's steps from "Connecting to mail server..." on (settings with a
// SettingsProblem fail with it first): the POP3 log-in when
// `settings` ask for it, the SMTP connection, the size check against the server's SIZE, the
// delivery and QUIT. `progress` is polled between steps and while the message is sent (a
// cancel then cuts the transfer off, so the server drops the message). Reports each status
// text, a failure's message (and the hint to check the configuration) included; a cancel
// reports kCancelledText.
DeliveryOutcome DeliverMessage(const MailSettings& settings, const MailMessage& message,
                               platform::ProgressSink& progress, const StatusCallback& status);

// The test message of the mail settings page to `to`: "Preparing to send...", then the steps
// of DeliverMessage; success reports kTestSentText.
DeliveryOutcome SendTestMessage(const MailSettings& settings, const std::string& to,
                                platform::ProgressSink& progress, const StatusCallback& status);

}  // namespace quorvane::mail
