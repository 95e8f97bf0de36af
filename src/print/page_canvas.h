// Drawing a laid-out page. The order a page is drawn in (rectangles, then photos, then text, so
// frames and fills lie under the photos and captions on top) is kept here once; each back-end,
// the PDF writer or the desktop program's painter, only says how one item is drawn.
#pragma once

#include <cstddef>

#include "print/page_layout.h"

namespace quorvane::print {

class PageCanvas {
 public:
  virtual ~PageCanvas() = default;
  virtual void DrawRect(const PlacedRect& rect) = 0;
  // `index` is the photo's position in the page's `photos`.
  virtual void DrawPhoto(size_t index, const PlacedPhoto& photo) = 0;
  virtual void DrawText(const PlacedText& text) = 0;
};

// Draws every item of `page` on `canvas`, in order.
void DrawPage(const PageLayout& page, PageCanvas& canvas);

}  // namespace quorvane::print
