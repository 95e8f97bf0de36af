// A fast reader for album index files written the way the program writes them: one strict tag
// after another (single spaces, double quotes, no line breaks in values), read straight from the
// bytes without building a document tree. Library search reads thousands of indexes with it.
// Anything it does not take for certain is left to AlbumIndex, the reader of every index.
#pragma once

#include <cstddef>
#include <functional>
#include <string_view>
#include <vector>

#include "album/album_photo.h"

namespace quorvane::album {

// A photo as the index file holds it: views into the scanned bytes, not yet decoded.
struct ScannedPhoto {
  std::string_view title, description, keywords, image_file, format, date, size;
  size_t begin = 0, end = 0;  // the bytes [begin, end) the photo's element takes
};

// The part of `bytes` the XML reader reads: everything before the first 0xFF byte.
std::string_view ReadableIndexBytes(std::string_view bytes);

// True when the bytes begin with the root tag of an index written the usual way, so that
// ScanIndex cannot fail on the root; false says nothing.
bool HasStrictIndexRoot(std::string_view bytes);

// Reads the album title (encoded, as in the file) and the photos of strict index bytes,
// keeping the photos for which `exists(image_file)` is true, in file order; the first of two
// same-named attributes counts, as in the XML reader. Returns false when the bytes are not
// written the usual way (the caller then reads them with AlbumIndex); *title and *photos hold
// partial results then.
bool ScanIndex(std::string_view bytes, const std::function<bool(std::string_view)>& exists,
               std::string_view* title, std::vector<ScannedPhoto>* photos);

// The photo's record exactly as AlbumIndex::LoadIndex makes it.
AlbumPhoto DecodeScannedPhoto(const ScannedPhoto& photo);

}  // namespace quorvane::album
