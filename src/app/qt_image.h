// Pictures passed between the core's image type and Qt: shown by widgets, or taken from the
// clipboard, the screen or a scanner into an album.
#pragma once

#include <QImage>

#include "image/image.h"

namespace quorvane::app {

// A copy of `picture` in a format Qt paints without converting (RGB32, or premultiplied ARGB32
// with alpha), so the conversion cost falls on the worker that calls this; a null QImage for an
// empty picture or when memory runs out.
QImage ToQImage(const image::Image& picture);

// A copy of `picture` as a true-colour image (with alpha when it has any); an empty image for
// a null QImage.
image::Image FromQImage(const QImage& picture);

}  // namespace quorvane::app
