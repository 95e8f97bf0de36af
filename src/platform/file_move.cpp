#include "platform/file_move.h"

#include <cerrno>

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>
#endif

#include "platform/file_util.h"

namespace quorvane::platform {
namespace fs = std::filesystem;

namespace {

std::string MoveError(const fs::path& from, const fs::path& to, const std::string& reason) {
  return "Unable to move \"" + from.string() + "\" to \"" + to.string() + "\": " + reason;
}

}  // namespace

#ifdef _WIN32

MoveResult MoveFileNoReplace(const fs::path& from, const fs::path& to, std::string* error) {
  // Without MOVEFILE_REPLACE_EXISTING the move fails when the target exists.
  if (::MoveFileExW(from.c_str(), to.c_str(), 0)) return MoveResult::kMoved;
  const DWORD why = ::GetLastError();
  if (why == ERROR_ALREADY_EXISTS || why == ERROR_FILE_EXISTS) return MoveResult::kTargetExists;
  *error = MoveError(from, to, "error " + std::to_string(why));
  return MoveResult::kFailed;
}

#else

namespace {

// For file systems without a no-replace rename: link() refuses an existing target as well.
MoveResult MoveByLink(const fs::path& from, const fs::path& to, std::string* error) {
  if (::link(from.c_str(), to.c_str()) != 0) {
    if (errno == EEXIST) return MoveResult::kTargetExists;
    *error = MoveError(from, to, ErrorText(errno));
    return MoveResult::kFailed;
  }
  // The file is in place under its new name; a leftover old name costs space, not data.
  (void)::unlink(from.c_str());
  return MoveResult::kMoved;
}

}  // namespace

MoveResult MoveFileNoReplace(const fs::path& from, const fs::path& to, std::string* error) {
#ifdef RENAME_NOREPLACE
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
    return MoveResult::kMoved;
  }
  if (errno == EEXIST) return MoveResult::kTargetExists;
  // File systems that do not know the flag say EINVAL; anything else is a real failure.
  if (errno != EINVAL && errno != ENOSYS) {
    *error = MoveError(from, to, ErrorText(errno));
    return MoveResult::kFailed;
  }
#endif
  return MoveByLink(from, to, error);
}

#endif

}  // namespace quorvane::platform
