// Pictures the tests build for themselves, and the checks they share. Each pattern has
// distinct, widely spaced colours so that lossy formats still tell the corners apart.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <ostream>

#include <gtest/gtest.h>

#include "image/image.h"

namespace quorvane::image {

inline void PrintTo(const Rgba& c, std::ostream* os) {
  *os << "{" << int{c.r} << "," << int{c.g} << "," << int{c.b} << "," << int{c.a} << "}";
}

namespace testing {

inline constexpr Rgba kRed{220, 30, 30, 255};
inline constexpr Rgba kGreen{30, 200, 40, 255};
inline constexpr Rgba kBlue{30, 40, 210, 255};
inline constexpr Rgba kWhite{250, 250, 250, 255};
inline constexpr Rgba kGrey{128, 128, 128, 255};

// A grey image whose four quadrants' outer corners are marked: top-left red, top-right green,
// bottom-left blue, bottom-right white. Marks are blocks of a quarter of each side, so JPEG
// and resampling keep them recognisable.
inline Image Quadrants(int width, int height) {
  Image image;
  EXPECT_TRUE(image.Create(width, height, false, kGrey));
  const int bw = std::max(1, width / 4);
  const int bh = std::max(1, height / 4);
  for (int y = 0; y < bh; ++y) {
    for (int x = 0; x < bw; ++x) {
      image.SetPixel(x, y, kRed);
      image.SetPixel(width - 1 - x, y, kGreen);
      image.SetPixel(x, height - 1 - y, kBlue);
      image.SetPixel(width - 1 - x, height - 1 - y, kWhite);
    }
  }
  return image;
}

inline bool Near(Rgba a, Rgba b, int tolerance) {
  return std::abs(a.r - b.r) <= tolerance && std::abs(a.g - b.g) <= tolerance &&
         std::abs(a.b - b.b) <= tolerance;
}

// Checks the size, then the corners one pixel in from the edge, away from JPEG's block borders;
// by default those of an unturned Quadrants picture.
inline void ExpectCorners(const Image& image, int width, int height, int tolerance,
                          Rgba top_left = kRed, Rgba top_right = kGreen, Rgba bottom_left = kBlue,
                          Rgba bottom_right = kWhite) {
  ASSERT_EQ(image.width(), width);
  ASSERT_EQ(image.height(), height);
  EXPECT_PRED3(Near, image.GetPixel(1, 1), top_left, tolerance);
  EXPECT_PRED3(Near, image.GetPixel(width - 2, 1), top_right, tolerance);
  EXPECT_PRED3(Near, image.GetPixel(1, height - 2), bottom_left, tolerance);
  EXPECT_PRED3(Near, image.GetPixel(width - 2, height - 2), bottom_right, tolerance);
}

}  // namespace testing
}  // namespace quorvane::image
