// AlbumPhoto: one photo's record in an album, as the album index stores it.
#pragma once

#include <cstdint>
#include <string>

#include "platform/ole_date.h"

namespace quorvane::album {

struct AlbumPhoto {
  std::string title;  // the caption
  std::string description;
  std::string keywords;
  platform::OleDate date = platform::kNoDate;
  std::string image_file;  // the photo's file name inside the album
  std::string format;      // the image type name, e.g. "JPEG"
  int32_t width = 0;
  int32_t height = 0;
};

}  // namespace quorvane::album
