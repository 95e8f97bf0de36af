// Remembers, from one library search to the next, the album folders in which every photo
// file the index names was found, so that a search can number an album's photos without
// listing its folder again. A folder's answer holds while the folder and its index file keep
// the stamps they had when it was listed: removing, adding or renaming a file changes the
// folder's modification and change times, and rewriting the index changes its own.
//
// Only settled stamps are remembered: times older than the search by more than the coarsest
// file-time step in use (FAT's two seconds), so that a change made just after the listing can
// never carry the same times. Folders where a photo is a symbolic link are never remembered;
// a link's target can vanish without its folder changing.
//
// The file is a cache: a missing, damaged or foreign one means listing every folder again.
// AllPresent and Remember may be called from several threads at once; the rest may not.
#pragma once

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "search/internal/regular_files.h"

namespace quorvane::search::internal {

class PhotoPresenceCache {
 public:
  // FAT's 2-second file times, with a margin.
  static constexpr int64_t kSettleNs = 3'000'000'000;

  // An empty cache that remembers nothing between runs when `file` is empty. Stamps count
  // as settled when older than `settle_ns` at construction.
  explicit PhotoPresenceCache(std::filesystem::path file, int64_t settle_ns = kSettleNs);

  // Reads the file; a missing or damaged one leaves the cache empty.
  void Load();
  // Takes the remembered folders from a file's bytes; false (and empty) when damaged.
  bool Parse(std::string_view bytes);

  // True when every photo of the album at `folder` was found when its stamp was this one. A
  // folder whose stamp changed is forgotten until Remember notes it again.
  bool AllPresent(const std::string& folder, const FolderStamp& stamp);
  // Notes that every photo of `folder` was found now; ignored unless the stamp is settled.
  void Remember(const std::string& folder, const FolderStamp& stamp);

  // Forgets the folders of `library` (its direct subfolders) that are not among `albums`,
  // the library's albums now. Folders of other libraries stay.
  void ForgetOthersIn(const std::filesystem::path& library, const std::vector<std::string>& albums);

  // The bytes of the file, folders in name order.
  std::string Serialize() const;
  // Writes the file when its content changed; a failure only costs speed.
  void Save();

 private:
  std::filesystem::path file_;
  std::mutex mutex_;  // AllPresent and Remember come from several search threads
  std::unordered_map<std::string, FolderStamp> entries_;
  int64_t settled_before_ns_;
  bool changed_ = false;
};

}  // namespace quorvane::search::internal
