// Opening an album named on the command line: a folder, or an album archive (".qvo") whose
// working copy lives while the album does.
#pragma once

#include <memory>
#include <string>

#include "album/album.h"

namespace quorvane::cli {

// Opens and loads the album at `location`; on failure
// prints why (command_line.h, Failure) and returns null.
std::unique_ptr<album::Album> OpenAlbum(const std::string& location);

// The user's thumbnail settings: "options.thumbnail.quality" (1..100) and
// "options.thumbnail.resample" (0 nearest, 1 bilinear, 2 bicubic, 3 Lanczos).
album::ThumbnailOptions UserThumbnailOptions();

}  // namespace quorvane::cli
