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

bool WriteFileAtomically(const fs::path& path, std::string_view bytes, std::string* error) {
  const fs::path folder = path.has_parent_path() ? path.parent_path() : fs::path(".");
  std::string temp = (folder / ("." + path.filename().string() + ".XXXXXX")).string();
  const int fd = ::mkstemp(temp.data());
  if (fd < 0) {
    *error = WriteError(path, ErrorText(errno));
    return false;
  }
  auto fail = [&](int error_number) {
    ::close(fd);
    ::unlink(temp.c_str());
    *error = WriteError(path, ErrorText(error_number));
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
  if (::fchmod(fd, mode) != 0) return fail(errno);
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0) {
      if (errno == EINTR) continue;
      return fail(errno);
    }
    done += static_cast<size_t>(n);
  }
  if (::fsync(fd) != 0) return fail(errno);
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
  // Make the rename itself durable; a failure here cannot undo the write, so it is ignored.
  const int dir_fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY);
  if (dir_fd >= 0) {
    ::fsync(dir_fd);
    ::close(dir_fd);
  }
  return true;
}

#else  // Windows: std::filesystem::rename replaces the target with MoveFileEx.

bool WriteFileAtomically(const fs::path& path, std::string_view bytes, std::string* error) {
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

#endif

}  // namespace quorvane::platform
