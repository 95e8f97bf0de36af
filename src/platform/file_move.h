// Moving a file to a name that must still be free: how a new file takes its place in a folder
// other programs write to at the same time, without ever replacing a file one of them has
// just made under the same name.
#pragma once

#include <filesystem>
#include <string>

namespace quorvane::platform {

enum class MoveResult { kMoved, kTargetExists, kFailed };

// Renames `from` to `to` in one step unless `to` exists, in which case nothing changes and
// the answer is kTargetExists. Both must be on one file system. Uses the system's
// no-replace rename (a hard link and an unlink where the file system lacks it). On kFailed
// sets *error to "Unable to move \"<from>\" to \"<to>\": <reason>"; `from` is left as it was.
// Thread-safe; makes nothing durable (flush the folder afterwards).
MoveResult MoveFileNoReplace(const std::filesystem::path& from, const std::filesystem::path& to,
                             std::string* error);

}  // namespace quorvane::platform
