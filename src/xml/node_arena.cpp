#include "xml/internal/node_arena.h"

#include <algorithm>

namespace quorvane::xml::internal {
namespace {

thread_local NodeArena* current_arena = nullptr;

constexpr size_t kAlign = 16;
constexpr size_t kLargestBlock = 4 * 1024 * 1024;

}  // namespace

void* NodeArena::Allocate(size_t size) {
  size = (size + kAlign - 1) & ~(kAlign - 1);
  if (size > left_) {
    const size_t block_size = std::max(size, next_block_size_);
    next_block_size_ = std::min(next_block_size_ * 2, kLargestBlock);
    blocks_.push_back(std::make_unique_for_overwrite<std::byte[]>(block_size));
    cursor_ = blocks_.back().get();
    left_ = block_size;
  }
  void* memory = cursor_;
  cursor_ += size;
  left_ -= size;
  return memory;
}

NodeArena* NodeArena::Current() { return current_arena; }

NodeArena::Scope::Scope(NodeArena* arena) : previous_(current_arena) { current_arena = arena; }

NodeArena::Scope::~Scope() { current_arena = previous_; }

}  // namespace quorvane::xml::internal
