// The file system calls of a library search, done the cheapest way the platform offers: the
// names of a folder's regular files (symbolic links followed) from one directory read with
// the entry types it returns, and whole regular files read with one open, one fstat and one
// read. Elsewhere than on POSIX systems, std::filesystem and the album store do the work.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quorvane::browser::internal {

// Appends each name to *names and its length to *lengths; false when the folder cannot be
// listed.
bool ListRegularFiles(const std::string& folder, std::string* names, std::vector<size_t>* lengths);

// Reads the whole file when it is a regular file; false for anything else or any failure
// (the caller then reads it the ordinary way, which also words the error).
bool ReadRegularFile(const std::string& path, std::string* bytes);

}  // namespace quorvane::browser::internal
