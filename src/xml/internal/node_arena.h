// A bump allocator for the nodes a document makes while it parses. A parsed album index is
// hundreds of thousands of small nodes; taking them from a few large blocks and releasing the
// blocks at once makes parsing and destroying a document several times faster than one heap
// allocation per node.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

namespace quorvane::xml::internal {

class NodeArena {
 public:
  NodeArena() = default;
  NodeArena(const NodeArena&) = delete;
  NodeArena& operator=(const NodeArena&) = delete;

  // Memory for `size` bytes, 16-byte aligned, valid until the arena is destroyed.
  void* Allocate(size_t size);

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
  std::vector<std::unique_ptr<std::byte[]>> blocks_;
  std::byte* cursor_ = nullptr;
  size_t left_ = 0;
  size_t next_block_size_ = 64 * 1024;
};

}  // namespace quorvane::xml::internal
