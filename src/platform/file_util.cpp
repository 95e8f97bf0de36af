#include "platform/file_util.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <system_error>
#include <utility>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>
#else
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace quorvane::platform {
namespace fs = std::filesystem;

namespace {

std::string ReadError(const fs::path& path, const std::string& reason) {
  return "Unable to read \"" + path.string() + "\": " + reason;
}

std::string WriteError(const fs::path& path, const std::string& reason) {
  return "Unable to write \"" + path.string() + "\": " + reason;
}

}  // namespace

namespace {

// Makes renames in `folder` durable; a failure cannot undo them, so it is ignored.
void SyncFolder([[maybe_unused]] const fs::path& folder) {
#ifndef _WIN32
  const int dir_fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dir_fd >= 0) {
    ::fsync(dir_fd);
    ::close(dir_fd);
  }
#endif
}

// Swaps two files through a third name: a -> temp, b -> a, temp -> b, undoing on failure.
[[maybe_unused]] bool ExchangeByRenames(const fs::path& a, const fs::path& b, std::string* error) {
  fs::path temp = a;
  temp += ".exchange";
  std::error_code ec;
  auto failed = [&](const std::error_code& why) {
    *error =
        "Unable to exchange \"" + a.string() + "\" and \"" + b.string() + "\": " + why.message();
    return false;
  };
  fs::rename(a, temp, ec);
  if (ec) return failed(ec);
  fs::rename(b, a, ec);
  if (ec) {
    std::error_code ignored;
    fs::rename(temp, a, ignored);
    return failed(ec);
  }
  fs::rename(temp, b, ec);
  if (ec) {
    std::error_code ignored;
    fs::rename(a, b, ignored);
    fs::rename(temp, a, ignored);
    return failed(ec);
  }
  SyncFolder(a.has_parent_path() ? a.parent_path() : fs::path("."));
  return true;
}

// Swapping with a file that does not exist moves the other one over. Returns 1 when done that
// way, 0 on failure (with *error), -1 when both files exist and a real exchange is needed.
int MoveWhenOneIsMissing(const fs::path& a, const fs::path& b, std::string* error) {
  std::error_code ec;
  const bool has_a = fs::exists(fs::symlink_status(a, ec));
  const bool has_b = fs::exists(fs::symlink_status(b, ec));
  if (has_a && has_b) return -1;
  if (!has_a && !has_b) return 1;
  fs::rename(has_a ? a : b, has_a ? b : a, ec);
  if (ec) {
    *error =
        "Unable to exchange \"" + a.string() + "\" and \"" + b.string() + "\": " + ec.message();
    return 0;
  }
  SyncFolder(a.has_parent_path() ? a.parent_path() : fs::path("."));
  return 1;
}

}  // namespace

std::string ErrorText(int error_number) { return std::generic_category().message(error_number); }

bool IsRegularFile(const fs::path& path) {
  std::error_code ec;
  return fs::is_regular_file(path, ec);
}

bool ReadWholeFile(const fs::path& path, std::string* bytes, std::string* error) {
  // A folder opens fine on some systems and then reports a nonsensical size.
  std::error_code ec;
  if (fs::is_directory(path, ec)) {
    *error = ReadError(path, ErrorText(EISDIR));
    return false;
  }
  std::FILE* file = std::fopen(path.string().c_str(), "rb");
  if (file == nullptr) {
    *error = ReadError(path, ErrorText(errno));
    return false;
  }
  std::string data;
  const auto size = fs::file_size(path, ec);
  if (!ec && size < (size_t{1} << 32)) data.reserve(static_cast<size_t>(size));
  char chunk[65536];
  size_t got;
  while ((got = std::fread(chunk, 1, sizeof chunk, file)) > 0) data.append(chunk, got);
  const bool failed = std::ferror(file) != 0;
  const int saved_errno = errno;
  std::fclose(file);
  if (failed) {
    *error = ReadError(path, ErrorText(saved_errno));
    return false;
  }
  *bytes = std::move(data);
  return true;
}

