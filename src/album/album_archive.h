// Album archives (".qvo"): one ZIP file holding every file of a flat album folder. Packing
// writes a temporary file beside the target and renames it into place; unpacking treats the
// archive as hostile (names, links, folders, sizes, entry count) and writes nothing outside
// the folder it was given.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvane::album {

// Bounds on what one archive may unpack to; a zip bomb hits one of them before it fills the disk.
struct ArchiveLimits {
  uint64_t max_total_bytes = uint64_t{4} << 30;  // sum of the unpacked sizes of all entries
  uint64_t max_entries = 100000;
};

struct PackOptions {
  int level = 6;  // deflate level, 1 (fast) .. 9 (small); 6 matches the usual zip default
  // JPEG photos and thumbnails barely shrink under deflate, so by default they are stored
  // as they are and only the other files (index, PNG/BMP/TIFF photos) are deflated.
  bool deflate_jpeg = false;
  // Names of files in the folder that stay out of the archive.
  std::vector<std::string> leave_out;
  // Called now and then with the fraction done (0..1); returning false cancels the pack.
  std::function<bool(double fraction)> progress;
};

// True for a path that names an album archive rather than an album folder: its extension is
// ".qvo" in any case and it is not a folder.
bool IsArchivePath(const std::filesystem::path& path);

// Packs every regular file directly in `folder` (subfolders and links are skipped) into the
// archive at `archive`: a temporary file in the same folder, flushed, then renamed over any
// previous archive, which stays untouched on failure or cancel. A file whose name could not
// be unpacked again (see UnpackArchive) fails the pack. On failure returns false and sets
// *error (ending in "cancelled" when `progress` cancelled it). Runs on the caller's thread,
// which also gets the progress calls; keeps no state between calls.
[[nodiscard]] bool PackAlbumFolder(const std::filesystem::path& folder,
                                   const std::filesystem::path& archive, const PackOptions& options,
                                   std::string* error);

// Unpacks the archive into `folder`, which is created when missing and must otherwise be
// empty. Refused, with a message in *error that names the entry: names that are absolute,
// hold "..", a drive letter, a backslash, a colon, a control character or a folder separator
// (album archives are flat; archives with folders are refused, not flattened), Windows device
// names ("CON", "LPT1.jpg"), links and other non-regular entries, duplicate names, encrypted
// entries, methods other than store and deflate, more entries or more unpacked bytes than
// `limits` allow (counted while inflating, not only from the sizes the archive declares),
// and damaged data. Nothing is written before every entry has passed. On failure every file
// it wrote is removed again (and the folder, when it made it). Runs on the caller's thread
// and keeps no state between calls. Example:
//
//   std::string error;
//   if (!UnpackArchive("trip.qvo", "trip", {}, &error)) std::cerr << error << '\n';
[[nodiscard]] bool UnpackArchive(const std::filesystem::path& archive,
                                 const std::filesystem::path& folder, const ArchiveLimits& limits,
                                 std::string* error);

// The same as UnpackArchive for archive bytes already in memory (a received attachment).
[[nodiscard]] bool UnpackArchiveBytes(std::string_view bytes, const std::filesystem::path& folder,
                                      const ArchiveLimits& limits, std::string* error);

}  // namespace quorvane::album
