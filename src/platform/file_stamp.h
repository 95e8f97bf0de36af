// FileStamp: what tells one version of a file (or a folder's list of entries) from another
// without reading it. Files that hold user data are replaced whole, by a rename, so an unchanged
// stamp means unchanged bytes; the change time, which no program can set back, catches the rest.
#pragma once

#include <cstdint>
#include <filesystem>

#if defined(__unix__) || defined(__APPLE__)
#include <sys/stat.h>
#endif

namespace quorvane::platform {

// All zero when unknown.
struct FileStamp {
  int64_t device = 0;
  int64_t inode = 0;
  int64_t size = 0;
  int64_t modified_ns = 0;  // nanoseconds since 1970
  int64_t changed_ns = 0;   // the inode's change time

  friend bool operator==(const FileStamp&, const FileStamp&) = default;
};

// The stamp of a file or folder, links followed. False when there is none, or where the system
// gives no inode and change time (Windows): callers then compare bytes instead.
bool StampOf(const std::filesystem::path& path, FileStamp* stamp);

#if defined(__unix__) || defined(__APPLE__)
// The stamp of what stat or fstat returned, for a caller that has made the call already.
FileStamp StampFromStat(const struct stat& info);
#endif

}  // namespace quorvane::platform