namespace {

// Hidden names for the temporary files of one target. They are few and fixed, so a writer
// finds what a killed one left behind by probing them instead of listing the folder.
constexpr int kTempSlots = 16;

fs::path FolderOf(const fs::path& path) {
  return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

fs::path TempSlot(const fs::path& target, int slot) {
  fs::path name = ".";
  name += target.filename();
  name += ".qvtmp";
  name += std::to_string(slot);
  return FolderOf(target) / name;
}

}  // namespace

AtomicFile::AtomicFile(AtomicFile&& other) noexcept
    : target_(std::move(other.target_)),
      temp_(std::move(other.temp_)),
      fd_(std::exchange(other.fd_, -1)),
      keeps_mode_(other.keeps_mode_),
      mode_(other.mode_) {}

AtomicFile& AtomicFile::operator=(AtomicFile&& other) noexcept {
  if (this != &other) {
    Discard();
    target_ = std::move(other.target_);
    temp_ = std::move(other.temp_);
    fd_ = std::exchange(other.fd_, -1);
    keeps_mode_ = other.keeps_mode_;
    mode_ = other.mode_;
  }
  return *this;
}

bool WriteFileAtomically(const fs::path& path, std::string_view bytes, std::string* error,
                         Flush flush) {
  AtomicFile file;
  return file.Open(path, error) && file.Write(bytes.data(), bytes.size(), error) &&
         file.Commit(flush, error);
}

#ifndef _WIN32

namespace {

bool IsSameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// Removes the temporary file at `path` when the writer that made it has ended: a live writer
// holds it locked until it is renamed or removed, and the system drops the lock of a process
// that was killed. True when the name is free now.
bool RemoveIfAbandoned(const fs::path& path) {
  // O_NONBLOCK: something planted under the name (a fifo) must not hang the writer.
  const int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return errno == ENOENT;
  bool removed = false;
  struct stat held, named;
  if (::flock(fd, LOCK_EX | LOCK_NB) == 0 && ::fstat(fd, &held) == 0 && S_ISREG(held.st_mode) &&
      ::lstat(path.c_str(), &named) == 0 && IsSameFile(held, named)) {
    removed = ::unlink(path.c_str()) == 0;
  }
  ::close(fd);
  return removed;
}

bool Lock(int fd) {
  while (::flock(fd, LOCK_EX) != 0) {
    if (errno != EINTR) return false;
  }
  return true;
}

// Locks a file this writer just made under `path`. A cleaner may have taken the name away
// between the two steps (it saw an unlocked file); then the name no longer leads to it.
bool LockOwnFile(int fd, const fs::path& path) {
  struct stat held, named;
  return Lock(fd) && ::fstat(fd, &held) == 0 && ::lstat(path.c_str(), &named) == 0 &&
         IsSameFile(held, named);
}

#ifdef O_TMPFILE
// A file opened with O_TMPFILE gets a name through its /proc entry, so both must be there.
bool CanUseNamelessFiles() {
  static const bool usable = ::access("/proc/self/fd", X_OK) == 0;
  return usable;
}
#endif

}  // namespace

bool AtomicFile::Open(const fs::path& target, std::string* error) {
  Discard();
  target_ = target;
  struct stat existing;
  keeps_mode_ = ::stat(target.c_str(), &existing) == 0;
  mode_ = keeps_mode_ ? existing.st_mode & 07777 : 0;
  // A file replacing one of restricted mode stays private until Commit gives it that mode;
  // a new file gets the usual 0666 less the umask from the system.
  const mode_t create_mode = keeps_mode_ ? 0600 : 0666;
  for (int slot = 0; slot < kTempSlots; ++slot) {
    const fs::path name = TempSlot(target, slot);
    struct stat left;
    if (::lstat(name.c_str(), &left) == 0) RemoveIfAbandoned(name);
  }
#ifdef O_TMPFILE
  if (CanUseNamelessFiles()) {
    fd_ = ::open(FolderOf(target).c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, create_mode);
    if (fd_ >= 0) {
      // Locked before it gets a name in Commit, so no cleaner ever takes it for abandoned.
      if (Lock(fd_)) return true;
      Discard();
    } else if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL) {
      *error = WriteError(target, ErrorText(errno));
      return false;
    }
  }
#endif
  for (int slot = 0; slot < kTempSlots; ++slot) {
    const fs::path name = TempSlot(target, slot);
    const int fd = ::open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, create_mode);
    if (fd < 0) {
      if (errno == EEXIST) continue;  // another writer's
      *error = WriteError(target, ErrorText(errno));
      return false;
    }
    if (LockOwnFile(fd, name)) {
      fd_ = fd;
      temp_ = name;
      return true;
    }
    ::close(fd);
  }
  *error = WriteError(target, "too many unfinished writes of this file");
  return false;
}

bool AtomicFile::Write(const void* data, size_t size, std::string* error) {
  const char* bytes = static_cast<const char*>(data);
  size_t done = 0;
  while (done < size) {
    const ssize_t n = ::write(fd_, bytes + done, size - done);
    if (n < 0) {
      if (errno == EINTR) continue;
      *error = WriteError(target_, ErrorText(errno));
      return false;
    }
    done += static_cast<size_t>(n);
  }
  return true;
}

bool AtomicFile::Seek(uint64_t offset, std::string* error) {
  if (::lseek(fd_, static_cast<off_t>(offset), SEEK_SET) >= 0) return true;
  *error = WriteError(target_, ErrorText(errno));
  return false;
}

