// Scans arbitrary bytes for private metadata and strips it from those that walk as a JPEG: the
// readers stay inside the bytes, and a stripped file never still holds private data.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "image/private_metadata.h"

using namespace quorvane::image;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  HasPrivateMetadata(bytes);
  std::string stripped;
  if (StripJpegMetadata(bytes, &stripped) && HasPrivateMetadata(stripped)) std::abort();
  return 0;
}
