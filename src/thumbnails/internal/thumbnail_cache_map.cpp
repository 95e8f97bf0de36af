#include "thumbnails/internal/thumbnail_cache_map.h"

#include <utility>

namespace quorvane::thumbnails::internal {
namespace {

// Bucket counts, each about twice the last: primes keep h modulo the count well spread.
constexpr size_t kBucketCounts[] = {
    53,    97,     193,    389,    769,     1543,    3079,    6151,     12289,    24593,   49157,
    98317, 196613, 393241, 786433, 1572869, 3145739, 6291469, 12582917, 25165843, 50331653};

}  // namespace

uint32_t HashKey(std::string_view key) {
  uint32_t h = 0;
  for (char c : key) {
    // Each byte counts as a signed 8-bit value, so bytes from 0x80 up subtract.
    h = h * 33u + static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(c)));
  }
  return h;
}

ThumbnailCacheMap::ThumbnailCacheMap() : buckets_(kBucketCounts[0]) {}

ThumbnailCacheMap::~ThumbnailCacheMap() { Clear(); }

const ThumbnailCacheEntry* ThumbnailCacheMap::Find(std::string_view key) const {
  const uint32_t hash = HashKey(key);
  for (const Node* node = buckets_[hash % buckets_.size()].get(); node != nullptr;
       node = node->next.get()) {
    if (node->hash == hash && node->entry.original_path == key) return &node->entry;
  }
  return nullptr;
}

void ThumbnailCacheMap::Set(ThumbnailCacheEntry entry) {
  const uint32_t hash = HashKey(entry.original_path);
  std::unique_ptr<Node>& head = buckets_[hash % buckets_.size()];
  for (Node* node = head.get(); node != nullptr; node = node->next.get()) {
    if (node->hash == hash && node->entry.original_path == entry.original_path) {
      node->entry = std::move(entry);
      return;
    }
  }
  head = std::make_unique<Node>(Node{hash, std::move(entry), std::move(head)});
  ++size_;
  if (size_ > buckets_.size()) Grow();
}

void ThumbnailCacheMap::Clear() {
  // Unlinks chains one node at a time: a long chain must not destroy itself recursively.
  for (auto& head : buckets_) {
    while (head != nullptr) head = std::move(head->next);
  }
  size_ = 0;
}

void ThumbnailCacheMap::Grow() {
  size_t count = buckets_.size();
  for (size_t candidate : kBucketCounts) {
    if (candidate > count) {
      count = candidate;
      break;
    }
  }
  if (count == buckets_.size()) return;  // at the largest count: chains just get longer
  std::vector<std::unique_ptr<Node>> grown(count);
  for (auto& head : buckets_) {
    while (head != nullptr) {
      std::unique_ptr<Node> node = std::move(head);
      head = std::move(node->next);
      std::unique_ptr<Node>& target = grown[node->hash % count];
      node->next = std::move(target);
      target = std::move(node);
    }
  }
  buckets_ = std::move(grown);
}

}  // namespace quorvane::thumbnails::internal
