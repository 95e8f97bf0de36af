// Reads an album folder's index for searching: the album's title and its photo records,
// exactly as opening the album gives them (photos whose file is missing are left out, so a
// result's index is the photo's index in the opened album).
#pragma once

#include <string>
#include <vector>

#include "album/album_photo.h"

namespace quorvane::browser {

// Reusable from album to album, so the buffers of one read serve the next. Thread-compatible.
class SearchIndexReader {
 public:
  // Reads the index of the album folder at `path`. False, with last_error(), when no index
  // can be read or it is malformed; title() and photos() are then empty.
  bool Read(const std::string& path);

  const std::string& title() const { return title_; }
  const std::vector<album::AlbumPhoto>& photos() const { return photos_; }
  const std::string& last_error() const { return last_error_; }

 private:
  std::string title_;
  std::vector<album::AlbumPhoto> photos_;
  std::string last_error_;
};

}  // namespace quorvane::browser
