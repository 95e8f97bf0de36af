#include "search/internal/find_bytes.h"

#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace quorvane::search::internal {

size_t FindBytes(std::string_view haystack, std::string_view needle, size_t from) {
  const size_t n = haystack.size(), k = needle.size();
  if (from > n || k > n - from) return std::string_view::npos;
  if (k < 2) return haystack.find(needle, from);
#if defined(__SSE2__)
  const char* data = haystack.data();
  const __m128i first = _mm_set1_epi8(needle[0]);
  const __m128i last = _mm_set1_epi8(needle[k - 1]);
  size_t i = from;
  for (; i + 16 + k - 1 <= n; i += 16) {
    const __m128i head = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + i));
    const __m128i tail = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + i + k - 1));
    auto mask = static_cast<unsigned>(
        _mm_movemask_epi8(_mm_and_si128(_mm_cmpeq_epi8(head, first), _mm_cmpeq_epi8(tail, last))));
    while (mask != 0) {
      const size_t at = i + static_cast<size_t>(__builtin_ctz(mask));
      if (std::memcmp(data + at + 1, needle.data() + 1, k - 2) == 0) return at;
      mask &= mask - 1;
    }
  }
  return haystack.find(needle, i);  // the last few places
#else
  return haystack.find(needle, from);
#endif
}

}  // namespace quorvane::search::internal
