// The album that goes out by e-mail: its files and size, the copy with resized (or
// private-data-free) photos made in a temporary folder, and the ".qvo" archive of it. The
// album itself is only read, never changed.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "album/album.h"
#include "image/image.h"
#include "mail/workflow/size_estimate.h"
#include "platform/progress.h"
#include "platform/result_code.h"

namespace quorvane::mail {

// Texts of the preparation, in the order they appear.
inline constexpr std::string_view kPreparingAlbumText = "Preparing photo album for email...";
inline constexpr std::string_view kLoadingPhotoText = "Loading photo...";
inline constexpr std::string_view kResizingText = "Resizing...";
inline constexpr std::string_view kSavingPhotoText = "Saving photo to temporary album...";
inline constexpr std::string_view kResizingFinishedText = "Resizing finished.";
inline constexpr std::string_view kPreparedText = "Finished preparing photo album for email.";
inline constexpr std::string_view kPressNextText = "Press the Next button to continue.";
inline constexpr std::string_view kPreparationCancelledText =
    "Album processing has been cancelled.";
inline constexpr std::string_view kTemporaryAlbumErrorText =
    "Error: Unable to open temporary album.";

// The attachment's file name for an album at `location` (a folder or a ".qvo" file): its name
// up to and including the last ".", then "qvo" ("Trip" -> "Trip.qvo", "Trip.2024" ->
// "Trip.qvo").
std::string AttachmentFileName(const std::filesystem::path& location);

// One file of the album as it would be sent.
struct AlbumFile {
  std::string name;
  std::filesystem::path path;
  uint64_t bytes = 0;
};

// What an album holds to send: its index, each photo and each photo's thumbnail.
struct AlbumContents {
  std::vector<AlbumFile> files;
  struct Photo {
    size_t file = 0;  // index into files
    int width = 0;    // upright size; 0 when the header could not be read
    int height = 0;
    uint64_t thumbnail_bytes = 0;
  };
  std::vector<Photo> photos;
  uint64_t bytes = 0;  // all files together: the album size of the size texts
};

// Lists the album's files from its store (unpacking an archive's photos into its working copy)
// and reads each photo's size from its header. False with *error when a file is out of reach.
// Caller's thread; the album must not change meanwhile.
bool ListAlbumContents(album::Album& album, AlbumContents* out, std::string* error);

// The album size a choice would give, without resizing: photos larger than the box scale by
// the pixels they keep, the rest count as they are.
uint64_t EstimateAlbumBytes(const AlbumContents& contents, const ResizeChoice& choice);

struct PrepareOptions {
  ResizeChoice resize;
  bool strip_private = false;  // copies lose GPS positions, serial numbers and owner names
  image::ResampleMode mode = image::ResampleMode::kBicubic;
  int jpeg_quality = 85;
  int threads = 0;  // photos prepared at once; 0: one per core
};

// Writes the album's copy into `folder` (which must exist and be empty): every photo fitted
// into the box and saved in its own format at 24 bits per pixel, or copied as it is when it
// fits already; thumbnails copied; an index naming the new sizes. Photo texts and positions
// go to `progress`, which is also polled for a cancel between photos. Returns kOk, kCancelled, or
// kFailed with *error; leaves what it wrote for the caller to remove.
platform::ResultCode WriteMailAlbum(album::Album& album, const AlbumContents& contents,
                                    const PrepareOptions& options,
                                    const std::filesystem::path& folder,
                                    platform::ProgressSink& progress, std::string* error);

// Packs `files` into a new archive at `archive` (stored JPEGs, deflated rest). Cancel and
// progress as for the album archive writer; on failure *error says why and no file is left.
platform::ResultCode PackMailArchive(const std::vector<AlbumFile>& files,
                                     const std::filesystem::path& archive,
                                     platform::ProgressSink& progress, std::string* error);

}  // namespace quorvane::mail
