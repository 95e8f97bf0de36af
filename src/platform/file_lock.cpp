#include "platform/file_lock.h"

#include <thread>
#include <utility>

#ifdef _WIN32
#include <windows.h>
#else
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

#include "platform/file_util.h"

namespace quorvane::platform {
namespace fs = std::filesystem;

namespace {

// Short at first, so an uncontended wait ends at once, then at most 50 ms between tries.
std::chrono::milliseconds NextPause(std::chrono::milliseconds pause) {
  return std::min(pause * 2, std::chrono::milliseconds(50));
}

std::string InUseError(const fs::path& path) {
  return "\"" + path.string() + "\" is in use by another program";
}

}  // namespace

FileLock::FileLock(FileLock&& other) noexcept : handle_(std::exchange(other.handle_, kNoHandle)) {}

FileLock& FileLock::operator=(FileLock&& other) noexcept {
  if (this != &other) {
    Release();
    handle_ = std::exchange(other.handle_, kNoHandle);
  }
  return *this;
}

#ifdef _WIN32

bool FileLock::Acquire(const fs::path& path, Mode mode, std::chrono::milliseconds wait,
                       std::string* error) {
  Release();
  std::error_code ec;
  const fs::path target = fs::is_directory(path, ec) ? path / ".quorvane.lock" : path;
  HANDLE file = ::CreateFileW(target.c_str(), GENERIC_READ | GENERIC_WRITE,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                              OPEN_ALWAYS, FILE_ATTRIBUTE_HIDDEN, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    *error = "Unable to lock \"" + path.string() + "\": error " + std::to_string(::GetLastError());
    return false;
  }
  const DWORD flags =
      LOCKFILE_FAIL_IMMEDIATELY | (mode == Mode::kExclusive ? LOCKFILE_EXCLUSIVE_LOCK : 0);
  const auto deadline = std::chrono::steady_clock::now() + wait;
  std::chrono::milliseconds pause(1);
  for (;;) {
    // The locked byte lies far past the end of any file: Windows keeps every handle, the
    // holder's other ones included, from reading a locked range, and a locked file is read.
    OVERLAPPED overlapped = {};
    overlapped.OffsetHigh = 0x7FFFFFFF;
    if (::LockFileEx(file, flags, 0, 1, 0, &overlapped)) break;
    if (::GetLastError() != ERROR_LOCK_VIOLATION || std::chrono::steady_clock::now() >= deadline) {
      ::CloseHandle(file);
      *error = InUseError(path);
      return false;
    }
    std::this_thread::sleep_for(pause);
    pause = NextPause(pause);
  }
  handle_ = file;
  return true;
}

void FileLock::Release() {
  if (handle_ != kNoHandle) ::CloseHandle(static_cast<HANDLE>(std::exchange(handle_, kNoHandle)));
}

bool FileLock::Holds(const fs::path& path) const {
  if (handle_ == kNoHandle) return false;
  std::error_code ec;
  if (fs::is_directory(path, ec)) return false;  // a folder is held through a file inside it
  HANDLE file =
      ::CreateFileW(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  BY_HANDLE_FILE_INFORMATION named = {};
  BY_HANDLE_FILE_INFORMATION held = {};
  const bool same = ::GetFileInformationByHandle(file, &named) &&
                    ::GetFileInformationByHandle(static_cast<HANDLE>(handle_), &held) &&
                    named.dwVolumeSerialNumber == held.dwVolumeSerialNumber &&
                    named.nFileIndexHigh == held.nFileIndexHigh &&
                    named.nFileIndexLow == held.nFileIndexLow;
  ::CloseHandle(file);
  return same;
}

#else

bool FileLock::Acquire(const fs::path& path, Mode mode, std::chrono::milliseconds wait,
                       std::string* error) {
  Release();
  std::error_code ec;
  const int fd = fs::is_directory(path, ec)
                     ? ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)
                     : ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) {
    *error = "Unable to lock \"" + path.string() + "\": " + ErrorText(errno);
    return false;
  }
  // flock locks belong to the open file, not the process: two handles of one process exclude
  // each other, which is what a desktop program with the same album open twice needs.
  const int operation = (mode == Mode::kExclusive ? LOCK_EX : LOCK_SH) | LOCK_NB;
  const auto deadline = std::chrono::steady_clock::now() + wait;
  std::chrono::milliseconds pause(1);
  while (::flock(fd, operation) != 0) {
    const int why = errno;
    if (why == EINTR) continue;
    if (why != EWOULDBLOCK || std::chrono::steady_clock::now() >= deadline) {
      ::close(fd);
      *error = why == EWOULDBLOCK ? InUseError(path)
                                  : "Unable to lock \"" + path.string() + "\": " + ErrorText(why);
      return false;
    }
    std::this_thread::sleep_for(pause);
    pause = NextPause(pause);
  }
  handle_ = fd;
  return true;
}

void FileLock::Release() {
  if (handle_ != kNoHandle) ::close(std::exchange(handle_, kNoHandle));
}

bool FileLock::Holds(const fs::path& path) const {
  struct stat named;
  struct stat held;
  return handle_ != kNoHandle && ::stat(path.c_str(), &named) == 0 &&
         ::fstat(handle_, &held) == 0 && named.st_dev == held.st_dev && named.st_ino == held.st_ino;
}

#endif

}  // namespace quorvane::platform
