// Scaling to an exact size: libvips's reducers for the smooth modes, and a nearest-neighbour
// scaler of our own. Internal to src/image.
#pragma once

#include <string>

#include <vips/vips.h>

#include "image/image.h"
#include "image/internal/vips_support.h"

namespace quorvane::image::internal {

// Scales a lazy or memory image to exactly width x height with a smooth filter.
bool ResizeExact(VipsPtr& image, int width, int height, ResampleMode mode, std::string* error);
// Nearest-neighbour scaling of a memory image; null when memory runs out.
VipsPtr ResizeNearest(VipsImage* in, int width, int height);

}  // namespace quorvane::image::internal
