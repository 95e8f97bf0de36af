// Saving an album under a new name, as a new folder or album archive: the way out for an
// album that is read-only because its index could not be read whole, and the desktop
// program's "Save As".
#pragma once

#include <filesystem>

#include "album/album.h"
#include "platform/progress.h"
#include "platform/result_code.h"

namespace quorvane::album {

// Writes what `album` holds as a new album at `target`: a folder (made when missing; an
// existing one must be empty) or, for a name ending in ".qvo", an album archive (which must
// not exist). Copies each photo's image and its thumbnail (a missing thumbnail is left out),
// then writes the index; the album itself, read-only or not, stays as and where it was.
// Reports "Copying "a.jpg" (image 1 of 3) ..." per photo and polls for cancel between photos.
// Returns kOk, or kFailed / kCancelled with nothing left at `target` (a folder that was there
// empty stays, empty); on kFailed the album's last error says why. Runs on the caller's thread.
[[nodiscard]] platform::ResultCode SaveAlbumAs(Album& album, const std::filesystem::path& target,
                                               platform::ProgressSink& progress);

}  // namespace quorvane::album
