#include "search/internal/regular_files.h"

#include <chrono>

#if defined(__unix__) || defined(__APPLE__)
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#else
#include <filesystem>
#endif

namespace quorvane::search::internal {

int64_t NowNs() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

#if defined(__unix__) || defined(__APPLE__)

bool ListRegularFiles(const std::string& folder, std::string* names, std::vector<size_t>* lengths,
                      bool* saw_links) {
  DIR* dir = ::opendir(folder.c_str());
  if (dir == nullptr) return false;
  if (saw_links != nullptr) *saw_links = false;
  std::string path;  // for the entries whose type the listing does not tell
  while (const dirent* entry = ::readdir(dir)) {
    const std::string_view name = entry->d_name;
    bool regular = entry->d_type == DT_REG;
    if (entry->d_type == DT_UNKNOWN || entry->d_type == DT_LNK) {
      if (saw_links != nullptr) *saw_links = true;
      path.assign(folder).append("/").append(name);
      struct stat info;
      regular = ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
    }
    if (regular) {
      names->append(name);
      lengths->push_back(name.size());
    }
  }
  ::closedir(dir);
  return true;
}

bool ReadRegularFile(const std::string& path, std::string* bytes, FileStamp* stamp) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  struct stat info;
  bool ok = ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode);
  if (ok) {
    if (stamp != nullptr) *stamp = platform::StampFromStat(info);
    bytes->resize(static_cast<size_t>(info.st_size));
    size_t got = 0;
    while (ok) {
      if (got == bytes->size()) bytes->resize(got + 4096);  // the file grew meanwhile
      const ssize_t n = ::read(fd, bytes->data() + got, bytes->size() - got);
      if (n < 0) ok = false;
      if (n <= 0) break;
      got += static_cast<size_t>(n);
    }
    bytes->resize(got);
    // A file that grew while it was read no longer has the stamp taken before.
    if (stamp != nullptr && got != static_cast<size_t>(info.st_size)) *stamp = FileStamp{};
  }
  ::close(fd);
  return ok;
}

#else

bool ReadRegularFile(const std::string&, std::string*, FileStamp*) { return false; }

bool ListRegularFiles(const std::string& folder, std::string* names, std::vector<size_t>* lengths,
                      bool* saw_links) {
  std::error_code ec;
  std::filesystem::directory_iterator it(std::filesystem::path(folder), ec), end;
  if (ec) return false;
  if (saw_links != nullptr) *saw_links = false;
  for (; it != end; it.increment(ec)) {
    if (saw_links != nullptr && it->is_symlink(ec)) *saw_links = true;
    if (it->is_regular_file(ec)) {
      const std::string name = it->path().filename().string();
      names->append(name);
      lengths->push_back(name.size());
    }
  }
  return !ec;
}

#endif

}  // namespace quorvane::search::internal
