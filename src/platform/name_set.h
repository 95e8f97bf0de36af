// NameSet: a set of names built once and asked about many times, such as the files of a large
// folder while an album index with tens of thousands of photos is checked against it. One flat
// table of hashes and positions means a question costs one or two memory reads, where a set
// of linked nodes costs several; for a large folder that is most of the time spent.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quorvane::platform {

// Holds positions into the names it was built from, not copies: they must outlive the set
// and stay where they are. Comparison is byte for byte. Thread-compatible; const calls may
// run on several threads at once.
class NameSet {
 public:
  NameSet() = default;
  explicit NameSet(std::span<const std::string> names);

  // Whether one of the names equals `name`.
  bool Contains(std::string_view name) const;

 private:
  struct Slot {
    uint64_t hash = 0;
    size_t position = 0;  // into names_, plus one; 0 marks an empty slot
  };

  std::span<const std::string> names_;
  std::vector<Slot> slots_;  // open addressing, at most half full
};

}  // namespace quorvane::platform
