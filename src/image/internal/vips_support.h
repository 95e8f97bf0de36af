// The small amount of glue every libvips call in this library needs: opening and starting the
// library once with our safety settings, an owning pointer for VipsImage, byte addresses in a
// memory image, and getting each failure its own text out of libvips's process-wide error log.
// Only .cpp files of src/image include this.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <type_traits>

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
// libvips logged nothing. Exact only inside RunVipsJob, which see.
std::string TakeVipsError(const char* fallback = "the image library gave no reason");

// libvips logs every failure in one buffer for the whole process, written by whichever thread
// failed (often one of its own workers) and emptied by whoever reads it, so under concurrent
// failures a text read there may be another call's, or gone. Every call into libvips from this
// library therefore runs inside a job: jobs run side by side while they succeed; a job that
// failed after reading the log (TakeVipsError) runs once more, alone, with the log emptied
// first, so the texts it reads are its own. A job must leave its inputs as they were when it
// fails, so that running it again means the same thing. Nested jobs run as part of the
// outermost one. Returns what the last run of `job` returned. Thread-safe.
bool RunVipsJob(bool (*call)(void* job), void* job);
template <typename Job>
bool RunVipsJob(Job&& job) {
  return RunVipsJob([](void* j) { return (*static_cast<std::remove_reference_t<Job>*>(j))(); },
                    &job);
}

}  // namespace quorvane::image::internal
