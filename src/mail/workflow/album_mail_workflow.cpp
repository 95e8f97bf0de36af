#include "mail/workflow/album_mail_workflow.h"

#include <chrono>
#include <system_error>

#include "album/album_index.h"
#include "album/folder_store.h"
#include "mail/workflow/mail_client.h"
#include "mail/workflow/mail_fragments.h"
#include "platform/uuid.h"

namespace quorvane::mail {
namespace fs = std::filesystem;
namespace {

constexpr std::string_view kFolderPrefix = "quorvane-mail-";
// Archives handed to a mail program must outlive the workflow: the program reads them when
// the user sends. They are removed by a later workflow once they are a day old.
constexpr std::string_view kOutgoingPrefix = "quorvane-outgoing-";
constexpr auto kOutgoingLifetime = std::chrono::hours(24);

void RemoveOldOutgoing(const fs::path& root) {
  std::error_code ec;
  const auto now = fs::file_time_type::clock::now();
  for (fs::directory_iterator it(root, ec), end; !ec && it != end; it.increment(ec)) {
    std::error_code entry_ec;
    if (!it->path().filename().string().starts_with(kOutgoingPrefix) ||
        !it->is_directory(entry_ec)) {
      continue;
    }
    const auto written = fs::last_write_time(it->path(), entry_ec);
    if (!entry_ec && now - written > kOutgoingLifetime) fs::remove_all(it->path(), entry_ec);
  }
}

}  // namespace

AlbumMailWorkflow::AlbumMailWorkflow(album::Album& album, fs::path temp_root)
    : album_(album), temp_root_(std::move(temp_root)) {
  if (temp_root_.empty()) {
    std::error_code ec;
    temp_root_ = fs::temp_directory_path(ec);
  }
}

AlbumMailWorkflow::~AlbumMailWorkflow() { Cleanup(); }

void AlbumMailWorkflow::Cleanup() {
  if (!folder_.empty()) {
    std::error_code ec;
    fs::remove_all(folder_, ec);
  }
  folder_.clear();
  prepared_ = false;
  resized_ = false;
  packed_ = false;
}

bool AlbumMailWorkflow::EnsureFolder() {
  if (!folder_.empty()) return true;
  std::error_code ec;
  const fs::path folder = temp_root_ / (std::string(kFolderPrefix) + platform::NewUuidText());
  if (!fs::create_directories(folder, ec)) {
    failure_ = "Unable to create \"" + folder.string() + "\": " + ec.message();
    return false;
  }
  folder_ = folder;
  return true;
}

platform::ResultCode AlbumMailWorkflow::Fail(std::string message) {
  failure_ = std::move(message);
  return platform::kFailed;
}

bool AlbumMailWorkflow::Measure() {
  std::string error;
  if (!ListAlbumContents(album_, &contents_, &error)) {
    failure_ = std::move(error);
    return false;
  }
  measured_ = true;
  return true;
}

uint64_t AlbumMailWorkflow::album_bytes() const {
  return prepared_ ? prepared_contents_.bytes : contents_.bytes;
}

std::string AlbumMailWorkflow::SizeHtml() const {
  return SizeAndTimesHtml(resized_, photo_count(), album_bytes());
}

Recommendation AlbumMailWorkflow::Recommend(std::optional<uint64_t> server_limit) const {
  return mail::Recommend(
      contents_.bytes,
      {contents_.bytes, EstimateAlbumBytes(contents_, ResizeChoice::Box800x600()),
       EstimateAlbumBytes(contents_, ResizeChoice::Box640x480())},
      server_limit);
}

platform::ResultCode AlbumMailWorkflow::Prepare(const PrepareOptions& options,
                                                platform::ProgressSink& progress,
                                                const StatusCallback& status) {
  failure_.clear();
  status(kPreparingAlbumText);
  if (!measured_ && !Measure()) {
    status(failure_);
    return platform::kFailed;
  }
  // A new choice replaces the copy and the archive made from it.
  Cleanup();
  if (!options.resize.resizes() && !options.strip_private) {
    status(kPreparedText);
    return platform::kOk;
  }
  if (!EnsureFolder()) {
    status(failure_);
    return platform::kFailed;
  }
  const fs::path copy_folder = folder_ / "album";
  std::error_code ec;
  fs::create_directory(copy_folder, ec);
  std::string error;
  const platform::ResultCode result =
      WriteMailAlbum(album_, contents_, options, copy_folder, progress, &error);
  if (result == platform::kCancelled) {
    Cleanup();
    status(kPreparationCancelledText);
    return result;
  }
  album::Album copy(std::make_unique<album::FolderStore>(copy_folder));
  // The copy is read back as the receiver will read it: an index that does not open, or
  // opens with photos missing, is not sent.
  if (result == platform::kOk &&
      (!album::AlbumIndex::LoadIndex(copy) || copy.photos().size() != album_.photos().size() ||
       !ListAlbumContents(copy, &prepared_contents_, &error))) {
    error = kTemporaryAlbumErrorText;
  } else if (result == platform::kOk) {
    prepared_ = true;
    resized_ = options.resize.resizes();
    if (resized_) status(kResizingFinishedText);
    status(kPreparedText);
    return platform::kOk;
  }
  Cleanup();
  status(error);
  return Fail(std::move(error));
}

std::string AlbumMailWorkflow::Subject() const {
  if (!album_.title().empty()) return album_.title();
  const std::string name = AttachmentFileName(album_.location());
  return name.substr(0, name.size() - 4);
}

fs::path AlbumMailWorkflow::attachment_path() const {
  return folder_.empty() ? fs::path() : folder_ / AttachmentFileName(album_.location());
}

platform::ResultCode AlbumMailWorkflow::PackArchive(const fs::path& archive,
                                                    platform::ProgressSink& progress) {
  std::string error;
  const platform::ResultCode result = PackMailArchive(
      prepared_ ? prepared_contents_.files : contents_.files, archive, progress, &error);
  if (result == platform::kFailed) failure_ = std::move(error);
  return result;
}

platform::ResultCode AlbumMailWorkflow::Send(const MailSettings& settings,
                                             const std::vector<std::string>& to,
                                             platform::ProgressSink& progress,
                                             const StatusCallback& status) {
  failure_.clear();
  no_mail_client_ = false;
  status(kPrepareToSendText);
  auto fail = [&](std::string message) {
    status(message);
    return Fail(std::move(message));
  };
  auto cancelled = [&] {
    status(kCancelledText);
    return platform::kCancelled;
  };
  if (photo_count() == 0) return fail(std::string(kNoAlbumText));
  if (to.empty()) return fail(std::string(kNoAddressText));
  for (const std::string& address : to) {
    if (address.empty()) return fail(std::string(kNoAddressText));
  }
  if (!settings.use_mail_client) {
    if (std::string problem = SettingsProblem(settings); !problem.empty()) return fail(problem);
  }
  if (!measured_ && !Measure()) return fail(failure_);
  if (progress.Cancelled()) return cancelled();

  const std::string title = AttachmentFileName(album_.location());
  fs::path archive;
  if (settings.use_mail_client) {
    RemoveOldOutgoing(temp_root_);
    std::error_code ec;
    const fs::path outgoing = temp_root_ / (std::string(kOutgoingPrefix) + platform::NewUuidText());
    if (!fs::create_directories(outgoing, ec)) {
      return fail("Unable to create \"" + outgoing.string() + "\": " + ec.message());
    }
    archive = outgoing / title;
    const platform::ResultCode packed = PackArchive(archive, progress);
    if (packed != platform::kOk) {
      fs::remove_all(outgoing, ec);
      return packed == platform::kCancelled ? cancelled() : fail(failure_);
    }
    status(kLaunchingClientText);
    ClientMessage message{to, Subject(), AlbumMailBody(settings, album_.title(), photo_count()),
                          archive, title};
    std::string error;
    switch (SendThroughMailClient(message, &error)) {
      case ClientResult::kHandedOver:
        return platform::kOk;
      case ClientResult::kNoClient:
        fs::remove_all(outgoing, ec);
        no_mail_client_ = true;
        return fail(HtmlToText(FragmentText(MailFragment::kDefaultMailClient)));
      case ClientResult::kFailed:
        fs::remove_all(outgoing, ec);
        return fail(error);
    }
  }

  if (!EnsureFolder()) return fail(failure_);
  archive = attachment_path();
  if (!packed_) {
    const platform::ResultCode packed = PackArchive(archive, progress);
    if (packed == platform::kCancelled) return cancelled();
    if (packed != platform::kOk) return fail(failure_);
    packed_ = true;
  }
  status(kPreparingSendingText);
  MailMessage message;
  message.mime = true;
  message.from = {settings.sender_name, settings.sender_address};
  for (const std::string& address : to) message.AddRecipient({"", address}, kTo);
  message.subject = Subject();
  message.SetBodyText(AlbumMailBody(settings, album_.title(), photo_count()));
  MailBodyPart attachment;
  if (!attachment.AttachFile(archive.string())) {
    return fail("Unable to read \"" + archive.string() + "\"");
  }
  attachment.set_title(title);
  message.AddAttachmentPart(attachment);
  if (progress.Cancelled()) return cancelled();
  const DeliveryOutcome outcome = DeliverMessage(settings, message, progress, status);
  if (outcome.result == platform::kOk) status(kSentText);
  if (outcome.result == platform::kFailed) failure_ = outcome.failure;
  return outcome.result;
}

}  // namespace quorvane::mail
