#include "album/cell_bitmaps.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace quorvane::album {
namespace {

using image::Image;
using image::Rgba;

constexpr Rgba kBlack{0, 0, 0, 255};

// A line from (x0, y0) to (x1, y1), both ends included.
void DrawLine(Image& image, int x0, int y0, int x1, int y1, Rgba color) {
  const int dx = std::abs(x1 - x0), sx = x0 < x1 ? 1 : -1;
  const int dy = -std::abs(y1 - y0), sy = y0 < y1 ? 1 : -1;
  int error = dx + dy;
  for (;;) {
    image.SetPixel(x0, y0, color);
    if (x0 == x1 && y0 == y1) return;
    const int twice = 2 * error;
    if (twice >= dy) {
      error += dy;
      x0 += sx;
    }
    if (twice <= dx) {
      error += dx;
      y0 += sy;
    }
  }
}

}  // namespace

Image MakeNoImageBitmap(int width, int height, std::string_view text) {
  Image bitmap;
  if (width < 1 || height < 1 || !bitmap.Create(width, height, false, Rgba{192, 192, 192, 255})) {
    return Image();
  }
  const int right = width - 1, bottom = height - 1;
  DrawLine(bitmap, 0, 0, right, 0, kBlack);
  DrawLine(bitmap, right, 0, right, bottom, kBlack);
  DrawLine(bitmap, right, bottom, 0, bottom, kBlack);
  DrawLine(bitmap, 0, bottom, 0, 0, kBlack);
  DrawLine(bitmap, 0, 0, right, bottom, kBlack);
  DrawLine(bitmap, right, 0, 0, bottom, kBlack);
  // Without a usable font the placeholder still reads as one: the frame and cross stay.
  (void)bitmap.DrawCenteredText(text.empty() ? "No Image" : text, kBlack,
                                std::clamp(height / 8, 8, 14));
  return bitmap;
}

Image MakeCellBitmap(const Image& thumbnail, int cell_width, int cell_height) {
  Image cell;
  if (cell_width < 1 || cell_height < 1 ||
      !cell.Create(cell_width, cell_height, false, Rgba{255, 255, 255, 255})) {
    return Image();
  }
  if (!thumbnail.IsValid()) return cell;
  const int left = (cell_width - thumbnail.width()) / 2;
  const int top = (cell_height - thumbnail.height()) / 2;
  const int channels = thumbnail.channels();
  const int x0 = std::max(0, -left);
  const int x1 = std::min(thumbnail.width(), cell_width - left);
  if (x1 <= x0) return cell;
  for (int y = std::max(0, -top); y < thumbnail.height() && top + y < cell_height; ++y) {
    const uint8_t* in = thumbnail.Row(y) + static_cast<size_t>(x0) * channels;
    uint8_t* out = cell.MutableRow(top + y) + static_cast<size_t>(left + x0) * 3;
    if (channels == 3) {
      std::memcpy(out, in, static_cast<size_t>(x1 - x0) * 3);
      continue;
    }
    // Transparent parts show the white cell.
    for (int x = x0; x < x1; ++x, in += channels, out += 3) {
      const int alpha = in[3];
      for (int c = 0; c < 3; ++c) {
        out[c] = static_cast<uint8_t>((in[c] * alpha + 255 * (255 - alpha) + 127) / 255);
      }
    }
  }
  return cell;
}

}  // namespace quorvane::album
