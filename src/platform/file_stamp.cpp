#include "platform/file_stamp.h"

namespace quorvane::platform {

#if defined(__unix__) || defined(__APPLE__)

namespace {

int64_t Nanoseconds(const struct timespec& time) {
  return static_cast<int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

}  // namespace

FileStamp StampFromStat(const struct stat& info) {
  FileStamp stamp;
  stamp.device = static_cast<int64_t>(info.st_dev);
  stamp.inode = static_cast<int64_t>(info.st_ino);
  stamp.size = static_cast<int64_t>(info.st_size);
#if defined(__APPLE__)
  stamp.modified_ns = Nanoseconds(info.st_mtimespec);
  stamp.changed_ns = Nanoseconds(info.st_ctimespec);
#else
  stamp.modified_ns = Nanoseconds(info.st_mtim);
  stamp.changed_ns = Nanoseconds(info.st_ctim);
#endif
  return stamp;
}

bool StampOf(const std::filesystem::path& path, FileStamp* stamp) {
  struct stat info;
  if (::stat(path.c_str(), &info) != 0) return false;
  *stamp = StampFromStat(info);
  return true;
}

#else

bool StampOf(const std::filesystem::path&, FileStamp*) { return false; }

#endif

}  // namespace quorvane::platform
