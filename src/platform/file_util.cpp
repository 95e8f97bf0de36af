#include "platform/file_util.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <system_error>

#ifndef _WIN32
#include <fcntl.h>
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

#ifndef _WIN32

namespace {

// Writes `path` through a hidden temporary file in its folder: `fill` writes the content into
// the open descriptor and returns 0 or an errno value (with *fill_failed_on_read set when the
// fault was on the reading side, so the message names the right file).
template <typename Fill>
bool WriteThroughTemp(const fs::path& path, Fill fill, Flush flush, std::string* error) {
  const fs::path folder = path.has_parent_path() ? path.parent_path() : fs::path(".");
  std::string temp = (folder / ("." + path.filename().string() + ".XXXXXX")).string();
  const int fd = ::mkstemp(temp.data());
  if (fd < 0) {
    *error = WriteError(path, ErrorText(errno));
    return false;
  }
  auto fail = [&](std::string message) {
    ::close(fd);
    ::unlink(temp.c_str());
    *error = std::move(message);
    return false;
  };
  // Keep the mode an existing file had; a new file gets the usual 0666 less the umask.
  struct stat existing;
  mode_t mode;
  if (::stat(path.c_str(), &existing) == 0) {
    mode = existing.st_mode & 07777;
  } else {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    mode = 0666 & ~mask;
  }
  if (::fchmod(fd, mode) != 0) return fail(WriteError(path, ErrorText(errno)));
  std::string fill_error;
  if (!fill(fd, &fill_error)) return fail(std::move(fill_error));
  if (flush == Flush::kNow && ::fsync(fd) != 0) return fail(WriteError(path, ErrorText(errno)));
  if (::close(fd) != 0) {
    const int saved = errno;
    ::unlink(temp.c_str());
    *error = WriteError(path, ErrorText(saved));
    return false;
  }
  if (::rename(temp.c_str(), path.c_str()) != 0) {
    const int saved = errno;
    ::unlink(temp.c_str());
    *error = WriteError(path, ErrorText(saved));
    return false;
  }
  if (flush == Flush::kNow) SyncFolder(folder);
  return true;
}

bool WriteAll(int fd, const char* data, size_t size) {
  size_t done = 0;
  while (done < size) {
    const ssize_t n = ::write(fd, data + done, size - done);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    done += static_cast<size_t>(n);
  }
  return true;
}

}  // namespace

bool WriteFileAtomically(const fs::path& path, std::string_view bytes, std::string* error,
                         Flush flush) {
  return WriteThroughTemp(
      path,
      [&](int fd, std::string* fill_error) {
        if (WriteAll(fd, bytes.data(), bytes.size())) return true;
        *fill_error = WriteError(path, ErrorText(errno));
        return false;
      },
      flush, error);
}

bool FlushFile(const fs::path& path, std::string* error) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0 || ::fsync(fd) != 0) {
    const int saved = errno;
    if (fd >= 0) ::close(fd);
    *error = WriteError(path, ErrorText(saved));
    return false;
  }
  ::close(fd);
  SyncFolder(path.has_parent_path() ? path.parent_path() : fs::path("."));
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
  const bool ok = WriteThroughTemp(
      target,
      [&](int out, std::string* fill_error) {
  // The kernel copies (and may share extents) without the bytes passing through us;
  // file systems that cannot do that fall back to plain reads and writes.
#ifdef __linux__
        bool kernel_copy = true;
#else
        bool kernel_copy = false;
#endif
        char buffer[1 << 16];
        for (;;) {
          ssize_t n = -1;
          if (kernel_copy) {
#ifdef __linux__
            n = ::copy_file_range(in, nullptr, out, nullptr, size_t{1} << 30, 0);
            if (n < 0 &&
                (errno == EXDEV || errno == ENOSYS || errno == EINVAL || errno == EOPNOTSUPP)) {
              kernel_copy = false;
              continue;
            }
#endif
          } else {
            n = ::read(in, buffer, sizeof buffer);
            if (n > 0 && !WriteAll(out, buffer, static_cast<size_t>(n))) {
              *fill_error = WriteError(target, ErrorText(errno));
              return false;
            }
          }
          if (n == 0) return true;
          if (n < 0) {
            if (errno == EINTR) continue;
            // A failing read names the source; copy_file_range cannot tell, so it names both.
            *fill_error = kernel_copy ? WriteError(target, ErrorText(errno))
                                      : ReadError(source, ErrorText(errno));
            return false;
          }
        }
      },
      flush, error);
  ::close(in);
  return ok;
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

bool WriteFileAtomically(const fs::path& path, std::string_view bytes, std::string* error, Flush) {
  fs::path temp = path;
  temp += ".tmp";
  std::FILE* file = _wfopen(temp.c_str(), L"wbc");  // "c": fflush commits to disk
  if (file == nullptr) {
    *error = WriteError(path, ErrorText(errno));
    return false;
  }
  const bool written =
      std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size() && std::fflush(file) == 0;
  const int saved = errno;
  std::fclose(file);
  std::error_code ec;
  if (!written) {
    fs::remove(temp, ec);
    *error = WriteError(path, ErrorText(saved));
    return false;
  }
  fs::rename(temp, path, ec);
  if (ec) {
    fs::remove(temp, ec);
    *error = WriteError(path, ec.message());
    return false;
  }
  return true;
}

bool CopyFileAtomically(const fs::path& source, const fs::path& target, std::string* error,
                        Flush flush) {
  std::string bytes;
  return ReadWholeFile(source, &bytes, error) && WriteFileAtomically(target, bytes, error, flush);
}

// Every write above commits on close.
bool FlushFile(const fs::path&, std::string*) { return true; }

bool ExchangeFiles(const fs::path& a, const fs::path& b, std::string* error) {
  if (const int moved = MoveWhenOneIsMissing(a, b, error); moved >= 0) return moved == 1;
  return ExchangeByRenames(a, b, error);
}

#endif

}  // namespace quorvane::platform
