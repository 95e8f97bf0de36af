// Operations on many photos at once, with the progress texts the user sees:
// "Adding "a.jpg" (image 1 of 3) ...", "Copying ...", "Deleting ...". Each reports to its
// progress sink (the batch text per photo; the position follows photos and their steps), polls
// it for a cancel between photos, and goes on after a photo that fails, collecting the failures.
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "album/photo_operations.h"
#include "platform/progress.h"

namespace quorvane::album {

// "%s %s (image %d of %d) ...": the caller's leading word, a label, the index from 1, the total.
std::string BatchProgressText(std::string_view verb, std::string_view label, int number, int total);

// A photo's label in delete progress: its caption in double quotes, or its file name as it
// stands when the caption is empty.
std::string PhotoLabel(const AlbumPhoto& photo);

struct BatchResult {
  int done = 0;                       // photos handled successfully
  bool cancelled = false;             // stopped by a cancel before the end
  std::vector<std::string> failures;  // one message per photo that failed
};

// Adds the files in order from `position` on (-1 appends), each under a unique name made
// from its own file name. A photo whose file could not be copied in is taken out of the list
// again. The positions the photos took are appended to *added when given.
BatchResult AddImages(Album& album, std::span<const std::filesystem::path> sources, int position,
                      platform::ProgressSink& progress, std::vector<size_t>* added = nullptr);

// Copies the photos at `positions` into the folder `target_folder` under their own file
// names, each fitted into *fit when given.
BatchResult CopyImages(Album& album, std::span<const size_t> positions,
                       const std::filesystem::path& target_folder,
                       const std::optional<FitSize>& fit, platform::ProgressSink& progress);

// Copies the photos of `from` at `positions` into the album `to` (CopyPhotoToAlbum), in that
// order, appended after its photos.
BatchResult CopyPhotosToAlbum(Album& from, std::span<const size_t> positions, Album& to,
                              platform::ProgressSink& progress);

// A photo taken out of the album, with where it was.
struct RemovedPhoto {
  size_t position = 0;
  AlbumPhoto photo;
};

// Removes the photos at `positions` (ascending, as they are before the first removal). The
// k-th removal takes the photo at its position minus k. Their files stay until the album
// closes (so undo can put them back); *removed receives the records in removal order.
BatchResult DeletePhotos(Album& album, std::span<const size_t> positions,
                         platform::ProgressSink& progress, std::vector<RemovedPhoto>* removed);

}  // namespace quorvane::album
