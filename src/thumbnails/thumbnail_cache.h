// ThumbnailCache: the file browser's cache of small thumbnails for image files outside any
// album. A cache folder holds one JPEG per source file and the index "_index.xml" that maps
// each source path to its thumbnail, the cell size it was made for and the source's size and
// last-write time, so a thumbnail is remade only when the cell or the file changed.
//
// Thread-safe: one cache may serve several thumbnail workers at once. The index is written by
// Close (or Flush) atomically, so a crash never leaves a torn index behind.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace quorvane::image {
class Image;
}  // namespace quorvane::image

namespace quorvane::thumbnails {

namespace internal {
class ThumbnailCacheMap;
}  // namespace internal

// One cached source file.
struct ThumbnailCacheEntry {
  std::string filename;       // the thumbnail's file name inside the cache folder
  std::string original_path;  // the source's full path; the lookup key
  uint32_t modtime_low = 0;   // the source's last-write time (Windows file time) when made
  uint32_t modtime_high = 0;
  int32_t thumb_cx = 0;  // the cell size the thumbnail was made for
  int32_t thumb_cy = 0;
  int32_t cx = 0;  // the source image's size
  int32_t cy = 0;
  friend bool operator==(const ThumbnailCacheEntry&, const ThumbnailCacheEntry&) = default;
};

inline constexpr std::string_view kThumbnailIndexName = "_index.xml";

class ThumbnailCache {
 public:
  ThumbnailCache();
  ~ThumbnailCache();  // does not write the index: call Close
  ThumbnailCache(const ThumbnailCache&) = delete;
  ThumbnailCache& operator=(const ThumbnailCache&) = delete;

  // Makes `folder` when missing and loads its index. When the folder cannot be made, or the
  // path is not a folder, the cache stays disabled: every lookup misses and Add stores
  // nothing. A missing, unreadable or damaged index gives an empty cache. Returns enabled().
  bool Open(const std::filesystem::path& folder);
  // When enabled, writes the index (when anything was added since it was read or written) and
  // disables the cache. A failed write is ignored (the next
  // run starts from the older index); last_write_error() says why.
  void Close();
  // Writes the index now and stays open; false when the write failed or the cache is disabled.
  // Thumbnail files are written without waiting for the disk; Flush and Close make them
  // durable first, so the index on disk never names a thumbnail a crash could lose. Safe
  // while workers add: they are not held up by the disk.
  bool Flush();
  // True when entries were added since the index was last read or written.
  bool unsaved() const;

  bool enabled() const;
  // The cache folder's path with a trailing separator.
  std::string folder() const;
  size_t size() const;

  std::optional<ThumbnailCacheEntry> Lookup(std::string_view source_path) const;
  // Every entry, in the index file's order.
  std::vector<ThumbnailCacheEntry> Entries() const;

  // Stale when the cell size differs, or when the source's last-write time differs from the
  // entry's in either half. A source that cannot be opened or whose time cannot be read keeps
  // its thumbnail: not stale (files on absent media still show). Reads the file system only.
  static bool IsStale(const ThumbnailCacheEntry& entry, int cell_width, int cell_height);

  // Loads the entry's thumbnail file (format taken from its content). False, with the reason
  // in image->last_error(), when it cannot be read.
  bool LoadThumbnail(const ThumbnailCacheEntry& entry, image::Image* image) const;

  // Saves `thumbnail` as JPEG and records it for `source_path`: an existing entry keeps its
  // file name (the old file is overwritten); otherwise the name is the path's last component,
  // with a number between base and extension when a file of that name is already in the cache
  // folder. False, with the reason in *error, when the cache is disabled or the save failed.
  bool Add(std::string_view source_path, const image::Image& thumbnail, int cell_width,
           int cell_height, int source_width, int source_height, std::string* error = nullptr);

  // The index as written to "_index.xml", and reading one in place of the current entries
  // (damaged text gives whatever entries could be read, possibly none).
  std::string IndexText() const;
  void LoadIndexText(std::string_view text);

  std::string last_write_error() const;

 private:
  // The *Locked members are called with mutex_ held.
  // Picks and reserves a cache file name for `source_path`.
  std::string ReserveName(std::string_view source_path);
  std::string IndexTextLocked() const;
  void LoadIndexLocked(std::string bytes);
  bool WriteIndex(bool closing);

  std::mutex write_mutex_;  // held through a whole index write, taken before mutex_
  mutable std::mutex mutex_;
  std::unique_ptr<internal::ThumbnailCacheMap> map_;
  std::filesystem::path folder_;
  std::string folder_text_;
  bool enabled_ = false;
  bool changed_ = false;                               // entries differ from the index file
  std::set<std::string, std::less<>> reserved_names_;  // names being written right now
  std::unordered_set<std::string> used_names_;         // names entries point at
  std::vector<std::filesystem::path> unflushed_;       // thumbnails written since the index
  std::string last_write_error_;
};

}  // namespace quorvane::thumbnails
