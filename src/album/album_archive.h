// Album archives (".qvo"): one ZIP file holding every file of a flat album folder. Packing
// writes through the platform's atomic file; reading treats the archive as hostile (names,
// links, folders, sizes, entry count, free space) and writes nothing outside the folder it was
// given. An archive can be unpacked whole, or read entry by entry (ArchiveReader) so that an
// album opens without unpacking photos nobody looks at.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/progress.h"

struct zip;  // libzip's archive, kept out of this header

namespace quorvane::platform {
class AtomicFile;
}

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
  // Told now and then how far the pack is (thousandths), and polled for a cancel; null: nobody
  // watches. Must outlive the pack (or the store's commits, for an ArchiveStore).
  platform::ProgressSink* progress = nullptr;
};

// True for a path that names an album archive rather than an album folder: its extension is
// ".qvo" in any case and it is not a folder.
bool IsArchivePath(const std::filesystem::path& path);

// Packs every regular file directly in `folder` (subfolders and links are skipped) into the
// archive at `archive` through a platform::AtomicFile, so any previous archive stays untouched
// on failure or cancel. A file whose name could not be unpacked again (see UnpackArchive)
// fails the pack. On failure returns false and sets *error (ending in "cancelled" when
// `progress` was cancelled). Runs on the caller's thread, which also gets the progress calls;
// keeps no state between calls.
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
// more unpacked bytes than the folder's disk has free, and damaged data. Nothing is written
// before every entry has passed. On failure every file it wrote is removed again (and the
// folder, when it made it). Runs on the caller's thread and keeps no state between calls.
// Example:
//
//   std::string error;
//   if (!UnpackArchive("trip.qvo", "trip", {}, &error)) std::cerr << error << '\n';
[[nodiscard]] bool UnpackArchive(const std::filesystem::path& archive,
                                 const std::filesystem::path& folder, const ArchiveLimits& limits,
                                 std::string* error);

// The same as UnpackArchive for archive bytes already in memory (a received attachment).
[[nodiscard]] bool UnpackArchiveBytes(std::string_view bytes, const std::filesystem::path& folder,
                                      const ArchiveLimits& limits, std::string* error);

struct ArchiveItem;

// An album archive kept open to be read entry by entry. Open judges the whole directory by
// the rules of UnpackArchive that need no data; each entry is then inflated only when it is
// asked for, under the rest of those rules, and can be carried into a new archive still
// compressed (WriteArchive). Thread-compatible: one thread at a time.
class ArchiveReader {
 public:
  struct Entry {
    std::string name;
    uint64_t index = 0;  // position in the archive
    uint64_t size = 0;   // unpacked, as the archive declares it
    int method = 0;      // compression as recorded: 0 stored, 8 deflated
    int64_t mtime = 0;   // seconds since 1970, when has_mtime
    bool has_mtime = false;
    uint32_t crc = 0;  // of the unpacked data, as the archive records it
  };

  // Opens `archive` and checks every entry's name, type, encryption, method and declared size,
  // and their count and total against `limits`, without inflating any. On failure returns null
  // and sets *error to the message UnpackArchive would give. Keeps the file open until
  // destroyed.
  static std::unique_ptr<ArchiveReader> Open(const std::filesystem::path& archive,
                                             const ArchiveLimits& limits, std::string* error);
  // The same for archive bytes in memory, which must outlive the reader.
  static std::unique_ptr<ArchiveReader> OpenBytes(std::string_view bytes,
                                                  const ArchiveLimits& limits, std::string* error);
  ~ArchiveReader();
  ArchiveReader(const ArchiveReader&) = delete;
  ArchiveReader& operator=(const ArchiveReader&) = delete;

  const std::vector<Entry>& entries() const { return entries_; }

  // Inflates the entry into *bytes. Refused, with a message naming the entry, when its data is
  // damaged or inflates to more or less than the archive declares.
  [[nodiscard]] bool Read(const Entry& entry, std::string* bytes, std::string* error);
  // Inflates the entry into a new file at `path` (never over an existing file or link), with
  // the entry's time. Refused before anything is written when the disk of `path` has less
  // free space than the entry's size; otherwise as Read. On failure no file is left.
  [[nodiscard]] bool Extract(const Entry& entry, const std::filesystem::path& path,
                             std::string* error);

 private:
  friend bool WriteArchive(platform::AtomicFile& out, std::vector<ArchiveItem> items,
                           ArchiveReader* source, const PackOptions& options, std::string* error);
  ArchiveReader(::zip* archive, std::string label, std::unique_ptr<char[]> file_buffer)
      : zip_(archive), label_(std::move(label)), file_buffer_(std::move(file_buffer)) {}
  static std::unique_ptr<ArchiveReader> Judge(::zip* archive, std::string label,
                                              std::unique_ptr<char[]> file_buffer,
                                              const ArchiveLimits& limits, std::string* error);
  // Runs the entry's inflated bytes through `sink`, checking them against the declared size.
  bool Inflate(const Entry& entry, const std::function<bool(const char*, size_t)>& sink,
               std::string* error);
  bool Fail(std::string problem, std::string* error) const;

  ::zip* zip_;
  std::string label_;  // names the archive in messages
  std::vector<Entry> entries_;
  std::vector<char> buffer_;
  std::unique_ptr<char[]> file_buffer_;  // the archive file's stdio buffer, freed after it
};

// One file of an archive being written: the file at `file`, or, when `packed` is set, that
// entry of the source archive carried over as it is, still compressed.
struct ArchiveItem {
  std::string name;
  std::filesystem::path file;
  const ArchiveReader::Entry* packed = nullptr;
};

// Adds an item for every regular file directly in `folder` whose name is not in `leave_out`.
// Subfolders and links are skipped: an album has none of its own, and following a link could
// pack a file from elsewhere on the disk. On failure returns false with the reason in *error.
bool AddFolderItems(const std::filesystem::path& folder, const std::vector<std::string>& leave_out,
                    std::vector<ArchiveItem>* items, std::string* error);

// Writes an archive of `items`, in name order, into `out`, which is open and left uncommitted:
// the caller commits it, after letting go of `source` where the system cannot replace an open
// file. Files are compressed as `options` say (its leave_out is not consulted); packed items
// keep their compression and are never inflated. A name UnpackArchive would refuse fails the
// write. On failure returns false and sets *error to the reason alone ("cancelled" when
// `options.progress` was cancelled); `out` then holds nothing useful. Caller's thread.
[[nodiscard]] bool WriteArchive(platform::AtomicFile& out, std::vector<ArchiveItem> items,
                                ArchiveReader* source, const PackOptions& options,
                                std::string* error);

}  // namespace quorvane::album
