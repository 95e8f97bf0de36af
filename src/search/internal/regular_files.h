// The file system calls of a library search, done the cheapest way the platform offers: the
// names of a folder's regular files (symbolic links followed) from one directory read with
// the entry types it returns, and whole regular files read with one open, one fstat and one
// read. Elsewhere than on POSIX systems, std::filesystem and the album store do the work.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_stamp.h"

namespace quorvane::search::internal {

using platform::FileStamp;

// An album folder's stamp and its index file's.
struct FolderStamp {
  FileStamp folder;
  FileStamp index;

  friend bool operator==(const FolderStamp&, const FolderStamp&) = default;
};

// Appends each name to *names and its length to *lengths; false when the folder cannot be
// listed. *saw_links (when given) tells whether some entry was a symbolic link or of an
// unknown type, whose target may change without the folder changing.
bool ListRegularFiles(const std::string& folder, std::string* names, std::vector<size_t>* lengths,
                      bool* saw_links = nullptr);

// Reads the whole file when it is a regular file, and its stamp when `stamp` is given; false
// for anything else or any failure (the caller then reads it the ordinary way, which also
// words the error).
bool ReadRegularFile(const std::string& path, std::string* bytes, FileStamp* stamp = nullptr);

// The current time in the stamps' unit.
int64_t NowNs();

}  // namespace quorvane::search::internal
