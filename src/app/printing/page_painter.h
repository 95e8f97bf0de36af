// The desktop program's back-end of the print layout: a laid-out page drawn with a QPainter on
// any paint device (a printer, the print preview, an image) at the device's own resolution, so
// the printed page, its preview and the PDF the command line writes show the same sheet.
#pragma once

#include <cstddef>
#include <functional>

#include <QImage>

#include "print/page_layout.h"

class QPainter;

namespace quorvane::app::printing {

// The picture of the page's photo `index` (its position in the page's photos), already at the
// size it is printed at; a null image draws a pale placeholder in its place.
using PhotoSource = std::function<QImage(size_t index, const print::PlacedPhoto& photo)>;

// Draws `page` with `painter`, whose origin is the sheet's top-left corner. Lengths go from
// points to the device's dots by its logical resolution; texts keep the layout's widths, so a
// font that is wider or narrower than the layout measured is fitted to the same span.
void PaintPage(QPainter& painter, const print::PageLayout& page, const PhotoSource& photos);

}  // namespace quorvane::app::printing
