// HSL on the 0..255 scale: values worked out by hand from the integer formulas.
#include "imaging/hsl.h"

#include <gtest/gtest.h>

namespace quorvane::imaging {
namespace {

TEST(HslTest, ConvertsKnownColours) {
  // Pure red: L = (255 * 255 + 255) / 510 = 128, S = (65025 + 127) / 255 = 255, hue 0.
  EXPECT_EQ(RgbToHsl({255, 0, 0}), (Hsl{0, 255, 128}));
  // Pure green and blue sit a third and two thirds round the circle.
  EXPECT_EQ(RgbToHsl({0, 255, 0}), (Hsl{85, 255, 128}));
  EXPECT_EQ(RgbToHsl({0, 0, 255}), (Hsl{170, 255, 128}));
  // Greys have no saturation and the undefined hue 170; L = (200 * 255 + 255) / 510 = 100.
  EXPECT_EQ(RgbToHsl({100, 100, 100}), (Hsl{170, 0, 100}));
  // Dark red: L = (200 * 255 + 255) / 510 = 100, S = (51000 + 100) / 200 = 255.
  EXPECT_EQ(RgbToHsl({200, 0, 0}), (Hsl{0, 255, 100}));
}

TEST(HslTest, ConvertsBack) {
  // Saturated red: magic2 = 128 + 255 - (128 * 255 + 127) / 255 = 255, magic1 = 256 - 255 = 1,
  // so the integer scale leaves one level in green and blue.
  EXPECT_EQ(HslToRgb({0, 255, 128}), (Rgb{255, 1, 1}));
  EXPECT_EQ(HslToRgb({170, 0, 100}), (Rgb{100, 100, 100}));
  // Sepia's tone at lightness 100: magic2 = (100 * 295 + 127) / 255 = 116, magic1 = 84;
  // green at hue 24 = 84 + (32 * 24 + 21) / 42 = 102.
  EXPECT_EQ(HslToRgb({24, 40, 100}), (Rgb{116, 102, 84}));
}

}  // namespace
}  // namespace quorvane::imaging
