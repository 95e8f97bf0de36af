// The small amount of glue every libvips call in this library needs: opening and starting the
// library once with our safety settings, an owning pointer for VipsImage, byte addresses in a
// memory image, and turning libvips's process-wide error log into the text of one failure.
// Only .cpp files of src/image include this.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "image/internal/vips_api.h"

namespace quorvane::image::internal {

// Opens libvips and starts it once per process (thread-safe): no operation cache, so a file
// replaced on disk is never served from memory; loaders libvips marks untrusted are blocked,
// except the ImageMagick bridge that BMP, ICO, TGA and PCX need (callers route only those
// formats to it). False with "Cannot load the image engine: ..." in *error, on this and every
// later call, when the library or one of its functions is missing.
bool EnsureVips(std::string* error);

// The functions of the library EnsureVips opened. Valid only after it succeeded, which holding
// any VipsImage proves.
const VipsApi& Vips();

struct VipsUnref {
  void operator()(VipsImage* image) const {
    if (image != nullptr) Vips().object_unref(image);
  }
};
using VipsPtr = std::unique_ptr<VipsImage, VipsUnref>;

// Bytes in one pixel and one row of a memory image, and the address of one pixel: libvips's own
// macros for these call into the library for the sample size.
inline size_t PixelBytes(const VipsImage* image) {
  size_t sample = 1;
  switch (image->BandFmt) {
    case VIPS_FORMAT_USHORT:
    case VIPS_FORMAT_SHORT:
      sample = 2;
      break;
    case VIPS_FORMAT_UINT:
    case VIPS_FORMAT_INT:
    case VIPS_FORMAT_FLOAT:
      sample = 4;
      break;
    case VIPS_FORMAT_COMPLEX:
    case VIPS_FORMAT_DOUBLE:
      sample = 8;
      break;
    case VIPS_FORMAT_DPCOMPLEX:
      sample = 16;
      break;
    default:
      break;
  }
  return sample * static_cast<size_t>(image->Bands);
}
inline size_t LineBytes(const VipsImage* image) {
  return PixelBytes(image) * static_cast<size_t>(image->Xsize);
}
inline VipsPel* PixelAddress(const VipsImage* image, int x, int y) {
  return image->data + static_cast<size_t>(y) * LineBytes(image) +
         static_cast<size_t>(x) * PixelBytes(image);
}

// Takes and clears libvips's pending error text, reduced to its first line; `fallback` when
// libvips logged nothing. libvips keeps one log per process, so under concurrent failures a
// text may belong to another thread's call; the caller's own prefix keeps the message useful.
std::string TakeVipsError(const char* fallback = "unknown error");

}  // namespace quorvane::image::internal
