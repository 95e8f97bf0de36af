// Geometry and pixel access: where each corner goes under every turn and flip, exact sizes for
// every resampling mode, clipping of crops, and copies that stay independent.
#include <functional>
#include <tuple>

#include <gtest/gtest.h>

#include "image/image.h"
#include "testing/test_images.h"

namespace quorvane::image {
namespace {

using testing::ExpectCorners, testing::Near, testing::Quadrants;
using testing::kBlue, testing::kGreen, testing::kGrey, testing::kRed, testing::kWhite;

// An operation on Quadrants(40, 20) and where the corners end up.
struct GeometryCase {
  const char* name;
  std::function<bool(Image&)> operation;
  int width, height;
  Rgba top_left, top_right, bottom_left, bottom_right;
};

class ImageGeometryTest : public ::testing::TestWithParam<GeometryCase> {};

// Exact: Rotate() at a quarter angle must take the lossless path, not interpolate.
TEST_P(ImageGeometryTest, MovesCornersExactly) {
  const GeometryCase& c = GetParam();
  Image image = Quadrants(40, 20);
  ASSERT_TRUE(c.operation(image)) << image.last_error();
  ExpectCorners(image, c.width, c.height, 0, c.top_left, c.top_right, c.bottom_left,
                c.bottom_right);
}

INSTANTIATE_TEST_SUITE_P(
    Operations, ImageGeometryTest,
    ::testing::Values(
        GeometryCase{"RotateRight", &Image::RotateRight, 20, 40, kBlue, kRed, kWhite, kGreen},
        GeometryCase{"RotateLeft", &Image::RotateLeft, 20, 40, kGreen, kWhite, kRed, kBlue},
        GeometryCase{"Rotate180", &Image::Rotate180, 40, 20, kWhite, kBlue, kGreen, kRed},
        GeometryCase{"Flip", &Image::Flip, 40, 20, kBlue, kWhite, kRed, kGreen},
        GeometryCase{"Mirror", &Image::Mirror, 40, 20, kGreen, kRed, kWhite, kBlue},
        GeometryCase{"Angle450", [](Image& i) { return i.Rotate(450.0); }, 20, 40, kBlue, kRed,
                     kWhite, kGreen},
        GeometryCase{"AngleMinus90", [](Image& i) { return i.Rotate(-90.0); }, 20, 40, kGreen,
                     kWhite, kRed, kBlue},
        // Clipped to the image on the left and bottom; the right edge (x = 38) is excluded.
        GeometryCase{"CropClipsTheHalfOpenRectangle",
                     [](Image& i) { return i.Crop(-5, 2, 38, 99); }, 38, 18, kRed, kGreen, kBlue,
                     kWhite}),
    [](const ::testing::TestParamInfo<GeometryCase>& param_info) { return param_info.param.name; });

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
  EXPECT_TRUE(Near(image.GetPixel(cx - 8, cy - 31), kRed, 40));
  EXPECT_FALSE(Near(image.GetPixel(cx - 31, cy - 8), kRed, 40));

  // With alpha the new corners are transparent whatever the background colour.
  ASSERT_TRUE(image.Create(20, 20, true, kGrey));
  ASSERT_TRUE(image.Rotate(45.0, kBlue));
  EXPECT_EQ(image.GetPixel(0, 0).a, 0);
  EXPECT_EQ(image.GetPixel(image.width() / 2, image.height() / 2), kGrey);
}

struct SizeCase {
  int from_w, from_h, to_w, to_h;
};

class ImageResampleTest : public ::testing::TestWithParam<std::tuple<ResampleMode, SizeCase>> {};

TEST_P(ImageResampleTest, GivesExactlyTheAskedSizeWithoutShiftingColours) {
  const auto [mode, size] = GetParam();
  Image image = Quadrants(size.from_w, size.from_h);
  ASSERT_TRUE(image.Resample(size.to_w, size.to_h, mode)) << image.last_error();
  EXPECT_EQ(image.width(), size.to_w);
  EXPECT_EQ(image.height(), size.to_h);
  if (size.to_w >= 8 && size.to_h >= 8) ExpectCorners(image, size.to_w, size.to_h, 40);

  // A flat colour with partial alpha stays flat: alpha is premultiplied around the filter and
  // taken out again, costing at most one level of rounding.
  constexpr Rgba kTranslucent{90, 160, 30, 200};
  ASSERT_TRUE(image.Create(size.from_w, size.from_h, true, kTranslucent));
  ASSERT_TRUE(image.Resample(size.to_w, size.to_h, mode));
  const Rgba pixel = image.GetPixel(size.to_w - 1, size.to_h / 2);
  EXPECT_PRED3(Near, pixel, kTranslucent, 1);
  EXPECT_EQ(pixel.a, 200);
}

INSTANTIATE_TEST_SUITE_P(
    ModesAndSizes, ImageResampleTest,
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

TEST(ImageEditTest, FailedEditsSayWhyAndKeepTheImage) {
  Image image = Quadrants(40, 20);
  EXPECT_FALSE(image.Resample(0, 10, ResampleMode::kBicubic));
  EXPECT_EQ(image.last_error(), "Cannot resize the image to 0 x 10 pixels");
  EXPECT_FALSE(image.Resample(60000, 60000, ResampleMode::kBicubic));  // over the pixel ceiling
  EXPECT_FALSE(image.Crop(10, 10, 10, 15));
  EXPECT_FALSE(image.Crop(50, 0, 60, 10));
  EXPECT_EQ(image.last_error(), "Cannot crop the image: the rectangle lies outside it or is empty");
  ExpectCorners(image, 40, 20, 0);
}

TEST(ImagePixelTest, CopiesShareUntilOneChanges) {
  const Image original = Quadrants(16, 16);
  Image copy = original;
  EXPECT_EQ(copy.Row(0), original.Row(0));  // shared, not copied
  copy.SetPixel(1, 1, kGreen);
  EXPECT_EQ(copy.GetPixel(1, 1), kGreen);

  Image second = original;
  second.MutableRow(14)[14 * 3] = 1;  // red channel of pixel (14, 14)
  EXPECT_EQ(second.GetPixel(14, 14).r, 1);

  Image turned = original;
  ASSERT_TRUE(turned.RotateRight());
  Image deeper = original;
  ASSERT_TRUE(deeper.IncreaseBpp(32));
  ExpectCorners(original, 16, 16, 0);
  EXPECT_EQ(original.bits_per_pixel(), 24);
  EXPECT_FALSE(original.has_alpha());
}

}  // namespace
}  // namespace quorvane::image
