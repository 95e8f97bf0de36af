// The storage behind an album: the four operations the album index needs of every store
// (read file, write file, file exists, last error). A folder store serves album folders; an
// archive store serves the working copy of an album archive.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quorvane::album {

class AlbumStore {
 public:
  virtual ~AlbumStore() = default;

  // Reads the named file of the album (a plain file name, no folders) into *bytes. On
  // failure returns false and sets LastError().
  [[nodiscard]] virtual bool ReadFile(std::string_view name, std::string* bytes) = 0;
  // Replaces or creates the named file with exactly `bytes`; never leaves a half-written
  // file where a good one was. On failure returns false and sets LastError().
  [[nodiscard]] virtual bool WriteFile(std::string_view name, std::string_view bytes) = 0;
  virtual bool FileExists(std::string_view name) = 0;
  // The message of the last failed operation.
  virtual const std::string& LastError() const = 0;
  // The names of all the album's files, for a caller that asks about many names at once
  // (loading a large index); false when the store cannot list, and FileExists is the way.
  virtual bool ListFiles(std::vector<std::string>* names) {
    (void)names;
    return false;
  }
  // Makes what was written so far durable where the album really lives. A folder's writes
  // already are, so this does nothing; an archive store repacks its working copy into the
  // archive. Called by the album's save after the index was written. On failure returns
  // false and sets LastError().
  [[nodiscard]] virtual bool Commit() { return true; }
};

// True for a name that stays inside the album: not empty, no folder separators, no drive
// letter, not "." or "..".
bool IsPlainFileName(std::string_view name);

}  // namespace quorvane::album
