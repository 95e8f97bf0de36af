// The album e-mail workflow as one object that the desktop wizard and the command line drive
// step by step: measure the album and recommend a size, prepare the copy to send (resized, or
// without private data), then send it through the SMTP client or the user's mail program.
// Each step is a blocking call for a worker thread; it reports through a ProgressSink (photo
// texts, positions, cancel) and a StatusCallback (the status line). Everything it writes lives
// in one temporary folder that goes when the workflow ends, whatever the outcome.
//
// Example:
//   AlbumMailWorkflow workflow(album);
//   if (!workflow.Measure()) return Show(workflow.failure());
//   workflow.Prepare({ResizeChoice::Box800x600()}, progress, status);
//   workflow.Send(settings, {"bob@example.org"}, progress, status);
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "album/album.h"
#include "mail/workflow/mail_album.h"
#include "mail/workflow/mail_delivery.h"
#include "mail/workflow/size_estimate.h"

namespace quorvane::mail {

// Thread-compatible: one step at a time, from any one thread; the album must stay open and
// unchanged until the workflow ends.
class AlbumMailWorkflow {
 public:
  // `temp_root` is where the temporary folder is made (the system's temporary folder unless
  // given).
  explicit AlbumMailWorkflow(album::Album& album, std::filesystem::path temp_root = {});
  ~AlbumMailWorkflow();
  AlbumMailWorkflow(const AlbumMailWorkflow&) = delete;
  AlbumMailWorkflow& operator=(const AlbumMailWorkflow&) = delete;

  // Lists the album's files and sizes. False with failure() when a file is out of reach.
  bool Measure();
  int photo_count() const { return static_cast<int>(album_.photos().size()); }
  // The size of the album to send: the album itself until Prepare made a copy.
  uint64_t album_bytes() const;
  // The introduction's size and download-time fragment, or after Prepare the resized one.
  std::string SizeHtml() const;
  // The recommendation, against the server's SIZE limit when one is known.
  Recommendation Recommend(std::optional<uint64_t> server_limit) const;

  // Makes the copy to send: photos fitted into the choice's box, and with `strip_private`
  // every copy without GPS positions, serial numbers and owner names. As-is without
  // stripping makes no copy. Reports kPreparingAlbumText, the photo texts, kResizingFinishedText
  // (after resizing) and kPreparedText, or kPreparationCancelledText / the failure. A new call
  // replaces the previous copy.
  platform::ResultCode Prepare(const PrepareOptions& options, platform::ProgressSink& progress,
                               const StatusCallback& status);

  // Sends the prepared album (or the album as it is) to `to`: packs the archive (once; a second
  // send reuses it), then hands it to the mail program (settings.use_mail_client) or runs the
  // mail thread's steps. Returns kOk, kCancelled (after kCancelledText) or kFailed with
  // failure(); a missing mail program also sets no_mail_client().
  platform::ResultCode Send(const MailSettings& settings, const std::vector<std::string>& to,
                            platform::ProgressSink& progress, const StatusCallback& status);

  // The subject of the album's message: its title, or the attachment's name without one.
  std::string Subject() const;
  const std::string& failure() const { return failure_; }
  bool no_mail_client() const { return no_mail_client_; }
  // The archive that was (or will be) attached.
  std::filesystem::path attachment_path() const;
  // Removes the temporary album and archive now (the destructor does it too). An archive
  // handed to the mail program stays for it until a later workflow finds it a day old.
  void Cleanup();

 private:
  bool EnsureFolder();
  platform::ResultCode Fail(std::string message);
  platform::ResultCode PackArchive(const std::filesystem::path& archive,
                                   platform::ProgressSink& progress);

  album::Album& album_;
  std::filesystem::path temp_root_;
  std::filesystem::path folder_;  // this workflow's temporary folder; empty until needed
  bool measured_ = false;
  AlbumContents contents_;
  bool prepared_ = false;  // a copy exists in folder_/album
  bool resized_ = false;
  AlbumContents prepared_contents_;
  bool packed_ = false;
  std::string failure_;
  bool no_mail_client_ = false;
};

}  // namespace quorvane::mail
