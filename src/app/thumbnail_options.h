// The album thumbnail settings the program keeps among its "options." values.
#pragma once

#include "album/album.h"
#include "settings/settings.h"

namespace quorvane::app {

// "options.thumbnail.quality" (1..100) and "options.thumbnail.resample" (0 nearest,
// 1 bilinear, 2 bicubic, 3 Lanczos); the defaults for what is missing or out of range.
album::ThumbnailOptions ThumbnailOptionsFrom(const settings::Settings& values);

}  // namespace quorvane::app
