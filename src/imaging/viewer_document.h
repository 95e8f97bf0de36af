// The core of the photo window: the image it shows, the photo's text fields, and its history,
// with the run of an edit command (copy, selection, filter, history entry, install). The
// window owns the threads: RunEdit runs on a worker, everything else on the window's thread,
// never both at once.
#pragma once

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <string>

#include "image/image.h"
#include "imaging/edit_commands.h"
#include "imaging/edit_selection.h"
#include "imaging/viewer_history.h"

namespace quorvane::imaging {

// Where the selection was drawn: the selection's display pixels map onto the image through
// these sizes.
struct DisplaySize {
  int width = 0;
  int height = 0;
};

class ViewerDocument {
 public:
  explicit ViewerDocument(image::Image image, PhotoText text = {},
                          std::filesystem::path spill_root = {});

  // A copy of the current image (cheap: the pixels are shared). Thread-safe.
  image::Image image() const;
  int32_t image_changed() const;
  PhotoText text() const;

  // Runs `command` on a copy of the current image. With a selection (for the commands that
  // honour one) only its pixels change; crop keeps just the selection and does nothing at all
  // (kNothingToDo, no history entry) when the selection is empty. On success the history
  // gets the command's label with the image as it was, then the result is installed. The
  // filter reports its rows to `progress` and polls it for a cancel; a cancel, a failure or
  // nothing to do leaves image and history as they were and returns the code (kCancelled,
  // kFailed, kNothingToDo). Runs on the caller's (worker) thread.
  ResultCode RunEdit(const EditCommand& command, const EditValues& values,
                     const EditSelection& selection, DisplaySize display,
                     platform::ProgressSink& progress,
                     image::ResampleMode mode = image::ResampleMode::kBicubic);
  // Why the last RunEdit that failed did, in the image operation's words; empty when it gave
  // none. Read on the window's thread once the edit has ended.
  const std::string& last_error() const { return last_error_; }

  // Changes the photo's text fields as one undoable step.
  void SetText(std::string label, PhotoText text);

  bool Undo() { return history_.Undo(state_, mutex_); }
  bool Redo() { return history_.Redo(state_, mutex_); }
  ViewerHistory& history() { return history_; }
  const ViewerHistory& history() const { return history_; }

 private:
  mutable std::mutex mutex_;
  ViewerState state_;
  ViewerHistory history_;
  std::string last_error_;
};

}  // namespace quorvane::imaging
