#include "album/archive_store.h"

#include <cerrno>
#include <ctime>
#include <random>
#include <system_error>

#include "platform/file_util.h"

#ifndef _WIN32
#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace quorvane::album {
namespace fs = std::filesystem;

namespace {

// A new, empty folder "qvo" + random letters under the temporary folder, private to the user
// because it holds the album's photos.
bool MakeWorkingCopyFolder(fs::path* made, std::string* error) {
  std::error_code ec;
  const fs::path base = fs::temp_directory_path(ec);
  if (ec) {
    *error = "Unable to find the temporary folder: " + ec.message();
    return false;
  }
#ifndef _WIN32
  std::string pattern = (base / "qvoXXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) {
    *error = "Unable to create a working folder in \"" + base.string() +
             "\": " + platform::ErrorText(errno);
    return false;
  }
  *made = pattern;
  return true;
#else
  std::random_device random;
  for (int attempt = 0; attempt < 100; ++attempt) {
    const fs::path candidate = base / ("qvo" + std::to_string(random()));
    if (fs::create_directory(candidate, ec)) {
      *made = candidate;
      return true;
    }
  }
  *error = "Unable to create a working folder in \"" + base.string() + "\": " + ec.message();
  return false;
#endif
}

#ifndef _WIN32

// While a store is open its process holds a lock on the working copy's folder; the system
// drops the lock when the process ends, however it ends. Returns the open folder (-1 when it
// cannot be locked).
int LockWorkingCopy(const fs::path& folder) {
  const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd >= 0 && ::flock(fd, LOCK_EX | LOCK_NB) != 0) {
    ::close(fd);
    return -1;
  }
  return fd;
}

// Removes the working copies that programs which ended without closing their archive left
// behind: folders of ours by name, owner and mode that no process holds locked, untouched
// for a while (so a folder another process has only just made is never taken).
void RemoveAbandonedWorkingCopies(const fs::path& base) {
  constexpr int kQuietSeconds = 600;
  std::error_code ec;
  for (fs::directory_iterator it(base, ec), end; !ec && it != end; it.increment(ec)) {
    const std::string name = it->path().filename().string();
    if (name.size() != 9 || name.compare(0, 3, "qvo") != 0) continue;
    struct stat info;
    if (::lstat(it->path().c_str(), &info) != 0 || !S_ISDIR(info.st_mode) ||
        info.st_uid != ::getuid() || (info.st_mode & 07777) != 0700 ||
        info.st_mtime > ::time(nullptr) - kQuietSeconds) {
      continue;
    }
    const int fd = LockWorkingCopy(it->path());
    if (fd < 0) continue;  // in use
    std::error_code ignored;
    fs::remove_all(it->path(), ignored);
    ::close(fd);
  }
}

#endif

}  // namespace

std::unique_ptr<ArchiveStore> ArchiveStore::Open(const fs::path& archive,
                                                 const ArchiveLimits& limits, std::string* error) {
  fs::path working_copy;
  if (!MakeWorkingCopyFolder(&working_copy, error)) return nullptr;
  int lock = -1;
#ifndef _WIN32
  lock = LockWorkingCopy(working_copy);
  RemoveAbandonedWorkingCopies(working_copy.parent_path());
#endif
  std::error_code ec;
  if (!UnpackArchive(archive, working_copy, limits, error)) {
    fs::remove_all(working_copy, ec);
#ifndef _WIN32
    if (lock >= 0) ::close(lock);
#endif
    return nullptr;
  }
  fs::path absolute = fs::absolute(archive, ec);
  return std::unique_ptr<ArchiveStore>(
      new ArchiveStore(ec ? archive : std::move(absolute), std::move(working_copy), lock));
}

ArchiveStore::~ArchiveStore() {
  std::error_code ec;
  fs::remove_all(folder(), ec);
#ifndef _WIN32
  if (lock_ >= 0) ::close(lock_);
#endif
}

bool ArchiveStore::Commit(const std::vector<std::string>& leave_out) {
  PackOptions options = pack_options_;
  options.leave_out = leave_out;
  std::string error;
  if (PackAlbumFolder(folder(), archive_, options, &error)) return true;
  set_last_error(std::move(error));
  return false;
}

}  // namespace quorvane::album
