// The thumbnail cache's own hash map from a source path to its entry: the hash
// h = h * 33 + c over the key's bytes taken as signed chars, 32-bit unsigned, chained buckets,
// each node keeping its full hash so a lookup compares hashes before key text. Iteration runs
// bucket by bucket, which is the order the index file is written in.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "thumbnails/thumbnail_cache.h"

namespace quorvane::thumbnails::internal {

uint32_t HashKey(std::string_view key);

class ThumbnailCacheMap {
 public:
  ThumbnailCacheMap();
  ~ThumbnailCacheMap();
  ThumbnailCacheMap(const ThumbnailCacheMap&) = delete;
  ThumbnailCacheMap& operator=(const ThumbnailCacheMap&) = delete;

  // The entry whose original_path is `key` (byte for byte, case-sensitive), or null.
  const ThumbnailCacheEntry* Find(std::string_view key) const;
  // Inserts `entry` under its original_path, replacing an entry with the same key.
  void Set(ThumbnailCacheEntry entry);
  void Clear();

  size_t size() const { return size_; }
  size_t bucket_count() const { return buckets_.size(); }

  // Calls `visit(entry)` for every entry in bucket order, each chain from its head.
  template <typename Visit>
  void ForEach(Visit&& visit) const {
    for (const auto& head : buckets_) {
      for (const Node* node = head.get(); node != nullptr; node = node->next.get()) {
        visit(node->entry);
      }
    }
  }

 private:
  struct Node {
    uint32_t hash;
    ThumbnailCacheEntry entry;
    std::unique_ptr<Node> next;
  };

  // Spreads the chains over more buckets once the map holds more entries than buckets.
  void Grow();

  std::vector<std::unique_ptr<Node>> buckets_;
  size_t size_ = 0;
};

}  // namespace quorvane::thumbnails::internal
