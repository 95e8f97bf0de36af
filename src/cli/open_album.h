// Opening an album named on the command line: a folder, or an album archive (".qvo") whose
// working copy lives while the album does.
#pragma once

#include <memory>
#include <string>

#include "album/album.h"
#include "settings/settings.h"

namespace quorvane::cli {

// What a command does with the album it opens. An album whose index could not be read whole
// is read-only (album.h): changing it would lose what could not be read.
enum class AlbumAccess {
  kChange,       // a read-only album is refused, with a message that offers "album save-as"
  kRead,         // a read-only album opens, with a warning on stderr that says so
  kReadQuietly,  // a read-only album opens without a word (saving it under a new name)
};

// Opens and loads the album at `location`; on failure, or when `access` refuses it, prints
// why (command_line.h, Failure) and returns null.
std::unique_ptr<album::Album> OpenAlbum(const std::string& location,
                                        AlbumAccess access = AlbumAccess::kChange);

// The thumbnail settings (settings/album_settings.h) from the user's settings, loaded for the
// purpose.
album::ThumbnailOptions UserThumbnailOptions();

}  // namespace quorvane::cli
