#include "platform/file_time.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace quorvane::platform {

#if defined(_WIN32)

bool ReadFileWriteTime(const std::filesystem::path& path, uint64_t* ticks) {
  HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  FILETIME written;
  const bool ok = GetFileTime(file, nullptr, nullptr, &written) != 0;
  CloseHandle(file);
  if (ok) *ticks = uint64_t{written.dwHighDateTime} << 32 | written.dwLowDateTime;
  return ok;
}

#else

bool ReadFileWriteTime(const std::filesystem::path& path, uint64_t* ticks) {
  // Seconds from 1601-01-01 to the Unix epoch.
  constexpr int64_t kEpochOffsetSeconds = 11'644'473'600;
  // Non-blocking, so a FIFO where a photo used to be cannot hang the caller.
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return false;
  struct stat info;
  const bool ok = ::fstat(fd, &info) == 0;
  ::close(fd);
  if (!ok) return false;
  const int64_t seconds = static_cast<int64_t>(info.st_mtim.tv_sec) + kEpochOffsetSeconds;
  if (seconds < 0) return false;
  *ticks = static_cast<uint64_t>(seconds) * 10'000'000u +
           static_cast<uint64_t>(info.st_mtim.tv_nsec) / 100u;
  return true;
}

#endif

}  // namespace quorvane::platform
