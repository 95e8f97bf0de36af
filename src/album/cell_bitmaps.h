// The pictures a photo grid draws: a placeholder for a photo without a picture, and a
// thumbnail centred in its cell.
#pragma once

#include <string_view>

#include "image/image.h"

namespace quorvane::album {

// A width x height picture filled light grey (192, 192, 192) inside a one-pixel black frame,
// crossed by both diagonals, with `text` ("No Image" when empty) centred. An invalid image
// when the size is below 1.
image::Image MakeNoImageBitmap(int width, int height, std::string_view text = {});

// A cell_width x cell_height white picture with `thumbnail` drawn at
// ((cell_width - thumbnail width) / 2, (cell_height - thumbnail height) / 2), clipped to the
// cell. An invalid image when the cell size is below 1.
image::Image MakeCellBitmap(const image::Image& thumbnail, int cell_width, int cell_height);

}  // namespace quorvane::album
