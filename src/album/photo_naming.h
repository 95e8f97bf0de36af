// How photos are named and typed inside an album: the image type table, thumbnail names,
// unique names, and the location rules (URL or folder).
#pragma once

#include <string>
#include <string_view>

#include "image/image_types.h"

namespace quorvane::album {

class Album;

// The image type table decides a photo's type name and format (image/image_types.h).
using image::FindImageType;
using image::ImageType;

// "_thumb_" + the name without its extension + ".jpg": thumbnails are always JPEG files.
std::string ThumbnailName(std::string_view image_file_name);

// True when `path`, lower-cased, begins with "http://", "https://" or "ftp://".
bool IsUrl(std::string_view path);

// The name a file gets inside an album: every "~" becomes "-", so tildes never reach an
// album's file names (the album keeps its own files under names that begin with one), and so
// does every byte the index cannot hold in a file name (index_check.h, IndexCanHoldAsIs:
// '"', '>', CR, LF, NUL and 0xFF), so the photo is still there at the next load.
std::string AlbumFileName(std::string_view name);

// `wanted` when the album holds no file of that name, else the first free one of
// base-0.ext, base-1.ext, ... (base = the name up to its last ".", ext = the rest).
std::string MakeUniqueName(Album& album, std::string_view wanted);

}  // namespace quorvane::album
