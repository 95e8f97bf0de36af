// The small amount of glue every libvips call in this library needs: one-time start-up with
// our safety settings, an owning pointer for VipsImage, and turning libvips's process-wide
// error log into the text of one failure. Only .cpp files of src/image include this.
#pragma once

#include <memory>
#include <string>

#include <vips/vips.h>

namespace quorvane::image::internal {

// Starts libvips once per process (thread-safe): no operation cache, so a file replaced on
// disk is never served from memory; loaders libvips marks untrusted are blocked, except the
// ImageMagick bridge that BMP, ICO, TGA and PCX need (callers route only those formats to it).
void EnsureVips();

struct VipsUnref {
  void operator()(VipsImage* image) const {
    if (image != nullptr) g_object_unref(image);
  }
};
using VipsPtr = std::unique_ptr<VipsImage, VipsUnref>;

// Takes and clears libvips's pending error text, reduced to its first line; `fallback` when
// libvips logged nothing. libvips keeps one log per process, so under concurrent failures a
// text may belong to another thread's call; the caller's own prefix keeps the message useful.
std::string TakeVipsError(const char* fallback = "unknown error");

}  // namespace quorvane::image::internal
