// quorvane-cli mail estimate / album / test: the album e-mail workflow with the mail settings of
// the settings store, printing the status texts as the wizard shows them.
#include <atomic>
#include <csignal>
#include <iostream>
#ifdef _WIN32
#include <io.h>
#define QUORVANE_WRITE _write
#else
#include <unistd.h>
#define QUORVANE_WRITE ::write
#endif

#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/open_album.h"
#include "cli/stderr_progress.h"
#include "cli/user_settings.h"
#include "mail/workflow/album_mail_workflow.h"
#include "mail/workflow/mail_fragments.h"
#include "platform/socket.h"
#include "settings/mail_settings.h"

namespace quorvane::cli {
namespace {

// How long `mail estimate` waits for the mail server's SIZE before giving the texts without it.
constexpr uint32_t kSizeQueryTimeoutMs = 5000;

std::atomic<bool> interrupted{false};

// Ctrl-C cancels the mail job between its steps, so its temporary files go with it; a second
// Ctrl-C ends the process at once.
void OnInterrupt(int) {
  if (interrupted.exchange(true)) std::_Exit(130);
  static constexpr char kText[] = "Cancelling email, please wait...\n";
  [[maybe_unused]] const auto ignored = QUORVANE_WRITE(1, kText, sizeof kText - 1);
}

class InterruptibleProgress : public StderrProgress {
 public:
  InterruptibleProgress() { std::signal(SIGINT, OnInterrupt); }
  ~InterruptibleProgress() override { std::signal(SIGINT, SIG_DFL); }
  bool Cancelled() const override { return interrupted.load(); }
};

// Status texts go to stdout as they happen. The hint about the wizard's button becomes the
// command that shows the configuration.
void PrintStatus(std::string_view text) {
  if (text == mail::kConfigureServerHint) {
    std::cout << "Please check your mail server configuration (quorvane-cli settings show)."
              << std::endl;
    return;
  }
  std::cout << text << std::endl;
}

// The sender when none is set: the mail account's name when it is an address, else the
// user's account on this machine, as mail programs have long done.
std::string FallbackSender(const settings::Settings& values) {
  if (values.smtp_user.find('@') != std::string::npos) return values.smtp_user;
  const char* login = std::getenv("USER");
  const std::string user = login != nullptr && *login != '\0' ? login : "quorvane";
  std::string sender = user + "@" + platform::LocalHostName();
  std::cerr << "quorvane-cli: no sender address is set (quorvane-cli settings set email.address "
               "ADDR); sending as "
            << sender << '\n';
  return sender;
}

void FillSender(const settings::Settings& values, mail::MailSettings* settings) {
  if (settings->sender_address.empty()) settings->sender_address = FallbackSender(values);
}

int Finish(platform::ResultCode result, const std::string& failure) {
  if (result == platform::kOk) return kExitOk;
  if (result == platform::kCancelled) return kExitFailure;
  return Failure(failure);
}

bool ParseResize(const Arguments& parsed, mail::ResizeChoice* choice) {
  const std::string* text = parsed.Value("--resize");
  return text == nullptr || mail::ParseResizeChoice(*text, choice);
}

int Estimate(std::span<const std::string> args) {
  const std::string usage = UsageOf("mail estimate");
  static constexpr OptionSpec kOptions[] = {{"--resize", true}};
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, kOptions, &parsed, &error)) return UsageError(error, usage);
  if (parsed.positional.size() != 1) return UsageError("expected one album", usage);
  mail::ResizeChoice choice;
  if (!ParseResize(parsed, &choice)) return UsageError(mail::kInvalidSizeMessage, usage);
  const settings::UserSettings user = LoadSettingsReportingProblems();
  const std::unique_ptr<album::Album> album =
      OpenAlbum(parsed.positional[0], AlbumAccess::kReadQuietly);
  if (!album) return kExitFailure;
  mail::AlbumMailWorkflow workflow(*album);
  if (!workflow.Measure()) return Failure(workflow.failure());
  const mail::MailSettings settings = settings::MailSettingsFrom(user.settings);
  const std::optional<uint64_t> limit =
      settings.use_mail_client ? std::nullopt
                               : mail::QueryServerSizeLimit(settings, kSizeQueryTimeoutMs);
  std::cout << mail::HtmlToText(workflow.SizeHtml());
  const mail::Recommendation recommendation = workflow.Recommend(limit);
  std::cout << mail::HtmlToText(recommendation.html);
  std::cout << "Recommended size: " << recommendation.choice.Name() << '\n';
  if (!parsed.Has("--resize")) return kExitOk;
  if (choice.resizes()) {
    InterruptibleProgress progress;
    mail::PrepareOptions options;
    options.resize = choice;
    options.mode = UserThumbnailOptions().mode;
    const platform::ResultCode result = workflow.Prepare(
        options, progress, [](std::string_view text) { std::cerr << text << '\n'; });
    if (result != platform::kOk) return Finish(result, workflow.failure());
    std::cout << mail::HtmlToText(workflow.SizeHtml());
  }
  if (limit) {
    std::cout << mail::HtmlToText(
        mail::ServerLimitHtml(mail::MessageBytes(workflow.album_bytes()), *limit));
  }
  return kExitOk;
}

