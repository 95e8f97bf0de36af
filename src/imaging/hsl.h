// Hue, saturation and lightness on the 0..255 scale, in integer arithmetic, as the sepia and
// desaturate filters use them. Hue 0 is red, 85 green, 170 blue; a grey has saturation 0 and
// the "undefined" hue 170.
#pragma once

#include <cstdint>

namespace quorvane::imaging {

struct Hsl {
  uint8_t h = 0;
  uint8_t s = 0;
  uint8_t l = 0;
  friend bool operator==(const Hsl&, const Hsl&) = default;
};

struct Rgb {
  uint8_t r = 0;
  uint8_t g = 0;
  uint8_t b = 0;
  friend bool operator==(const Rgb&, const Rgb&) = default;
};

// Both conversions round each step to the nearest integer, so a round trip may move a channel
// by one level. Pure functions; any thread.
Hsl RgbToHsl(Rgb rgb);
Rgb HslToRgb(Hsl hsl);

}  // namespace quorvane::imaging
