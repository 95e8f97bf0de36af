// The layout engine: an album and a print template on paper of a given size become pages of
// placed items, in points from the sheet's top-left corner: rectangles (drawn first), photos,
// then text lines. Pure: it reads no file and draws nothing, so the PDF writer and a screen
// preview draw the very same pages.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "print/print_template.h"
#include "print/text_metrics.h"
#include "webalbum/expansion.h"

namespace quorvane::print {

inline constexpr double kPointsPerMillimetre = 72.0 / 25.4;

struct PageSize {
  double width = 0;  // points
  double height = 0;
};
// The template's paper in points.
PageSize PaperSize(const PaperSetup& paper);

struct Rect {
  double left = 0;
  double top = 0;
  double width = 0;
  double height = 0;
  double right() const { return left + width; }
  double bottom() const { return top + height; }
};

struct PlacedPhoto {
  int photo = -1;  // index in the album
  Rect spot;       // where the photo was fitted: the spot less its padding and captions
  Rect placed;     // the photo itself: inside `spot`, with the photo's aspect
};

struct PlacedText {
  std::string text;  // one line, UTF-8, only characters the fonts can print
  FontSpec font;
  double x = 0;  // where the line starts
  double baseline = 0;
  double width = 0;
};

struct PlacedRect {
  Rect rect;
  double line_width = 0;  // 0: no outline; the outline is centred on the rectangle's edge
  Color line_color;
  std::optional<Color> fill;
};

struct PageLayout {
  PageSize size;
  std::vector<PlacedRect> rects;
  std::vector<PlacedPhoto> photos;
  std::vector<PlacedText> texts;
};

// How many pages an album of `photo_count` photos takes: the page elements in rotation, each
// taking as many photos as it has spots, until every photo is placed; at least one.
int CountPages(const PrintTemplate& print_template, int photo_count);

// Lays the album out. The photos' width and height (upright, in pixels) give their aspect; a
// photo without a size fills its spot. Texts expand the album and photo placeholders of web
// designs ("{GalleryTitle}", "{ImageTitle}", "{ImageNum}" ...): a spot's captions for its
// photo, the page's other texts for the page's first photo; "{IndexPageNum}" and
// "{IndexPageMax}" as the page number and count, and `variables` (the album's user variables)
// with "{PageNum}" and "{PageCount}" besides. Margins wider than 40% of the sheet are narrowed.
std::vector<PageLayout> LayoutPages(const PrintTemplate& print_template,
                                    const webalbum::GalleryFacts& gallery, PageSize size,
                                    const webalbum::NamedValues& variables = {});

}  // namespace quorvane::print
