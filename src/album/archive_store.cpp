#include "album/archive_store.h"

#include <cerrno>
#include <random>
#include <system_error>

#include "platform/file_util.h"

#ifndef _WIN32
#include <stdlib.h>
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

}  // namespace

std::unique_ptr<ArchiveStore> ArchiveStore::Open(const fs::path& archive,
                                                 const ArchiveLimits& limits, std::string* error) {
  fs::path working_copy;
  if (!MakeWorkingCopyFolder(&working_copy, error)) return nullptr;
  if (!UnpackArchive(archive, working_copy, limits, error)) {
    std::error_code ec;
    fs::remove_all(working_copy, ec);
    return nullptr;
  }
  std::error_code ec;
  fs::path absolute = fs::absolute(archive, ec);
  return std::unique_ptr<ArchiveStore>(
      new ArchiveStore(ec ? archive : std::move(absolute), std::move(working_copy)));
}

ArchiveStore::~ArchiveStore() {
  std::error_code ec;
  fs::remove_all(folder(), ec);
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
