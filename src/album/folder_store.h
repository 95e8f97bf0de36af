// FolderStore: an album kept as a plain folder on disk. Writes are atomic (temporary file,
// flush, rename), new files never replace one another program made, and names that would
// leave the folder are refused.
#pragma once

#include <filesystem>

#include "album/album_store.h"

namespace quorvane::album {

class FolderStore : public AlbumStore {
 public:
  explicit FolderStore(std::filesystem::path folder) : folder_(std::move(folder)) {}

  const std::filesystem::path& folder() const { return folder_; }
  std::filesystem::path PathOf(std::string_view name) const { return folder_ / name; }

  bool ReadFile(std::string_view name, std::string* bytes) override;
  bool WriteFile(std::string_view name, std::string_view bytes) override;
  bool FileExists(std::string_view name) override;
  // Regular files only, as FileExists counts them.
  bool ListFiles(std::vector<std::string>* names) override;
  bool ImportFile(const std::filesystem::path& source, std::string_view name) override;
  bool WriteNewFile(std::string_view name, std::string_view bytes) override;
  bool Flush() override;
  std::filesystem::path LocalPath(std::string_view name) const override;
  bool RemoveFile(std::string_view name) override;
  bool ExchangeFiles(std::string_view a, std::string_view b) override;
  // Locks the folder itself. Only a plain FolderStore does: a store derived from it keeps a
  // private folder no other program writes (an archive's working copy, which its store keeps
  // locked for its whole life, so a second lock on it would never be granted).
  bool LockIndex(platform::FileLock* lock, std::chrono::milliseconds wait) override;
  // Device, inode, size and both times in nanoseconds where the system has them (not on
  // Windows, where it answers false).
  bool StampFile(std::string_view name, FileStamp* stamp) override;
  const std::string& LastError() const override { return last_error_; }

 protected:
  void set_last_error(std::string text) { last_error_ = std::move(text); }

 private:
  bool CheckName(std::string_view name);

  std::filesystem::path folder_;
  std::string last_error_;
  std::vector<std::string> unflushed_;  // names written since the last Flush
};

}  // namespace quorvane::album