int SendAlbum(std::span<const std::string> args) {
  const std::string usage = UsageOf("mail album");
  static constexpr OptionSpec kOptions[] = {
      {"--to", true}, {"--resize", true}, {"--via", true}, {"--strip-private", false}};
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, kOptions, &parsed, &error)) return UsageError(error, usage);
  if (parsed.positional.size() != 1) return UsageError("expected one album", usage);
  const std::vector<std::string> to = parsed.Values("--to");
  if (to.empty()) return UsageError(mail::kNoAddressText, usage);
  for (const std::string& address : to) {
    if (address.empty()) return UsageError(mail::kNoAddressText, usage);
  }
  mail::ResizeChoice choice;
  if (!ParseResize(parsed, &choice)) return UsageError(mail::kInvalidSizeMessage, usage);
  const settings::UserSettings user = LoadSettingsReportingProblems();
  mail::MailSettings settings = settings::MailSettingsFrom(user.settings);
  if (const std::string* via = parsed.Value("--via")) {
    if (*via != "smtp" && *via != "client") return UsageError("--via takes smtp or client", usage);
    settings.use_mail_client = *via == "client";
  }
  if (!settings.use_mail_client) {
    const std::string problem = mail::SettingsProblem(settings);
    if (!problem.empty()) return Failure(problem);
    FillSender(user.settings, &settings);
  }
  const std::unique_ptr<album::Album> album =
      OpenAlbum(parsed.positional[0], AlbumAccess::kReadQuietly);
  if (!album) return kExitFailure;

  InterruptibleProgress progress;
  mail::AlbumMailWorkflow workflow(*album);
  mail::PrepareOptions options;
  options.resize = choice;
  options.strip_private = parsed.Has("--strip-private") || user.settings.web_publish_stripprivate;
  options.mode = UserThumbnailOptions().mode;
  if (options.resize.resizes() || options.strip_private) {
    const platform::ResultCode prepared = workflow.Prepare(options, progress, PrintStatus);
    if (prepared != platform::kOk) return Finish(prepared, workflow.failure());
  }
  const platform::ResultCode result = workflow.Send(settings, to, progress, PrintStatus);
  if (result == platform::kOk && settings.use_mail_client) {
    std::cout << "The album is in your mail program, ready to be sent." << std::endl;
  }
  return Finish(result, workflow.failure());
}

int SendTest(std::span<const std::string> args) {
  const std::string usage = UsageOf("mail test");
  static constexpr OptionSpec kOptions[] = {{"--to", true}};
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, kOptions, &parsed, &error)) return UsageError(error, usage);
  if (!parsed.positional.empty()) return UsageError("test takes no album", usage);
  const std::string* to = parsed.Value("--to");
  if (to == nullptr || to->empty()) return UsageError(mail::kNoAddressText, usage);
  const settings::UserSettings user = LoadSettingsReportingProblems();
  mail::MailSettings settings = settings::MailSettingsFrom(user.settings);
  if (const std::string problem = mail::SettingsProblem(settings); !problem.empty()) {
    return Failure(problem);
  }
  FillSender(user.settings, &settings);
  InterruptibleProgress progress;
  const mail::DeliveryOutcome outcome = mail::SendTestMessage(settings, *to, progress, PrintStatus);
  return Finish(outcome.result, outcome.failure);
}

}  // namespace

int RunMailWorkflowCommand(std::span<const std::string> args) {
  const std::string& verb = args[0];
  if (verb == "estimate") return Estimate(args.subspan(1));
  if (verb == "album") return SendAlbum(args.subspan(1));
  return SendTest(args.subspan(1));
}

}  // namespace quorvane::cli
