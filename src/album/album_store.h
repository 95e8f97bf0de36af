// The storage behind an album: the four operations the album index needs of every store
// (read file, write file, file exists, last error). A folder store serves album folders; an
// archive store serves the working copy of an album archive.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_lock.h"
#include "platform/file_stamp.h"

namespace quorvane::album {

using platform::FileStamp;

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

  // Photos come in and go out as whole files, never through memory. A store that keeps no
  // files on disk (one that only serves an index) cannot: the defaults refuse.
  //
  // Copies the file at `source` (outside the album) into the album as `name`, which appears
  // whole at once. Never replaces a file: when the album has one of that name already (another
  // program may have just made it), fails and leaves it as it is; FileExists then tells this
  // failure from the others, and the caller picks another name. Meant for files nothing names
  // yet (a photo being added): the copy reaches the disk for sure only at the next Flush.
  [[nodiscard]] virtual bool ImportFile(const std::filesystem::path& source,
                                        std::string_view name) {
    (void)source;
    (void)name;
    return false;
  }
  // WriteFile for a file nothing names yet (a new photo's thumbnail), durable at the next
  // Flush like ImportFile's.
  [[nodiscard]] virtual bool WriteNewFile(std::string_view name, std::string_view bytes) {
    return WriteFile(name, bytes);
  }
  // Makes every file of ImportFile and WriteNewFile durable. The album's save calls it before
  // it writes the index that names them, so one flush serves a whole batch of photos.
  [[nodiscard]] virtual bool Flush() { return true; }
  // Where the named file can be opened by path (for the image decoder and for copying out);
  // empty for a name that is not a plain file name.
  virtual std::filesystem::path LocalPath(std::string_view name) const {
    (void)name;
    return {};
  }
  // Deletes the named file; a file that is already gone counts as deleted.
  [[nodiscard]] virtual bool RemoveFile(std::string_view name) {
    (void)name;
    return false;
  }
  // Swaps the contents of two existing files in one step: how the album keeps an earlier
  // version of a photo under a name of its own and brings it back.
  [[nodiscard]] virtual bool ExchangeFiles(std::string_view a, std::string_view b) {
    (void)a;
    (void)b;
    return false;
  }

  // Takes the lock under which one program at a time reads the album's index, merges its
  // changes into it and writes it back (SaveAlbum holds it that long and no longer, so albums
  // can stay open in several programs), waiting up to `wait` for another holder. The default
  // locks nothing: a store no other program sees. On failure returns false and sets
  // LastError() ("... is in use by another program" when the wait ran out).
  [[nodiscard]] virtual bool LockIndex(platform::FileLock* lock, std::chrono::milliseconds wait) {
    (void)lock;
    (void)wait;
    return true;
  }

  // Called under LockIndex, before the index is read again to merge with: makes what another
  // program saved since this store last read or wrote the album visible to the reads that
  // follow (their index) and to the next Commit (their files), keeping every file this program
  // changed since. The default has nothing to do: a folder's files are the album itself. On
  // failure returns false and sets LastError(); nothing may be saved then.
  [[nodiscard]] virtual bool CatchUp() { return true; }

  // Fills *stamp for the named file. False when the file is missing or the store cannot tell
  // (the default): then whoever asked reads the file to compare.
  virtual bool StampFile(std::string_view name, FileStamp* stamp) {
    (void)name;
    (void)stamp;
    return false;
  }

  // Makes what was written so far durable where the album really lives. A folder's writes
  // already are, so this does nothing; an archive store repacks its working copy into the
  // archive, leaving out the files named in `leave_out` (versions only the album's undo
  // history needs). Called by the album's save after the index was written. On failure
  // returns false and sets LastError().
  [[nodiscard]] virtual bool Commit(const std::vector<std::string>& leave_out) {
    (void)leave_out;
    return true;
  }
};

// True for a name that stays inside the album: not empty, no folder separators, no drive
// letter, not "." or "..".
bool IsPlainFileName(std::string_view name);

}  // namespace quorvane::album
