// Decodes arbitrary bytes as an image, the way a photo from an archive or a mail attachment
// arrives. Whatever decodes must survive the album's usual path: a thumbnail-sized copy, a
// quarter turn, and a lossless PNG round trip that gives back the very same pixels.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "image/image.h"

using namespace quorvane::image;

namespace {

// Inputs past this size only slow the fuzzer down without reaching new decoder states.
constexpr size_t kMaxInputBytes = 256 * 1024;
// Small enough that a forged header cannot make one run take seconds or hundreds of MB.
constexpr uint64_t kMaxPixels = 4'000'000;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool limited = [] {
    SetMaxImagePixels(kMaxPixels);
    return true;
  }();
  (void)limited;
  if (size > kMaxInputBytes) return 0;

  Image image;
  if (!image.LoadFromMemory(data, size)) {
    if (image.last_error().empty() || image.IsValid()) std::abort();
    return 0;
  }
  if (image.width() < 1 || image.height() < 1 ||
      static_cast<uint64_t>(image.width()) * static_cast<uint64_t>(image.height()) > kMaxPixels) {
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
