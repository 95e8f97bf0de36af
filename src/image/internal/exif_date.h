// Reading the date a photo was taken from the text form of EXIF DateTimeOriginal
// ("2021:07:14 09:30:05"). Cameras and editing tools are sloppy here, so the parser accepts a
// few separator variants and rejects the blank "0000:00:00 00:00:00" some cameras write.
#pragma once

#include <optional>
#include <string_view>

#include "image/image.h"

namespace quorvane::image::internal {

// The date and time at the start of `text` (anything after them is ignored), or nothing when
// the text does not hold a valid calendar date. A missing time reads as midnight.
std::optional<PhotoDateTime> ParseExifDateTime(std::string_view text);

}  // namespace quorvane::image::internal
