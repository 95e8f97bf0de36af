// ArchiveStore: the store of an album kept in an album archive (".qvo"). The archive is
// unpacked into a private working copy under the system's temporary folder; the album reads
// and writes that folder like any album folder, Commit packs it back into the archive, and
// closing the store removes the working copy.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "album/album_archive.h"
#include "album/folder_store.h"

namespace quorvane::album {

// An ArchiveStore is a FolderStore whose folder is the working copy, so everything that works
// on an album folder (unique names, copying photos in) works on it unchanged. Nothing reaches
// the archive until Commit. A working copy that a crashed program left behind is removed by a
// later Open. Thread-compatible: one thread at a time.
class ArchiveStore : public FolderStore {
 public:
  // Unpacks `archive` into a new working copy (a folder named "qvo..." under the temporary
  // folder, readable by the user only) under the safety rules of UnpackArchive. On failure
  // returns null, sets *error and leaves no working copy behind. Example:
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
  // How Commit packs; the defaults store JPEGs and deflate the rest at level 6.
  void set_pack_options(PackOptions options) { pack_options_ = std::move(options); }

  // Packs the working copy, less the files named in `leave_out`, into the archive,
  // atomically: on failure the previous archive is untouched, the working copy keeps every
  // change, and LastError() says why.
  [[nodiscard]] bool Commit(const std::vector<std::string>& leave_out) override;

 private:
  ArchiveStore(std::filesystem::path archive, std::filesystem::path working_copy, int lock)
      : FolderStore(std::move(working_copy)), archive_(std::move(archive)), lock_(lock) {}

  std::filesystem::path archive_;
  PackOptions pack_options_;
  int lock_;  // held open (and locked) while the store lives: the working copy is in use
};

}  // namespace quorvane::album
