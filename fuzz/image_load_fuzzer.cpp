// Decodes arbitrary bytes as an image, the way a photo from an archive or a mail attachment
// arrives. Whatever decodes must survive the album's usual path: a thumbnail-sized copy, a
// quarter turn, and a lossless PNG round trip that gives back the very same pixels.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "image/image.h"
#include "image_fuzz_limits.h"

using namespace quorvane::image;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (!quorvane::fuzz::AcceptImageInput(size)) return 0;

  Image image;
  if (!image.LoadFromMemory(data, size)) {
    if (image.last_error().empty() || image.IsValid()) std::abort();
    return 0;
  }
  if (image.width() < 1 || image.height() < 1 ||
      static_cast<uint64_t>(image.width()) * static_cast<uint64_t>(image.height()) >
          quorvane::fuzz::kMaxPixels) {
    std::abort();
  }

  Image thumb = image;
  if (!thumb.Resample(17, 13, ResampleMode::kBicubic) || !thumb.RotateRight()) std::abort();
  if (thumb.width() != 13 || thumb.height() != 17) std::abort();

  std::vector<uint8_t> png;
  if (!image.SaveToMemory(&png, ImageFormat::kPng)) std::abort();
  Image again;
  if (!again.LoadFromMemory(png.data(), png.size()) || !SamePixels(image, again)) std::abort();
  return 0;
}
