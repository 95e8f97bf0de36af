// Geometry and pixel access: where each corner goes under every turn and flip, exact sizes for
// every resampling mode, clipping of crops, and copies that stay independent.
#include <cstring>

#include <gtest/gtest.h>

#include "image/image.h"
#include "image/tests/test_images.h"

namespace quorvane::image {
namespace {

using testing::ExpectCorners;
using testing::kBlue;
using testing::kGreen;
using testing::kGrey;
using testing::kRed;
using testing::kWhite;
using testing::Quadrants;

struct TurnCase {
  const char* name;
  bool (Image::*operation)();
  bool swaps_sides;
  Rgba top_left, top_right, bottom_left, bottom_right;
};

class ImageTurnTest : public ::testing::TestWithParam<TurnCase> {};

TEST_P(ImageTurnTest, MovesCornersExactly) {
  const TurnCase& c = GetParam();
  Image image = Quadrants(40, 20);
  ASSERT_TRUE((image.*c.operation)()) << image.last_error();
  EXPECT_EQ(image.width(), c.swaps_sides ? 20 : 40);
  EXPECT_EQ(image.height(), c.swaps_sides ? 40 : 20);
  ExpectCorners(image, c.top_left, c.top_right, c.bottom_left, c.bottom_right, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Turns, ImageTurnTest,
    ::testing::Values(TurnCase{"RotateRight", &Image::RotateRight, true, kBlue, kRed, kWhite,
                               kGreen},
                      TurnCase{"RotateLeft", &Image::RotateLeft, true, kGreen, kWhite, kRed, kBlue},
                      TurnCase{"Rotate180", &Image::Rotate180, false, kWhite, kBlue, kGreen, kRed},
                      TurnCase{"Flip", &Image::Flip, false, kBlue, kWhite, kRed, kGreen},
                      TurnCase{"Mirror", &Image::Mirror, false, kGreen, kRed, kWhite, kBlue}),
    [](const ::testing::TestParamInfo<TurnCase>& param_info) { return param_info.param.name; });

TEST(ImageRotateTest, QuarterAnglesMatchQuarterTurnsExactly) {
  const Image original = Quadrants(30, 10);
  for (double degrees : {90.0, -270.0, 450.0}) {
    Image by_angle = original;
    Image by_turn = original;
    ASSERT_TRUE(by_angle.Rotate(degrees));
    ASSERT_TRUE(by_turn.RotateRight());
    ASSERT_EQ(by_angle.width(), by_turn.width());
    for (int y = 0; y < by_turn.height(); ++y) {
      ASSERT_EQ(0, std::memcmp(by_angle.Row(y), by_turn.Row(y), by_turn.stride())) << degrees;
    }
  }
}

TEST(ImageRotateTest, FreeAngleTurnsClockwiseOnALargerCanvas) {
  Image image = Quadrants(60, 60);
  ASSERT_TRUE(image.Rotate(30.0, kBlue));
  // The bounding box of a 60 x 60 square turned by 30 degrees: 60 (cos 30 + sin 30) = 81.96.
  EXPECT_NEAR(image.width(), 82, 1);
  EXPECT_NEAR(image.height(), 82, 1);
  EXPECT_EQ(image.GetPixel(0, 0), kBlue);  // a new corner, filled
  // The red block's centre sits at (-22.5, -22.5) from the middle. Turned clockwise it moves
  // to about (-8, -31): near the top edge. Anticlockwise it would go to (-31, -8) instead.
  const int cx = image.width() / 2;
  const int cy = image.height() / 2;
  const Rgba clockwise_spot = image.GetPixel(cx - 8, cy - 31);
  const Rgba anticlockwise_spot = image.GetPixel(cx - 31, cy - 8);
  EXPECT_TRUE(testing::Near(clockwise_spot, kRed, 40));
  EXPECT_FALSE(testing::Near(anticlockwise_spot, kRed, 40));
}

TEST(ImageRotateTest, FreeAngleLeavesNewCornersTransparentWithAlpha) {
  Image image;
  ASSERT_TRUE(image.Create(20, 20, true, kGrey));
  ASSERT_TRUE(image.Rotate(45.0));
  EXPECT_EQ(image.GetPixel(0, 0).a, 0);
  EXPECT_EQ(image.GetPixel(image.width() / 2, image.height() / 2).a, 255);
}

struct SizeCase {
  int from_w, from_h, to_w, to_h;
};

class ImageResampleSizeTest : public ::testing::TestWithParam<std::tuple<ResampleMode, SizeCase>> {
};

TEST_P(ImageResampleSizeTest, GivesExactlyTheAskedSize) {
  const auto [mode, size] = GetParam();
  Image image = Quadrants(size.from_w, size.from_h);
  ASSERT_TRUE(image.Resample(size.to_w, size.to_h, mode)) << image.last_error();
  EXPECT_EQ(image.width(), size.to_w);
  EXPECT_EQ(image.height(), size.to_h);
  if (size.to_w >= 8 && size.to_h >= 8) {
    ExpectCorners(image, kRed, kGreen, kBlue, kWhite, 40);
  }
}

INSTANTIATE_TEST_SUITE_P(
    ModesAndSizes, ImageResampleSizeTest,
    ::testing::Combine(::testing::Values(ResampleMode::kNearest, ResampleMode::kBilinear,
                                         ResampleMode::kBicubic, ResampleMode::kLanczos3),
                       // 1600 x 1200 into a 120 x 90 cell gives 117 x 88: rounding-prone.
                       ::testing::Values(SizeCase{1600, 1200, 117, 88}, SizeCase{3, 2, 7, 5},
                                         SizeCase{101, 99, 1, 1}, SizeCase{10, 1000, 33, 7},
                                         SizeCase{640, 480, 641, 481})));

TEST(ImageResampleTest, NearestReplicatesPixelsWithoutBlending) {
  Image image;
  ASSERT_TRUE(image.Create(2, 1, false, kRed));
  image.SetPixel(1, 0, kBlue);
  ASSERT_TRUE(image.Resample(6, 2, ResampleMode::kNearest));
  for (int y = 0; y < 2; ++y) {
    for (int x = 0; x < 6; ++x) EXPECT_EQ(image.GetPixel(x, y), x < 3 ? kRed : kBlue) << x;
  }
}

TEST(ImageResampleTest, SmoothModesKeepAFlatColourFlat) {
  for (ResampleMode mode :
       {ResampleMode::kBilinear, ResampleMode::kBicubic, ResampleMode::kLanczos3}) {
    Image image;
    ASSERT_TRUE(image.Create(50, 30, true, Rgba{90, 160, 30, 200}));
    ASSERT_TRUE(image.Resample(17, 71, mode));
    // Premultiplying by a partial alpha and back costs at most one level of rounding.
    for (const Rgba pixel : {image.GetPixel(0, 0), image.GetPixel(16, 70), image.GetPixel(8, 35)}) {
      EXPECT_PRED3(testing::Near, pixel, (Rgba{90, 160, 30, 200}), 1);
      EXPECT_EQ(pixel.a, 200);
    }
  }
}

TEST(ImageResampleTest, RefusesEmptyAndHugeSizes) {
  Image image = Quadrants(4, 4);
  EXPECT_FALSE(image.Resample(0, 10, ResampleMode::kBicubic));
  EXPECT_EQ(image.last_error(), "Cannot resize the image to 0 x 10 pixels");
  EXPECT_FALSE(image.Resample(60000, 60000, ResampleMode::kBicubic));
  EXPECT_EQ(image.width(), 4);
}

TEST(ImageCropTest, KeepsTheHalfOpenRectangleClippedToTheImage) {
  Image image = Quadrants(40, 20);
  ASSERT_TRUE(image.Crop(-5, -5, 10, 5));
  EXPECT_EQ(image.width(), 10);
  EXPECT_EQ(image.height(), 5);
  EXPECT_EQ(image.GetPixel(0, 0), kRed);
  EXPECT_EQ(image.GetPixel(9, 4), kRed);

  Image other = Quadrants(40, 20);
  ASSERT_TRUE(other.Crop(30, 15, 400, 400));
  EXPECT_EQ(other.width(), 10);
  EXPECT_EQ(other.GetPixel(9, 4), kWhite);
}

TEST(ImageCropTest, EmptyOrOutsideRectangleFailsAndKeepsTheImage) {
  Image image = Quadrants(40, 20);
  EXPECT_FALSE(image.Crop(10, 10, 10, 15));
  EXPECT_FALSE(image.Crop(50, 0, 60, 10));
  EXPECT_EQ(image.last_error(), "Cannot crop the image: the rectangle lies outside it or is empty");
  EXPECT_EQ(image.width(), 40);
}

TEST(ImagePixelTest, CopiesShareUntilOneChanges) {
  Image original = Quadrants(16, 16);
  Image copy = original;
  EXPECT_EQ(copy.Row(0), original.Row(0));  // shared, not copied

  copy.SetPixel(0, 0, kGreen);
  EXPECT_EQ(original.GetPixel(0, 0), kRed);
  EXPECT_EQ(copy.GetPixel(0, 0), kGreen);

  Image second = original;
  uint8_t* row = second.MutableRow(15);
  row[15 * 3] = 1;  // red channel of the bottom-right pixel
  EXPECT_EQ(original.GetPixel(15, 15), kWhite);
  EXPECT_EQ(second.GetPixel(15, 15).r, 1);

  Image turned = original;
  ASSERT_TRUE(turned.RotateRight());
  EXPECT_EQ(original.width(), 16);
  EXPECT_EQ(original.GetPixel(0, 0), kRed);
}

TEST(ImagePixelTest, RowsAreTopDownRgbWithStride) {
  Image image;
  ASSERT_TRUE(image.Create(3, 2, true, Rgba{1, 2, 3, 4}));
  image.SetPixel(2, 1, Rgba{9, 8, 7, 6});
  EXPECT_EQ(image.channels(), 4);
  EXPECT_EQ(image.stride(), 12u);
  const uint8_t* row = image.Row(1);
  ASSERT_NE(row, nullptr);
  EXPECT_EQ(row[8], 9);
  EXPECT_EQ(row[11], 6);
  EXPECT_EQ(image.Row(2), nullptr);
  EXPECT_EQ(image.GetPixel(-1, 0), (Rgba{0, 0, 0, 0}));
  image.SetPixel(3, 0, kRed);  // ignored, not a crash
}

}  // namespace
}  // namespace quorvane::image
