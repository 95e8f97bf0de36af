#include "print/page_canvas.h"

namespace quorvane::print {

void DrawPage(const PageLayout& page, PageCanvas& canvas) {
  for (const PlacedRect& rect : page.rects) canvas.DrawRect(rect);
  for (size_t i = 0; i < page.photos.size(); ++i) canvas.DrawPhoto(i, page.photos[i]);
  for (const PlacedText& text : page.texts) canvas.DrawText(text);
}

}  // namespace quorvane::print
