// The names of a folder's regular files (symbolic links followed), listed the cheapest way
// the platform offers: on POSIX systems one directory read with the entry types it returns,
// elsewhere std::filesystem.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quorvane::browser::internal {

// Appends each name to *names and its length to *lengths; false when the folder cannot be
// listed.
bool ListRegularFiles(const std::string& folder, std::string* names, std::vector<size_t>* lengths);

}  // namespace quorvane::browser::internal
