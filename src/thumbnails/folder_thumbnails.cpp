#include "thumbnails/folder_thumbnails.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace quorvane::thumbnails {

namespace {

// Cells arrive in any order and wait here until every cell before them has been handed on.
struct ReorderBuffer {
  std::mutex mutex;
  std::condition_variable arrived;
  std::vector<std::optional<ThumbnailCell>> cells;
};

// How long a wait for the next cell goes without looking at the cancel button: one large
// photo can take seconds, and nothing else wakes the wait.
constexpr std::chrono::milliseconds kCancelPoll(50);

}  // namespace

platform::ResultCode ShowFolderInOrder(ThumbnailWorker& worker, const std::filesystem::path& folder,
                                       int cell_width, int cell_height,
                                       const CellMadeCallback& on_made,
                                       const CellInOrderCallback& on_cell,
                                       platform::ProgressSink& progress, FolderTally* tally,
                                       std::string* error) {
  *tally = {};
  ReorderBuffer buffer;
  const bool listed = worker.ShowFolder(folder, cell_width, cell_height, [&](ThumbnailCell&& cell) {
    if (on_made) on_made(cell);
    std::lock_guard lock(buffer.mutex);
    const size_t index = cell.index;
    // A cell may come before the buffer is sized for the whole listing.
    if (buffer.cells.size() <= index) buffer.cells.resize(index + 1);
    buffer.cells[index] = std::move(cell);
    buffer.arrived.notify_one();
  });
  if (!listed) {
    *error = worker.last_error();
    return platform::kFailed;
  }
  const size_t files = worker.files().size();
  {
    std::lock_guard lock(buffer.mutex);
    if (buffer.cells.size() < files) buffer.cells.resize(files);
  }
  tally->files = files;
  progress.SetPosition(0, static_cast<int64_t>(files));
  for (size_t next = 0; next < files; ++next) {
    std::unique_lock lock(buffer.mutex);
    while (!buffer.cells[next].has_value() || progress.Cancelled()) {
      if (progress.Cancelled()) {
        // The worker's callback takes the buffer's lock: it must be free while Cancel waits
        // for the cells being made.
        lock.unlock();
        worker.Cancel();
        return platform::kCancelled;
      }
      buffer.arrived.wait_for(lock, kCancelPoll);
    }
    // The cell leaves the buffer, so only cells waiting for an earlier one are held.
    const ThumbnailCell cell = std::move(*buffer.cells[next]);
    buffer.cells[next].reset();
    lock.unlock();
    ++tally->outcomes[static_cast<size_t>(cell.outcome)];
    on_cell(cell);
    progress.SetPosition(static_cast<int64_t>(next + 1), static_cast<int64_t>(files));
  }
  worker.Wait();
  return platform::kOk;
}

}  // namespace quorvane::thumbnails
