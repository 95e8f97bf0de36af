#include "platform/memory_hint.h"

#include <cstdint>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace quorvane::platform {

void AdviseLargePages(void* block, size_t bytes) {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  constexpr size_t kMinBytes = 4u << 20;
  if (block == nullptr || bytes < kMinBytes) return;
  // Only whole pages: the rest of the block's first and last page may be another allocation's.
  constexpr uintptr_t kPage = 4096;
  const uintptr_t start = (reinterpret_cast<uintptr_t>(block) + kPage - 1) & ~(kPage - 1);
  const uintptr_t end = (reinterpret_cast<uintptr_t>(block) + bytes) & ~(kPage - 1);
  if (end > start) ::madvise(reinterpret_cast<void*>(start), end - start, MADV_HUGEPAGE);
#else
  (void)block;
  (void)bytes;
#endif
}

}  // namespace quorvane::platform
