// Whole-file reads and the one crash-safe write path. Every file that holds user data is
// written through AtomicFile (or WriteFileAtomically, its whole-buffer form): a temporary file
// beside the target, flushed to disk, then renamed over it, so a crash or a full disk never
// leaves a half-written file where a good one was.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace quorvane::platform {

// Reads the whole file into *bytes. On failure returns false and sets *error to
// "Unable to read \"<path>\": <reason>".
bool ReadWholeFile(const std::filesystem::path& path, std::string* bytes, std::string* error);

// When a crash-safe write reaches the disk. kLater skips the flushes for a file that nothing
// names yet (a photo just copied into an album, before the index that names it is saved); the
// caller must FlushFile it before anything refers to it.
enum class Flush { kNow, kLater };

// A new version of one file, written in pieces (an archive being packed, an encoder's output)
// and put in place of the old one only by Commit. Until then the target is untouched and the
// new bytes live in a temporary file of the target's folder that no other writer can share:
// on Linux a file without a name, elsewhere a hidden one (".<name>.qvtmp<n>") that this object
// holds locked. A writer that is killed leaves at most such a hidden file, and the next
// AtomicFile of the same target removes it, so leftovers never pile up or block a later save.
// Move-only, thread-compatible; the destructor discards an uncommitted file. Example:
//
//   AtomicFile file;
//   if (!file.Open(path, &error) || !file.Write(data, size, &error) ||
//       !file.Commit(Flush::kNow, &error)) return Fail(error);
class AtomicFile {
 public:
  AtomicFile() = default;
  ~AtomicFile() { Discard(); }
  AtomicFile(AtomicFile&& other) noexcept;
  AtomicFile& operator=(AtomicFile&& other) noexcept;
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;

  // Starts a new, empty version of `target`, whose folder must exist. On failure returns false
  // and sets *error to "Unable to write \"<target>\": <reason>"; the same form for every
  // failure below.
  [[nodiscard]] bool Open(const std::filesystem::path& target, std::string* error);
  // Writes at the current position, which moves past the bytes written.
  [[nodiscard]] bool Write(const void* data, size_t size, std::string* error);
  // Moves the write position (for writers that go back to fill in a header).
  [[nodiscard]] bool Seek(uint64_t offset, std::string* error);
  // The write position, or -1 with *error.
  int64_t Position(std::string* error);
  // Puts the new version in place of the target: gives it the old target's mode (a new file
  // gets 0666 less the umask), flushes it, renames it over the target and flushes the folder
  // (Flush::kLater skips both flushes). The object is closed afterwards, committed or not; on
  // failure the temporary file is gone and the target untouched.
  [[nodiscard]] bool Commit(Flush flush, std::string* error);
  // Drops the new version; the target stays as it was.
  void Discard();

  bool is_open() const { return fd_ >= 0; }
  const std::filesystem::path& target() const { return target_; }
  // The open file's descriptor (a C runtime descriptor on Windows), for copying into it.
  int descriptor() const { return fd_; }

 private:
  std::filesystem::path target_;
  std::filesystem::path temp_;  // empty while the file has no name
  int fd_ = -1;
  bool keeps_mode_ = false;  // the target existed: Commit gives the new file its mode
  unsigned mode_ = 0;
};

// Replaces (or creates) the file with exactly `bytes` through an AtomicFile. On failure returns
// false, leaves any previous file untouched and sets *error to
// "Unable to write \"<path>\": <reason>".
bool WriteFileAtomically(const std::filesystem::path& path, std::string_view bytes,
                         std::string* error, Flush flush = Flush::kNow);

// Copies the file `source` to `target` through an AtomicFile, so `target` is either the old
// file or the whole new one. On failure returns false, leaves `target` untouched and sets *error
// ("Unable to read
// ..." for the source, "Unable to write ..." for the target).
bool CopyFileAtomically(const std::filesystem::path& source, const std::filesystem::path& target,
                        std::string* error, Flush flush = Flush::kNow);

// Flushes a file written with Flush::kLater, and its folder entry, to the disk.
bool FlushFile(const std::filesystem::path& path, std::string* error);
// The same for many files at once: each folder is flushed once, after its files. Stops at
// the first file that fails, with its error.
bool FlushFiles(const std::vector<std::filesystem::path>& paths, std::string* error);

// Swaps two files in one step where the system can (Linux), with three renames otherwise.
// When only one of them exists it moves to the other name; when neither does, nothing
// happens. On failure returns false with *error; both files keep their names and contents.
bool ExchangeFiles(const std::filesystem::path& a, const std::filesystem::path& b,
                   std::string* error);

// True when `path` names an existing regular file (not a folder).
bool IsRegularFile(const std::filesystem::path& path);

// The C library's text for an errno value.
std::string ErrorText(int error_number);

}  // namespace quorvane::platform
