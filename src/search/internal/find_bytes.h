// Finding a byte string in a large buffer fast: where SSE2 is available (every x86-64), 16
// places are tested at once for the needle's first and last byte, and only those that hold
// both are compared whole. Several times faster than Boyer-Moore-Horspool for the short
// needles of a search box.
#pragma once

#include <cstddef>
#include <string_view>

namespace quorvane::search::internal {

// The first offset at or after `from` where `needle` occurs in `haystack`; npos when none.
// An empty needle occurs at `from` (when from <= haystack.size()).
size_t FindBytes(std::string_view haystack, std::string_view needle, size_t from = 0);

}  // namespace quorvane::search::internal
