#include "image/internal/resize.h"

#include <cstring>
#include <vector>

#include "image/internal/decode.h"

namespace quorvane::image::internal {

static VipsKernel KernelFor(ResampleMode mode) {
  switch (mode) {
    case ResampleMode::kBilinear:
      return VIPS_KERNEL_LINEAR;
    case ResampleMode::kLanczos3:
      return VIPS_KERNEL_LANCZOS3;
    default:
      return VIPS_KERNEL_CUBIC;
  }
}

// Scales a lazy or memory image to exactly width x height. libvips rounds output sizes its own
// way, so a pixel row or column may need trimming or repeating afterwards. Alpha is
// premultiplied around the filter so transparent pixels do not bleed dark fringes.
bool ResizeExact(VipsPtr& image, int width, int height, ResampleMode mode, std::string* error) {
  VipsImage* in = image.get();
  if (in->Xsize == width && in->Ysize == height) return true;
  const bool alpha = in->Bands == 4;
  VipsPtr work;
  VipsImage* out = nullptr;
  if (alpha) {
    if (Vips().premultiply(in, &out, nullptr) != 0) {
      *error = "Cannot resize the image: " + TakeVipsError();
      return false;
    }
    work.reset(out);
    in = out;
  }
  const double hscale = static_cast<double>(width) / in->Xsize;
  const double vscale = static_cast<double>(height) / in->Ysize;
  if (Vips().resize(in, &out, hscale, "vscale", vscale, "kernel", KernelFor(mode), nullptr) != 0) {
    *error = "Cannot resize the image: " + TakeVipsError();
    return false;
  }
  VipsPtr resized(out);
  if (resized->Xsize != width || resized->Ysize != height) {
    if (Vips().embed(resized.get(), &out, 0, 0, width, height, "extend", VIPS_EXTEND_COPY,
                     nullptr) != 0) {
      *error = "Cannot resize the image: " + TakeVipsError();
      return false;
    }
    resized.reset(out);
  }
  if (alpha) {
    if (Vips().unpremultiply(resized.get(), &out, nullptr) != 0) {
      *error = "Cannot resize the image: " + TakeVipsError();
      return false;
    }
    resized.reset(out);
  }
  if (resized->BandFmt != VIPS_FORMAT_UCHAR) {
    if (Vips().cast(resized.get(), &out, VIPS_FORMAT_UCHAR, nullptr) != 0) {
      *error = "Cannot resize the image: " + TakeVipsError();
      return false;
    }
    resized.reset(out);
  }
  image = std::move(resized);
  return true;
}

// Nearest-neighbour scaling is done here because libvips's reducers average when shrinking,
// which is not what a "nearest" setting promises.
VipsPtr ResizeNearest(VipsImage* in, int width, int height) {
  const int channels = in->Bands;
  const size_t in_stride = LineBytes(in);
  std::vector<uint8_t> pixels(static_cast<size_t>(width) * height * channels);
  std::vector<size_t> source_offset(width);
  for (int x = 0; x < width; ++x) {
    const int64_t sx = (2 * int64_t{x} + 1) * in->Xsize / (2 * int64_t{width});
    source_offset[x] = static_cast<size_t>(sx) * channels;
  }
  const uint8_t* base = PixelAddress(in, 0, 0);
  for (int y = 0; y < height; ++y) {
    const int64_t sy = (2 * int64_t{y} + 1) * in->Ysize / (2 * int64_t{height});
    const uint8_t* src_row = base + static_cast<size_t>(sy) * in_stride;
    uint8_t* dst = pixels.data() + static_cast<size_t>(y) * width * channels;
    for (int x = 0; x < width; ++x, dst += channels) {
      std::memcpy(dst, src_row + source_offset[x], channels);
    }
  }
  VipsImage* out = Vips().image_new_from_memory_copy(pixels.data(), pixels.size(), width, height,
                                                     channels, VIPS_FORMAT_UCHAR);
  if (out != nullptr) {
    out->Type = VIPS_INTERPRETATION_sRGB;
  }
  return VipsPtr(out);
}

// Writes `bytes` beside `path` and renames the copy into place, so a failed save never leaves

}  // namespace quorvane::image::internal
