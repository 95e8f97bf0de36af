#include "imaging/edit_selection.h"

#include <algorithm>
#include <cmath>

namespace quorvane::imaging {
namespace {

int32_t Scale(int64_t value, int image_size, int display_size) {
  if (display_size <= 0) return static_cast<int32_t>(value);
  return static_cast<int32_t>(value * image_size / display_size);
}

}  // namespace

std::optional<ImageSelection> SelectionToImage(const EditSelection& selection, int display_width,
                                               int display_height, int image_width,
                                               int image_height) {
  if (selection.empty()) return std::nullopt;
  ImageSelection out;
  out.shape = selection.shape;
  out.left = Scale(selection.left, image_width, display_width);
  out.right = Scale(selection.right, image_width, display_width);
  out.top = Scale(int64_t{display_height} - selection.top - 1, image_height, display_height);
  out.bottom = Scale(int64_t{display_height} - selection.bottom - 1, image_height, display_height);
  if (out.empty()) return std::nullopt;
  return out;
}

ImageRect TopDownRect(const ImageSelection& selection, int image_height) {
  return ImageRect{selection.left, image_height - 1 - selection.top, selection.right,
                   image_height - 1 - selection.bottom};
}

SelectionMask::SelectionMask(const ImageSelection& selection, int image_width, int image_height)
    : rect_(TopDownRect(selection, image_height)),
      shape_(selection.shape),
      image_width_(image_width) {}

bool SelectionMask::RowSpan(int y, int* begin, int* end) const {
  if (y < rect_.top || y >= rect_.bottom || rect_.right <= rect_.left) return false;
  int first = rect_.left;
  int last = rect_.right;  // one past
  if (shape_ == static_cast<int32_t>(SelectionShape::kEllipse)) {
    const double cx = (rect_.left + rect_.right) / 2.0;
    const double cy = (rect_.top + rect_.bottom) / 2.0;
    const double rx = (rect_.right - rect_.left) / 2.0;
    const double ry = (rect_.bottom - rect_.top) / 2.0;
    const double dy = (y + 0.5 - cy) / ry;
    if (dy * dy > 1.0) return false;
    const double half = rx * std::sqrt(1.0 - dy * dy);
    // Pixel x is inside when its centre x + 0.5 lies within half of the centre line.
    first = static_cast<int>(std::ceil(cx - half - 0.5));
    last = static_cast<int>(std::floor(cx + half - 0.5)) + 1;
  } else if (shape_ != static_cast<int32_t>(SelectionShape::kRectangle)) {
    return false;
  }
  *begin = std::max(first, 0);
  *end = std::min(last, image_width_);
  return *begin < *end;
}

bool SelectionMask::Contains(int x, int y) const {
  int begin = 0, end = 0;
  return RowSpan(y, &begin, &end) && x >= begin && x < end;
}

}  // namespace quorvane::imaging
