// A whole folder's cells in the folder's listing order. The thumbnail worker hands cells over
// as its threads finish them, which suits a view that paints each cell where it belongs; a
// list of the folder (the command line, a contact sheet) needs them in order, as early as that
// order allows, without holding more than the cells still waiting for an earlier one.
#pragma once

#include <array>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>

#include "platform/progress.h"
#include "platform/result_code.h"
#include "thumbnails/thumbnail_worker.h"

namespace quorvane::thumbnails {

// How many cells of a folder ended each way.
struct FolderTally {
  size_t files = 0;
  std::array<size_t, 4> outcomes = {};  // indexed by CellOutcome

  size_t count(CellOutcome outcome) const { return outcomes[static_cast<size_t>(outcome)]; }
};

// Called on a worker thread with each cell as soon as it is made, before it waits for its
// turn: work that should run in parallel (writing the cell to a file). It may mark the cell
// failed, and the ordered delivery then reports it so.
using CellMadeCallback = std::function<void(ThumbnailCell& cell)>;
// Called on the calling thread with each cell, in listing order.
using CellInOrderCallback = std::function<void(const ThumbnailCell& cell)>;

// Lists `folder` on `worker` (whose current job is cancelled) and makes the cell of every file
// of it at cell_width x cell_height, handing each cell to `on_cell` as soon as it and every
// cell before it are ready. `on_made` may be empty. The position on `progress` is the number of
// cells delivered out of the folder's files; it reports no texts, so a caller's own output
// stays its own. Cancel is polled while waiting for a cell: the worker's job is then cancelled,
// no callback runs after the return, and the result is kCancelled. kFailed, with *error set,
// when the folder cannot be read. *tally counts the cells delivered. Blocks the calling thread
// until the folder is done.
platform::ResultCode ShowFolderInOrder(ThumbnailWorker& worker, const std::filesystem::path& folder,
                                       int cell_width, int cell_height,
                                       const CellMadeCallback& on_made,
                                       const CellInOrderCallback& on_cell,
                                       platform::ProgressSink& progress, FolderTally* tally,
                                       std::string* error);

}  // namespace quorvane::thumbnails
