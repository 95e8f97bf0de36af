// Feeds arbitrary bytes to the fast JPEG thumbnail decoder (reduced-scale IDCT, the DC scans
// of progressive files, EXIF previews): it must fail cleanly or give a whole image that covers
// the size it was asked for.
#include <cstdint>
#include <cstdlib>

#include "image/image.h"
#include "image/internal/jpeg_reduced.h"
#include "image_fuzz_limits.h"

using namespace quorvane::image;

namespace {

void Check(const uint8_t* data, size_t size, int max_width, int max_height, bool preview) {
  internal::JpegInput input;
  input.data = data;
  input.size = size;
  internal::ReducedJpeg out;
  if (internal::DecodeJpegReduced(input, max_width, max_height, preview, &out) !=
      internal::ReducedDecode::kDone) {
    return;
  }
  if (out.width < 1 || out.height < 1 || out.orientation < 1 || out.orientation > 8 ||
      out.rgb.size() != static_cast<size_t>(out.width) * out.height * 3 ||
      static_cast<uint64_t>(out.source_width) * out.source_height > quorvane::fuzz::kMaxPixels) {
    std::abort();
  }
  const bool turned = out.orientation >= 5;
  const FitSize fit =
      FitInside(turned ? out.source_height : out.source_width,
                turned ? out.source_width : out.source_height, max_width, max_height);
  if (out.width < (turned ? fit.height : fit.width) ||
      out.height < (turned ? fit.width : fit.height)) {
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (!quorvane::fuzz::AcceptImageInput(size)) return 0;
  Check(data, size, 8, 6, false);
  Check(data, size, 30, 30, true);
  return 0;
}
