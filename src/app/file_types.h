// The "initialize" switch: registers the program's file types with the desktop. On Linux the
// desktop entry, the shared-mime-info package and the icon go under the user's data folder and
// the desktop's caches are refreshed; on Windows the ProgIDs go under the user's classes key.
#pragma once

#include <string>

namespace quorvane::app {

// Registers the types for the running program. False with *error when a file or key could
// not be written; refreshing the desktop's caches is best effort (the tools may be missing).
bool RegisterFileTypes(std::string* error);

}  // namespace quorvane::app
