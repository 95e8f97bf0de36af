#include "imaging/viewer_document.h"

#include <memory>
#include <optional>
#include <utility>

namespace quorvane::imaging {

ViewerDocument::ViewerDocument(image::Image image, PhotoText text, std::filesystem::path spill_root)
    : history_(std::move(spill_root)) {
  state_.image = std::move(image);
  state_.text = std::move(text);
}

image::Image ViewerDocument::image() const {
  std::lock_guard lock(mutex_);
  return state_.image;
}

int32_t ViewerDocument::image_changed() const {
  std::lock_guard lock(mutex_);
  return state_.image_changed;
}

PhotoText ViewerDocument::text() const {
  std::lock_guard lock(mutex_);
  return state_.text;
}

ResultCode ViewerDocument::RunEdit(const EditCommand& command, const EditValues& values,
                                   const EditSelection& selection, DisplaySize display,
                                   platform::ProgressSink& progress, image::ResampleMode mode) {
  image::Image working = image();
  if (!working.IsValid()) return kFailed;
  const std::optional<ImageSelection> on_image =
      SelectionToImage(selection, display.width, display.height, working.width(), working.height());

  std::unique_ptr<ImageFilter> filter;
  if (command.uses_selection_rect) {
    if (!on_image) return kNothingToDo;
    const ImageRect rect = TopDownRect(*on_image, working.height());
    filter = std::make_unique<CropFilter>(rect.left, rect.top, rect.right, rect.bottom);
  } else {
    filter = MakeViewerFilter(command, values, mode);
    if (filter == nullptr) return kNotImplemented;
  }
  std::optional<SelectionMask> mask;
  if (command.honours_selection && on_image) {
    mask.emplace(*on_image, working.width(), working.height());
  }
  FilterRun run{&progress, mask ? &*mask : nullptr};
  const ResultCode code = filter->Apply(working, run);
  if (progress.Cancelled()) return kCancelled;
  if (code != kOk) {
    last_error_ = working.last_error();
    return code;
  }

  // The entry takes the image as it is now; only then does the new one go in.
  history_.PushImage(std::string(command.viewer_label), state_, mutex_);
  {
    std::lock_guard lock(mutex_);
    state_.image = std::move(working);
    state_.image_changed = 1;
    state_.drawing_in_progress = false;
  }
  return kOk;
}

void ViewerDocument::SetText(std::string label, PhotoText text) {
  history_.PushText(std::move(label), this->text());
  std::lock_guard lock(mutex_);
  state_.text = std::move(text);
}

}  // namespace quorvane::imaging
