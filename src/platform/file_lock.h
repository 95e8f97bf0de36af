// FileLock: an advisory lock that processes of this program take on a file or a folder before
// they read, change and write back what it holds (an album's index, the settings file). The
// system drops the lock when the holder ends, however it ends, so a crash never leaves one
// behind.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>

namespace quorvane::platform {

// Move-only; releasing happens on destruction. Thread-compatible. A lock is held by one open
// handle: two FileLocks of one process on the same path exclude each other as two processes do.
class FileLock {
 public:
  enum class Mode { kShared, kExclusive };

  FileLock() = default;
  ~FileLock() { Release(); }
  FileLock(FileLock&& other) noexcept;
  FileLock& operator=(FileLock&& other) noexcept;
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

  // Locks `path`: an existing folder is locked as it is (on Windows through a hidden file
  // ".quorvane.lock" inside it); any other path names a lock file, created empty when missing.
  // Waits up to `wait` for another holder to let go (zero: try once). On failure returns false
  // and sets *error: "\"<path>\" is in use by another program" when the wait ran out,
  // "Unable to lock \"<path>\": <reason>" otherwise.
  [[nodiscard]] bool Acquire(const std::filesystem::path& path, Mode mode,
                             std::chrono::milliseconds wait, std::string* error);
  void Release();
  bool held() const { return handle_ != kNoHandle; }
  // True when `path` names the very file this lock holds. A lock on a file that holders
  // replace by renaming a new one over it (an album archive) stays with the old file: a holder
  // that finds the name moved on must lock again, or it would exclude nobody.
  bool Holds(const std::filesystem::path& path) const;

 private:
#ifdef _WIN32
  using Handle = void*;
  static constexpr Handle kNoHandle = nullptr;
#else
  using Handle = int;
  static constexpr Handle kNoHandle = -1;
#endif
  Handle handle_ = kNoHandle;
};

}  // namespace quorvane::platform
