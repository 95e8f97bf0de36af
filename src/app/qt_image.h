// Pictures of the core's image type shown by Qt widgets.
#pragma once

#include <QImage>

#include "image/image.h"

namespace quorvane::app {

// A copy of `picture` as a QImage (RGB or RGBA); a null QImage for an empty picture.
QImage ToQImage(const image::Image& picture);

}  // namespace quorvane::app
