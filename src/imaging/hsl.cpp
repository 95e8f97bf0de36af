#include "imaging/hsl.h"

#include <algorithm>

namespace quorvane::imaging {
namespace {

constexpr int kHslMax = 255;
constexpr int kRgbMax = 255;
constexpr int kUndefinedHue = kHslMax * 2 / 3;

uint8_t ToByte(int value) { return static_cast<uint8_t>(std::clamp(value, 0, 255)); }

// One channel from the two magic levels and a hue position (sixths of the circle).
int HueToRgb(int n1, int n2, int hue) {
  if (hue < 0) hue += kHslMax;
  if (hue > kHslMax) hue -= kHslMax;
  if (hue < kHslMax / 6) return n1 + (((n2 - n1) * hue + (kHslMax / 12)) / (kHslMax / 6));
  if (hue < kHslMax / 2) return n2;
  if (hue < (kHslMax * 2) / 3) {
    return n1 + (((n2 - n1) * (((kHslMax * 2) / 3) - hue) + (kHslMax / 12)) / (kHslMax / 6));
  }
  return n1;
}

}  // namespace

Hsl RgbToHsl(Rgb rgb) {
  const int r = rgb.r, g = rgb.g, b = rgb.b;
  const int c_max = std::max({r, g, b});
  const int c_min = std::min({r, g, b});
  const int l = ((c_max + c_min) * kHslMax + kRgbMax) / (2 * kRgbMax);
  if (c_max == c_min) return Hsl{static_cast<uint8_t>(kUndefinedHue), 0, ToByte(l)};

  const int spread = c_max - c_min;
  int s;
  if (l <= kHslMax / 2) {
    s = (spread * kHslMax + (c_max + c_min) / 2) / (c_max + c_min);
  } else {
    const int rest = 2 * kRgbMax - c_max - c_min;
    s = (spread * kHslMax + rest / 2) / rest;
  }
  const int r_delta = ((c_max - r) * (kHslMax / 6) + spread / 2) / spread;
  const int g_delta = ((c_max - g) * (kHslMax / 6) + spread / 2) / spread;
  const int b_delta = ((c_max - b) * (kHslMax / 6) + spread / 2) / spread;
  int h;
  if (r == c_max) {
    h = b_delta - g_delta;
  } else if (g == c_max) {
    h = kHslMax / 3 + r_delta - b_delta;
  } else {
    h = (2 * kHslMax) / 3 + g_delta - r_delta;
  }
  if (h < 0) h += kHslMax;
  if (h > kHslMax) h -= kHslMax;
  return Hsl{ToByte(h), ToByte(s), ToByte(l)};
}

Rgb HslToRgb(Hsl hsl) {
  const int h = hsl.h, s = hsl.s, l = hsl.l;
  if (s == 0) {
    const uint8_t grey = ToByte(l * kRgbMax / kHslMax);
    return Rgb{grey, grey, grey};
  }
  const int magic2 = l <= kHslMax / 2 ? (l * (kHslMax + s) + kHslMax / 2) / kHslMax
                                      : l + s - (l * s + kHslMax / 2) / kHslMax;
  const int magic1 = 2 * l - magic2;
  auto channel = [&](int hue) {
    return ToByte((HueToRgb(magic1, magic2, hue) * kRgbMax + kHslMax / 2) / kHslMax);
  };
  return Rgb{channel(h + kHslMax / 3), channel(h), channel(h - kHslMax / 3)};
}

}  // namespace quorvane::imaging