int64_t AtomicFile::Position(std::string* error) {
  const off_t at = ::lseek(fd_, 0, SEEK_CUR);
  if (at < 0) *error = WriteError(target_, ErrorText(errno));
  return at;
}

bool AtomicFile::Commit(Flush flush, std::string* error) {
  auto fail = [&](int error_number) {
    *error = WriteError(target_, ErrorText(error_number));
    Discard();
    return false;
  };
  if (keeps_mode_ && ::fchmod(fd_, static_cast<mode_t>(mode_)) != 0) return fail(errno);
  if (flush == Flush::kNow && ::fsync(fd_) != 0) return fail(errno);
  if (temp_.empty()) {
    // A nameless file needs a name to be renamed over the target (a link cannot replace it).
    const std::string self = "/proc/self/fd/" + std::to_string(fd_);
    for (int slot = 0; slot < kTempSlots && temp_.empty(); ++slot) {
      const fs::path name = TempSlot(target_, slot);
      if (::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0) {
        temp_ = name;
      } else if (errno != EEXIST) {
        return fail(errno);
      }
    }
    if (temp_.empty()) return fail(EEXIST);
  }
  if (::rename(temp_.c_str(), target_.c_str()) != 0) return fail(errno);
  temp_.clear();
  if (flush == Flush::kNow) SyncFolder(FolderOf(target_));
  // Closed only now: the lock keeps cleaners off the temporary name until it is gone.
  ::close(std::exchange(fd_, -1));
  return true;
}

void AtomicFile::Discard() {
  if (fd_ < 0) return;
  if (!temp_.empty()) ::unlink(temp_.c_str());
  temp_.clear();
  ::close(std::exchange(fd_, -1));
}

namespace {

bool SyncFile(const fs::path& path, std::string* error) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0 || ::fsync(fd) != 0) {
    const int saved = errno;
    if (fd >= 0) ::close(fd);
    *error = WriteError(path, ErrorText(saved));
    return false;
  }
  ::close(fd);
  return true;
}

}  // namespace

bool FlushFile(const fs::path& path, std::string* error) {
  if (!SyncFile(path, error)) return false;
  SyncFolder(FolderOf(path));
  return true;
}

bool FlushFiles(const std::vector<fs::path>& paths, std::string* error) {
  std::vector<fs::path> folders;
  for (const fs::path& path : paths) {
    if (!SyncFile(path, error)) return false;
    fs::path folder = FolderOf(path);
    if (std::find(folders.begin(), folders.end(), folder) == folders.end()) {
      folders.push_back(std::move(folder));
    }
  }
  for (const fs::path& folder : folders) SyncFolder(folder);
  return true;
}

bool CopyFileAtomically(const fs::path& source, const fs::path& target, std::string* error,
                        Flush flush) {
  const int in = ::open(source.c_str(), O_RDONLY | O_CLOEXEC);
  if (in < 0) {
    *error = ReadError(source, ErrorText(errno));
    return false;
  }
  struct stat info;
  if (::fstat(in, &info) != 0 || !S_ISREG(info.st_mode)) {
    const int saved = S_ISDIR(info.st_mode) ? EISDIR : errno;
    ::close(in);
    *error = ReadError(source, ErrorText(saved));
    return false;
  }
  AtomicFile out;
  bool ok = out.Open(target, error);
  // The kernel copies (and may share extents) without the bytes passing through us; file
  // systems that cannot do that fall back to plain reads and writes.
#ifdef __linux__
  bool kernel_copy = true;
#else
  bool kernel_copy = false;
#endif
  char buffer[1 << 16];
  while (ok) {
    ssize_t n = -1;
    if (kernel_copy) {
#ifdef __linux__
      n = ::copy_file_range(in, nullptr, out.descriptor(), nullptr, size_t{1} << 30, 0);
      if (n < 0 && (errno == EXDEV || errno == ENOSYS || errno == EINVAL || errno == EOPNOTSUPP)) {
        kernel_copy = false;
        continue;
      }
#endif
    } else {
      n = ::read(in, buffer, sizeof buffer);
      if (n > 0) ok = out.Write(buffer, static_cast<size_t>(n), error);
    }
    if (n == 0) break;
    if (n < 0) {
      if (errno == EINTR) continue;
      // A failing read names the source; copy_file_range cannot tell, so it names the target.
      *error =
          kernel_copy ? WriteError(target, ErrorText(errno)) : ReadError(source, ErrorText(errno));
      ok = false;
    }
  }
  ::close(in);
  return ok && out.Commit(flush, error);
}

