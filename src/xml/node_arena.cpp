#include "xml/internal/node_arena.h"

#include <algorithm>
#include <cstdint>

namespace quorvane::xml::internal {
namespace {

thread_local NodeArena* current_arena = nullptr;

}  // namespace

void* NodeArena::AllocateInNewBlock(size_t size, size_t alignment) {
  // Anything larger than a block gets a block of its own.
  const size_t block_size = std::max(size + alignment, next_block_size_);
  next_block_size_ = std::min(next_block_size_ * 2, kLargestBlockSize);
  blocks_.push_back(std::make_unique_for_overwrite<std::byte[]>(block_size));
  cursor_ = blocks_.back().get();
  left_ = block_size;
  return Allocate(size, alignment);
}

NodeArena* NodeArena::Current() { return current_arena; }

NodeArena::Scope::Scope(NodeArena* arena) : previous_(current_arena) { current_arena = arena; }

NodeArena::Scope::~Scope() { current_arena = previous_; }

}  // namespace quorvane::xml::internal
