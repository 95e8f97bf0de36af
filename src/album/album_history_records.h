// The album history's records for changes to the photo list: "Add Photo", "Remove Photo" and
// "Move Photo". Each keeps the photo records it needs; the files themselves stay in the
// album's store (retained) until the album closes, so undo and redo only edit the list.
#pragma once

#include <span>
#include <vector>

#include "album/album_history.h"
#include "album/batch_operations.h"

namespace quorvane::album {

// Records photos that AddImages put at `positions` (in the order they were added). Call it
// right after the add, while the photos are still there.
RefPtr<HistoryRecord> MakeAddPhotoRecord(const Album& album, std::span<const size_t> positions);

// Records photos DeletePhotos took out (its *removed, in removal order).
RefPtr<HistoryRecord> MakeRemovePhotoRecord(std::vector<RemovedPhoto> removed);

// Moves the photos at `positions` (ascending) so that they stand, in their order, before the
// photo that was at `insert_before` (the photo count moves them to the end), and returns the
// record of it. Null, with nothing moved, when a position is out of range or out of order.
RefPtr<HistoryRecord> MovePhotos(Album& album, std::span<const size_t> positions,
                                 size_t insert_before);

// MovePhotos by where the photos are to stand: afterwards the first of them is at `first`, the
// others right after it in their order. Null, with nothing moved, when a position is out of
// range or out of order, or the photos would not fit from `first` to the end.
RefPtr<HistoryRecord> MovePhotosTo(Album& album, std::span<const size_t> positions, size_t first);

}  // namespace quorvane::album
