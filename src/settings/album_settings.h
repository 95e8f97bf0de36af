// The picture settings the program keeps among its "options." values: how albums make their
// thumbnails and how photo edits resample. Kept apart from the settings store so that the
// store stays free of the album and image libraries, and so that the desktop program and
// quorvane-cli read the values the same way.
#pragma once

#include "album/album.h"
#include "image/image.h"
#include "settings/settings.h"

namespace quorvane::settings {

inline constexpr std::string_view kThumbnailQualityOption = "options.thumbnail.quality";
inline constexpr std::string_view kThumbnailResampleOption = "options.thumbnail.resample";
inline constexpr std::string_view kEditResampleOption = "options.resize.resample";

// "options.thumbnail.quality" (1..100) and "options.thumbnail.resample" (0 nearest,
// 1 bilinear, 2 bicubic, 3 Lanczos); the defaults for what is missing or out of range.
album::ThumbnailOptions ThumbnailOptionsFrom(const Settings& values);
// The resampling of the resize edits, "options.resize.resample" (numbered as above).
image::ResampleMode EditResampleModeFrom(const Settings& values);

// Store the same values, as the preferences set them.
void SetThumbnailOptions(Settings* values, const album::ThumbnailOptions& options);
void SetEditResampleMode(Settings* values, image::ResampleMode mode);

}  // namespace quorvane::settings
