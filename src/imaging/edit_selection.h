// The photo window's selection and what it becomes on the image. The window draws the
// selection in its own display pixels; the filters that honour a selection see it as a row
// span per image row (SelectionMask), rectangle or ellipse.
#pragma once

#include <cstdint>
#include <optional>

namespace quorvane::imaging {

enum class SelectionShape : int32_t { kRectangle = 0, kEllipse = 1 };

// In display pixels: right and bottom are one past the last selected column and row.
struct EditSelection {
  int32_t left = 0;
  int32_t top = 0;
  int32_t right = 0;
  int32_t bottom = 0;
  int32_t shape = 0;  // a SelectionShape value; any other value selects nothing

  bool empty() const { return right <= left || bottom <= top; }
};

// A selection in image pixels with rows counted from the bottom of the image, the way the
// selection calls take it: top > bottom for anything non-empty, and the rows it covers are
// bottom + 1 .. top.
struct ImageSelection {
  int32_t left = 0;
  int32_t top = 0;
  int32_t right = 0;
  int32_t bottom = 0;
  int32_t shape = 0;

  bool empty() const { return right <= left || top <= bottom; }
};

// Converts the window's selection: rows are flipped against the displayed height
// (top' = height - top - 1, bottom' = height - bottom - 1), then both axes are scaled from
// display to image pixels (truncating). Returns nothing when the result is empty.
std::optional<ImageSelection> SelectionToImage(const EditSelection& selection, int display_width,
                                               int display_height, int image_width,
                                               int image_height);

// The same selection in rows counted from the top, as [left, right) x [top, bottom) in the
// image; used for cropping.
struct ImageRect {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;
};
ImageRect TopDownRect(const ImageSelection& selection, int image_height);

// Which pixels of each image row a selection covers. A rectangle covers its rect; an ellipse
// the pixels whose centres lie inside the ellipse inscribed in its rect. A shape code other
// than rectangle or ellipse covers nothing. Immutable after construction; any thread.
class SelectionMask {
 public:
  SelectionMask(const ImageSelection& selection, int image_width, int image_height);

  // The covered columns of row y (0 = top row) as [*begin, *end); false when none.
  bool RowSpan(int y, int* begin, int* end) const;
  bool Contains(int x, int y) const;

 private:
  ImageRect rect_;
  int32_t shape_;
  int image_width_;
};

}  // namespace quorvane::imaging
