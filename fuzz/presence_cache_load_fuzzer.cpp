// Reads arbitrary bytes as the photo presence cache: never a crash, and whatever it takes
// comes back the same once written and read again.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "search/internal/photo_presence_cache.h"

using quorvane::search::internal::PhotoPresenceCache;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  PhotoPresenceCache cache({});
  if (!cache.Parse(std::string_view(reinterpret_cast<const char*>(data), size))) return 0;
  const std::string written = cache.Serialize();
  PhotoPresenceCache again({});
  if (!again.Parse(written) || again.Serialize() != written) std::abort();
  return 0;
}