bool ExchangeFiles(const fs::path& a, const fs::path& b, std::string* error) {
  if (const int moved = MoveWhenOneIsMissing(a, b, error); moved >= 0) return moved == 1;
#ifdef RENAME_EXCHANGE
  if (::renameat2(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str(), RENAME_EXCHANGE) == 0) {
    SyncFolder(a.has_parent_path() ? a.parent_path() : fs::path("."));
    return true;
  }
  // File systems without the atomic exchange say EINVAL; anything else is a real failure.
  if (errno != EINVAL && errno != ENOSYS) {
    *error =
        "Unable to exchange \"" + a.string() + "\" and \"" + b.string() + "\": " + ErrorText(errno);
    return false;
  }
#endif
  return ExchangeByRenames(a, b, error);
}

#else  // Windows: std::filesystem::rename replaces the target with MoveFileEx.

// A temporary file is opened without sharing its deletion, so a file that can be deleted has
// no writer left.
bool AtomicFile::Open(const fs::path& target, std::string* error) {
  Discard();
  target_ = target;
  keeps_mode_ = false;
  for (int slot = 0; slot < kTempSlots; ++slot) {
    std::error_code ignored;
    fs::remove(TempSlot(target, slot), ignored);
  }
  for (int slot = 0; slot < kTempSlots; ++slot) {
    const fs::path name = TempSlot(target, slot);
    int fd = -1;
    const errno_t failed =
        ::_wsopen_s(&fd, name.c_str(), _O_RDWR | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT,
                    _SH_DENYNO, _S_IREAD | _S_IWRITE);
    if (failed == EEXIST) continue;
    if (failed != 0) {
      *error = WriteError(target, ErrorText(failed));
      return false;
    }
    fd_ = fd;
    temp_ = name;
    return true;
  }
  *error = WriteError(target, "too many unfinished writes of this file");
  return false;
}

bool AtomicFile::Write(const void* data, size_t size, std::string* error) {
  const char* bytes = static_cast<const char*>(data);
  while (size > 0) {
    const unsigned chunk = static_cast<unsigned>(std::min<size_t>(size, 1u << 30));
    const int n = ::_write(fd_, bytes, chunk);
    if (n < 0) {
      *error = WriteError(target_, ErrorText(errno));
      return false;
    }
    bytes += n;
    size -= static_cast<size_t>(n);
  }
  return true;
}

bool AtomicFile::Seek(uint64_t offset, std::string* error) {
  if (::_lseeki64(fd_, static_cast<__int64>(offset), SEEK_SET) >= 0) return true;
  *error = WriteError(target_, ErrorText(errno));
  return false;
}

int64_t AtomicFile::Position(std::string* error) {
  const __int64 at = ::_telli64(fd_);
  if (at < 0) *error = WriteError(target_, ErrorText(errno));
  return at;
}

bool AtomicFile::Commit(Flush flush, std::string* error) {
  if (flush == Flush::kNow && ::_commit(fd_) != 0) {
    *error = WriteError(target_, ErrorText(errno));
    Discard();
    return false;
  }
  // Windows renames no file that is open.
  ::_close(std::exchange(fd_, -1));
  std::error_code ec;
  fs::rename(temp_, target_, ec);
  if (ec) {
    fs::remove(temp_, ec);
    temp_.clear();
    *error = WriteError(target_, ec.message());
    return false;
  }
  temp_.clear();
  return true;
}

void AtomicFile::Discard() {
  if (fd_ < 0) return;
  ::_close(std::exchange(fd_, -1));
  std::error_code ignored;
  fs::remove(temp_, ignored);
  temp_.clear();
}

bool CopyFileAtomically(const fs::path& source, const fs::path& target, std::string* error,
                        Flush flush) {
  std::error_code ec;
  if (fs::is_directory(source, ec)) {
    *error = ReadError(source, ErrorText(EISDIR));
    return false;
  }
  std::FILE* in = _wfopen(source.c_str(), L"rb");
  if (in == nullptr) {
    *error = ReadError(source, ErrorText(errno));
    return false;
  }
  AtomicFile out;
  bool ok = out.Open(target, error);
  char buffer[1 << 16];
  size_t got;
  while (ok && (got = std::fread(buffer, 1, sizeof buffer, in)) > 0) {
    ok = out.Write(buffer, got, error);
  }
  if (ok && std::ferror(in)) {
    *error = ReadError(source, ErrorText(errno));
    ok = false;
  }
  std::fclose(in);
  return ok && out.Commit(flush, error);
}

// Every write above commits on close.
bool FlushFile(const fs::path&, std::string*) { return true; }
bool FlushFiles(const std::vector<fs::path>&, std::string*) { return true; }

bool ExchangeFiles(const fs::path& a, const fs::path& b, std::string* error) {
  if (const int moved = MoveWhenOneIsMissing(a, b, error); moved >= 0) return moved == 1;
  return ExchangeByRenames(a, b, error);
}

#endif

}  // namespace quorvane::platform
