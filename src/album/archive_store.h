// ArchiveStore: the store of an album kept in an album archive (".qvo"). The archive stays
// packed: the index and the photos are read from it when asked for, a file is unpacked into a
// private working copy under the system's temporary folder only when something needs it by
// path, new and changed files go to the working copy, and Commit writes a new archive that
// carries every untouched entry over still compressed. Closing the store removes the working
// copy.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "album/album_archive.h"
#include "album/folder_store.h"

namespace quorvane::album {

// An ArchiveStore is a FolderStore whose folder is the working copy, so everything that works
// on an album folder (unique names, copying photos in) works on it unchanged; the store
// answers for the files still packed as if they were there. Nothing reaches the archive until
// Commit. A working copy that a crashed program left behind is removed by a later Open.
// Thread-compatible: one thread at a time.
class ArchiveStore : public FolderStore {
 public:
  // Opens `archive`, judging its directory under the safety rules of UnpackArchive (the rules
  // on data and free space hold for each file as it is unpacked), and makes an empty working
  // copy (a folder named "qvo..." under the temporary folder, readable by the user only). On
  // failure returns null, sets *error and leaves no working copy behind. Example:
  //
  //   std::string error;
  //   auto store = ArchiveStore::Open("trip.qvo", {}, &error);
  //   Album album(std::move(store));  // after checking it is not null
  //   ... AlbumIndex::SaveIndex(album) && album.store().Commit({}) ...
  static std::unique_ptr<ArchiveStore> Open(const std::filesystem::path& archive,
                                            const ArchiveLimits& limits, std::string* error);
  ~ArchiveStore() override;
  ArchiveStore(const ArchiveStore&) = delete;
  ArchiveStore& operator=(const ArchiveStore&) = delete;

  const std::filesystem::path& archive_path() const { return archive_; }
  const std::filesystem::path& working_copy() const { return folder(); }
  // How Commit packs new and changed files; the defaults store JPEGs and deflate the rest at
  // level 6. Files carried over from the archive keep their compression.
  void set_pack_options(PackOptions options) { pack_options_ = std::move(options); }

  // A packed file is read straight from the archive, without unpacking it.
  bool ReadFile(std::string_view name, std::string* bytes) override;
  bool WriteFile(std::string_view name, std::string_view bytes) override;
  bool WriteNewFile(std::string_view name, std::string_view bytes) override;
  bool FileExists(std::string_view name) override;
  bool ListFiles(std::vector<std::string>* names) override;
  bool ImportFile(const std::filesystem::path& source, std::string_view name) override;
  // Unpacks a packed file into the working copy first; on failure (damaged data, no room on
  // the disk) returns an empty path and sets LastError().
  std::filesystem::path LocalPath(std::string_view name) const override;
  bool RemoveFile(std::string_view name) override;
  // Exchanges packed files by exchanging which entry each name stands for: nothing unpacked.
  bool ExchangeFiles(std::string_view a, std::string_view b) override;
  // Locks the archive itself (the working copy is this store's alone, locked while it lives).
  // An archive that is gone locks nothing: the commit writes it anew.
  bool LockIndex(platform::FileLock* lock, std::chrono::milliseconds wait) override;
  // When another program saved the archive since this store opened or committed it, reads
  // the archive as it is now: the index and every file this store has not changed come from
  // it. Fails, changing nothing, when it can no longer be opened, or when the other program
  // added a file under a name this store added a file of its own (both cannot be kept under
  // one name).
  bool CatchUp() override;

  // Writes the album, less the files named in `leave_out`, as a new archive in place of the
  // old one, atomically: on failure the previous archive is untouched, the store keeps every
  // change, and LastError() says why.
  [[nodiscard]] bool Commit(const std::vector<std::string>& leave_out) override;

 private:
  ArchiveStore(std::filesystem::path archive, std::filesystem::path working_copy, int lock,
               std::unique_ptr<ArchiveReader> reader, const ArchiveLimits& limits,
               std::optional<FileStamp> stamp);
  // Remembers that this store changed `name`: the archive's version no longer counts.
  void NoteChanged(std::string_view name) { changed_.emplace(name); }
  // Unpacks `name` into the working copy when it is still packed.
  bool Unpack(std::string_view name);
  // Opens the archive again (after a commit) and points the packed names at its entries.
  bool Reopen();
  // False, with the reason as the last error, once the archive could not be opened again: the
  // packed files are out of reach.
  bool HasArchive();

  std::filesystem::path archive_;
  ArchiveLimits limits_;  // another program's archive is judged as the first one was
  // The archive's stamp as the reader opened it, taken before opening: while the file keeps
  // it, no other program saved it since.
  std::optional<FileStamp> stamp_;
  PackOptions pack_options_;
  int lock_;  // held open (and locked) while the store lives: the working copy is in use
  std::unique_ptr<ArchiveReader> reader_;  // null once the archive was lost
  std::string lost_archive_;
  // The files whose content is still only in the archive, and the entry holding each. A name
  // is here or in the working copy, never both.
  std::map<std::string, const ArchiveReader::Entry*, std::less<>> packed_;
  // Files written, imported, removed or exchanged since the last commit: what this store says
  // of them wins over what another program saved meanwhile.
  std::set<std::string, std::less<>> changed_;
};

}  // namespace quorvane::album
