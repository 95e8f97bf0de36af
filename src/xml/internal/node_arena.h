// The memory a document's nodes live in. A parsed album index is hundreds of thousands of
// small nodes with their names, values and child lists; taking all of it from a few large
// blocks, and dropping the blocks at once, makes parsing and destroying a document several
// times faster than one heap allocation per piece.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace quorvane::xml::internal {

class NodeArena {
 public:
  NodeArena() = default;
  NodeArena(const NodeArena&) = delete;
  NodeArena& operator=(const NodeArena&) = delete;

  // Memory for `size` bytes, aligned to `alignment` (a power of two), valid until the arena
  // is destroyed.
  void* Allocate(size_t size, size_t alignment = 16) {
    const size_t pad = (alignment - reinterpret_cast<uintptr_t>(cursor_)) & (alignment - 1);
    if (pad + size > left_) return AllocateInNewBlock(size, alignment);
    std::byte* memory = cursor_ + pad;
    cursor_ = memory + size;
    left_ -= pad + size;
    return memory;
  }

  // One block of `size` bytes given back, for the next allocation of that size.
  void KeepSpare(void* memory, size_t size) {
    spare_ = memory;
    spare_size_ = size;
  }
  void* TakeSpare(size_t size) {
    if (spare_ == nullptr || size != spare_size_) return nullptr;
    return std::exchange(spare_, nullptr);
  }

  // Set once anything that owns memory outside the arena (a heap node, a node of a derived
  // type, namespace fields) is put under one of the arena's nodes: then the tree must be
  // destroyed node by node instead of simply dropped.
  void MarkForeign() { foreign_ = true; }
  bool foreign() const { return foreign_; }

  // The arena that node allocations on this thread come from, or null for the heap.
  static NodeArena* Current();

  // Routes this thread's node allocations to `arena` for its lifetime (null: the heap).
  class Scope {
   public:
    explicit Scope(NodeArena* arena);
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    NodeArena* previous_;
  };

 private:
  void* AllocateInNewBlock(size_t size, size_t alignment);

  // Blocks start small, for the many small documents, and double up to a cap that keeps them
  // small enough for the heap to hand back memory it already has, instead of fresh pages the
  // system must clear for every large document.
  static constexpr size_t kFirstBlockSize = 4 * 1024;
  static constexpr size_t kLargestBlockSize = 256 * 1024;
  size_t next_block_size_ = kFirstBlockSize;
  std::vector<std::unique_ptr<std::byte[]>> blocks_;
  std::byte* cursor_ = nullptr;
  size_t left_ = 0;
  void* spare_ = nullptr;
  size_t spare_size_ = 0;
  bool foreign_ = false;
};

}  // namespace quorvane::xml::internal
