// Hints to the system about large blocks of fresh memory. Filling a new block costs a page
// fault per 4 KB page the first time each page is touched; for the tens of megabytes of a
// decoded photo or a written album index, that is most of the cost of writing them.
#pragma once

#include <cstddef>

namespace quorvane::platform {

// Asks that the whole pages inside [block, block + bytes) be backed by large pages where the
// system offers them, so that filling the block faults a few dozen times instead of once per
// 4 KB. Only a hint: no byte changes and nothing fails; blocks under a few megabytes, which
// the heap mostly serves from memory it already has, and systems without large pages are
// left alone. Call it before the block is first written. Thread-safe.
void AdviseLargePages(void* block, size_t bytes);

}  // namespace quorvane::platform
