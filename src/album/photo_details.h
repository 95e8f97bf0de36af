// The fields of a photo that a person writes rather than the program: caption, description,
// keywords and date. Changed one photo at a time; the album's save merges each changed field
// into what another program may have written meanwhile (album_merge.h).
#pragma once

#include <optional>
#include <string>

#include "album/album.h"
#include "platform/ole_date.h"

namespace quorvane::album {

// What to change; fields left empty stay as they are. A date of kNoDate clears the date.
struct PhotoDetails {
  std::optional<std::string> title;  // the caption
  std::optional<std::string> description;
  std::optional<std::string> keywords;
  std::optional<platform::OleDate> date;
};

// Why the index could not give back a value of `details` as it was, naming the field ("The
// album index cannot hold the caption: it holds a byte 0xFF"), or empty when it can hold them
// all. A date must be a valid
// date or kNoDate.
std::string PhotoDetailsProblem(const PhotoDetails& details);

// Changes the fields of the photo at `index` that `details` gives and sets the modified flag.
// Fails, changing nothing, for a read-only album, a photo the album does not have, or a value
// the index cannot hold (PhotoDetailsProblem); the album's last error says why.
[[nodiscard]] bool SetPhotoDetails(Album& album, size_t index, const PhotoDetails& details);

}  // namespace quorvane::album
