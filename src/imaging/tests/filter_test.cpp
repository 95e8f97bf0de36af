// Each filter against values worked out by hand on small images: the levels, the kernels
// (edges repeat the border), sepia's lightness bands, desaturate's cross-overs, the unsharp
// mask's threshold, resize arithmetic and the result codes.
#include <bit>
#include <cstdint>

#include <gtest/gtest.h>

#include "image/image.h"
#include "imaging/edit_commands.h"
#include "imaging/edit_selection.h"
#include "imaging/image_filter.h"
#include "testing/recording_progress.h"

namespace quorvane::imaging {
namespace {

using image::Image;
using image::Rgba;

// A grey field with one pixel of another level (all three channels).
Image Field(int width, int height, uint8_t level, int spot_x = -1, int spot_y = -1,
            uint8_t spot = 0) {
  Image image;
  EXPECT_TRUE(image.Create(width, height, false, Rgba{level, level, level, 255}));
  if (spot_x >= 0) image.SetPixel(spot_x, spot_y, Rgba{spot, spot, spot, 255});
  return image;
}

Image OnePixel(Rgba colour, bool alpha = false) {
  Image image;
  EXPECT_TRUE(image.Create(1, 1, alpha, colour));
  return image;
}

uint8_t Level(const Image& image, int x, int y) { return image.GetPixel(x, y).r; }

uint32_t ApplyTo(const ImageFilter& filter, Image& image,
                 const SelectionMask* selection = nullptr) {
  FilterRun run;
  run.selection = selection;
  return filter.Apply(image, run);
}

TEST(LightFilterTest, OffsetsAndStretchesLevels) {
  struct Case {
    int brightness, contrast, in, out;
  } cases[] = {
      {20, 100, 100, 120}, {-20, 100, 100, 80}, {20, 100, 250, 255}, {-20, 100, 10, 0},
      {0, 120, 28, 8},     {0, 120, 228, 248},  {0, 120, 128, 128},  {0, 80, 28, 48},
  };
  for (const Case& c : cases) {
    const uint8_t in = static_cast<uint8_t>(c.in);
    Image image = OnePixel({in, in, in, 7}, true);
    ASSERT_EQ(ApplyTo(LightFilter(c.brightness, c.contrast), image), kOk);
    EXPECT_EQ(image.GetPixel(0, 0), (Rgba{static_cast<uint8_t>(c.out), static_cast<uint8_t>(c.out),
                                          static_cast<uint8_t>(c.out), 7}))
        << c.brightness << "/" << c.contrast << " on " << c.in;
  }
}

TEST(LightFilterTest, NamesFollowTheParameters) {
  EXPECT_EQ(LightFilter(-20, 100).RecordName(), "Darken");
  EXPECT_EQ(LightFilter(20, 100).RecordName(), "Lighten");
  EXPECT_EQ(LightFilter(0, 120).RecordName(), "Contrast");
  EXPECT_EQ(LightFilter(0, 80).OperationLabel(), "Reduce contrast on");
  EXPECT_EQ(LightFilter(0, 120).OperationLabel(), "Increase contrast on");
  EXPECT_EQ(LightFilter(0, 100).OperationLabel(), "");
  EXPECT_EQ(GammaFilter(1.8f).OperationLabel(), "Adjust gamma on");
}

TEST(ToneFilterTest, GammaAndGrayscale) {
  // 255 * sqrt(64 / 255) = 127.75.
  Image image = OnePixel({64, 0, 255, 255});
  const Image before = image;
  ASSERT_EQ(ApplyTo(GammaFilter(2.0f), image), kOk);
  EXPECT_EQ(before.GetPixel(0, 0), (Rgba{64, 0, 255, 255}));
  EXPECT_EQ(image.GetPixel(0, 0), (Rgba{128, 0, 255, 255}));
  EXPECT_EQ(ApplyTo(GammaFilter(0.0f), image), kFailed);

  // (19595 * 255 + 32768) >> 16 = 76, (38470 * 255 + 32768) >> 16 = 150, 7471 -> 29.
  const Rgba primaries[] = {{255, 0, 0, 255}, {0, 255, 0, 255}, {0, 0, 255, 255}};
  const uint8_t greys[] = {76, 150, 29};
  for (int i = 0; i < 3; ++i) {
    Image pixel = OnePixel(primaries[i]);
    ASSERT_EQ(ApplyTo(GrayscaleFilter(), pixel), kOk);
    EXPECT_EQ(pixel.GetPixel(0, 0), (Rgba{greys[i], greys[i], greys[i], 255}));
  }
}

TEST(KernelFilterTest, ConvolvesWithEachKernel) {
  // 5 x 5 of 100 with 120 in the middle. Blur there: (8 * 100 + 120) / 9 = 102.2; soften:
  // (8 * 120 + 800) / 16 = 110; sharpen: (15 * 120 - 800) / 7 = 142.9. Beside it: soften
  // (15 * 100 + 120) / 16 = 101.25, sharpen (1500 - 120 - 700) / 7 = 97.1. A corner sees only
  // the field (its border is repeated) and stays 100.
  struct Case {
    KernelFilter filter;
    uint8_t centre, beside;
  } cases[] = {{BlurFilter(), 102, 102}, {SoftenFilter(), 110, 101}, {SharpenFilter(), 143, 97}};
  for (const Case& c : cases) {
    Image image = Field(5, 5, 100, 2, 2, 120);
    ASSERT_EQ(ApplyTo(c.filter, image), kOk) << c.filter.RecordName();
    EXPECT_EQ(Level(image, 2, 2), c.centre) << c.filter.RecordName();
    EXPECT_EQ(Level(image, 3, 2), c.beside) << c.filter.RecordName();
    EXPECT_EQ(Level(image, 0, 0), 100) << c.filter.RecordName();
    EXPECT_EQ(Level(image, 4, 4), 100) << c.filter.RecordName();
  }
  Image narrow = Field(2, 5, 100);  // smaller than the kernel
  EXPECT_EQ(ApplyTo(BlurFilter(), narrow), kFailed);
}

TEST(KernelFilterTest, RoundsHalvesUpAndClamps) {
  // Soften next to a 108 in a field of 100: (15 * 100 + 108) / 16 = 100.5 -> 101.
  Image image = Field(5, 5, 100, 2, 2, 108);
  ASSERT_EQ(ApplyTo(SoftenFilter(), image), kOk);
  EXPECT_EQ(Level(image, 1, 2), 101);
  // Sharpen of a 250 spot: (15 * 250 - 800) / 7 = 421 -> 255; beside: (1500 - 250 - 700) / 7
  // = 78.6 -> 79; next to a black spot in white the sum goes negative -> 0.
  Image bright = Field(5, 5, 100, 2, 2, 250);
  ASSERT_EQ(ApplyTo(SharpenFilter(), bright), kOk);
  EXPECT_EQ(Level(bright, 2, 2), 255);
  EXPECT_EQ(Level(bright, 2, 1), 79);
  Image dark = Field(5, 5, 0, 2, 2, 255);
  ASSERT_EQ(ApplyTo(SharpenFilter(), dark), kOk);
  EXPECT_EQ(Level(dark, 2, 1), 0);
}

TEST(KernelFilterTest, LargeImagesMatchSmallOnes) {
  // The same spot in a field tall enough to split between threads must give the same levels.
  Image image = Field(300, 300, 100, 150, 200, 120);
  const Image before = image;  // a copy sharing the pixels keeps them
  ASSERT_EQ(ApplyTo(SharpenFilter(), image), kOk);
  EXPECT_EQ(Level(before, 150, 200), 120);
  EXPECT_EQ(Level(before, 151, 200), 100);
  EXPECT_EQ(Level(image, 150, 200), 143);
  EXPECT_EQ(Level(image, 151, 200), 97);
  EXPECT_EQ(Level(image, 150, 199), 97);
  EXPECT_EQ(Level(image, 10, 10), 100);
}

TEST(SelectionFilterTest, OnlySelectedPixelsChange) {
  const auto on_image = SelectionToImage({1, 2, 4, 5, 0}, 10, 10, 10, 10);
  const SelectionMask mask(*on_image, 10, 10);
  Image image = Field(10, 10, 100);
  ASSERT_EQ(ApplyTo(LightFilter(20, 100), image, &mask), kOk);
  for (int y = 0; y < 10; ++y) {
    for (int x = 0; x < 10; ++x) {
      const bool inside = x >= 1 && x < 4 && y >= 2 && y < 5;
      EXPECT_EQ(Level(image, x, y), inside ? 120 : 100) << x << "," << y;
    }
  }
  // The kernels honour it too: a blur of a spot outside the selection leaves the spot alone.
  Image spotted = Field(10, 10, 100, 8, 8, 190);
  ASSERT_EQ(ApplyTo(BlurFilter(), spotted, &mask), kOk);
  EXPECT_EQ(Level(spotted, 8, 8), 190);
}

TEST(SepiaFilterTest, SaturationFollowsLightnessBands) {
  // Hand-worked: grey 40 (lightness 40, saturation 90) -> 54, 42, 26; grey 100 (saturation 40)
  // -> 116, 102, 84; grey 225 (still 40) -> 230, 226, 220; grey 226 (90) -> 236, 227, 216.
  struct Case {
    uint8_t grey;
    Rgba out;
  } cases[] = {{40, {54, 42, 26, 255}},
               {100, {116, 102, 84, 255}},
               {225, {230, 226, 220, 255}},
               {226, {236, 227, 216, 255}}};
  for (const Case& c : cases) {
    Image image = OnePixel({c.grey, c.grey, c.grey, 255});
    ASSERT_EQ(ApplyTo(SepiaFilter(), image), kOk);
    EXPECT_EQ(image.GetPixel(0, 0), c.out) << int{c.grey};
  }
  // Sepia ignores the selection: a pixel outside it turns too.
  const SelectionMask mask(*SelectionToImage({0, 0, 1, 1, 0}, 4, 4, 4, 4), 4, 4);
  Image image = Field(4, 4, 100);
  ASSERT_EQ(ApplyTo(SepiaFilter(), image, &mask), kOk);
  EXPECT_EQ(image.GetPixel(3, 3), (Rgba{116, 102, 84, 255}));
}

TEST(DesaturateFilterTest, KeepsItsChannelCrossOvers) {
  // Red 200 alone: lightness 100, saturation 255 - 255 = 0 -> grey 100. Green is the
  // conversion of (100, 100, 100) read as hue, saturation, lightness: magic2 = 139 -> 139,
  // whatever the green was. Blue 50 alone has lightness 25 and takes saturation 100 - 255 -> 0:
  // grey 25. Alpha stays.
  Image image = OnePixel({200, 77, 50, 9}, true);
  ASSERT_EQ(ApplyTo(DesaturateFilter(), image), kOk);
  EXPECT_EQ(image.GetPixel(0, 0), (Rgba{100, 139, 25, 9}));
}

TEST(UnsharpMaskTest, KernelForSigmaOne) {
  const GaussianKernel kernel = MakeGaussianKernel(0, 1.0);
  EXPECT_EQ(kernel.size, 5);
  EXPECT_EQ(kernel.divisor, 3128);
  const std::vector<int32_t> expected = {0,   6,  18,  6,    0,   6,  135, 367, 135,
                                         6,   18, 367, 1000, 367, 18, 6,   135, 367,
                                         135, 6,  0,   6,    18,  6,  0};
  EXPECT_EQ(kernel.entries, expected);
  EXPECT_EQ(MakeGaussianKernel(1.5, 1.0).size, 5);
}

TEST(UnsharpMaskTest, PushesLevelsAwayFromTheBlur) {
  // 160 in a 7 x 7 field of 100. Blur: centre 100 + 60 * 1000 / 3128 = 119.2, so d = 41 and
  // the centre becomes 201; beside it 100 + 60 * 367 / 3128 = 107.04, d = -7, |2d| = 14 >=
  // 12.75 -> 93; diagonal 100 + 60 * 135 / 3128 = 102.6 -> 103, d = -3: unchanged.
  Image image = Field(7, 7, 100, 3, 3, 160);
  ASSERT_EQ(ApplyTo(UnsharpMaskFilter(), image), kOk);
  EXPECT_EQ(Level(image, 3, 3), 201);
  EXPECT_EQ(Level(image, 4, 3), 93);
  EXPECT_EQ(Level(image, 3, 2), 93);
  EXPECT_EQ(Level(image, 4, 4), 100);
  EXPECT_EQ(Level(image, 5, 3), 100);
  EXPECT_EQ(Level(image, 0, 0), 100);
}

TEST(UnsharpMaskTest, ImageSmallerThanKernelStaysTheSame) {
  Image image = Field(4, 7, 100, 1, 3, 200);
  ASSERT_EQ(ApplyTo(UnsharpMaskFilter(), image), kOk);
  EXPECT_EQ(Level(image, 1, 3), 200);
  EXPECT_EQ(Level(image, 2, 3), 100);
}

// The fit arithmetic is the image library's (FitInside); here, the filter's result codes.
TEST(ResizeFilterTest, ShrinksWithAspectOrReportsNothingToDo) {
  Image wide = Field(2000, 1000, 50);
  ASSERT_EQ(ApplyTo(ResizeFilter(1024, 768, true, true, image::ResampleMode::kBilinear), wide),
            kOk);
  EXPECT_EQ(wide.width(), 1024);
  EXPECT_EQ(wide.height(), 512);

  Image small = Field(800, 600, 50);
  EXPECT_EQ(ApplyTo(ResizeFilter(1024, 768, true, true, image::ResampleMode::kBilinear), small),
            kNothingToDo);
  EXPECT_EQ(small.width(), 800);

  Image stretched = Field(10, 10, 50);
  ASSERT_EQ(ApplyTo(ResizeFilter(30, 5, false, false, image::ResampleMode::kNearest), stretched),
            kOk);
  EXPECT_EQ(stretched.width(), 30);
  EXPECT_EQ(stretched.height(), 5);
}

TEST(GeometryFilterTest, ResultCodes) {
  Image image = Field(3, 2, 50, 0, 0, 200);
  EXPECT_EQ(ApplyTo(RotateFilter(4, 0), image), kFailed);
  EXPECT_EQ(ApplyTo(RotateFilter(-1, 0), image), kFailed);
  ASSERT_EQ(ApplyTo(RotateFilter(1, 0), image), kOk);
  EXPECT_EQ(image.width(), 2);
  EXPECT_EQ(Level(image, 1, 0), 200);  // top-left went to the top-right
  ASSERT_EQ(ApplyTo(FlipFilter(true), image), kOk);
  EXPECT_EQ(Level(image, 1, 2), 200);
  ASSERT_EQ(ApplyTo(FlipFilter(false), image), kOk);
  EXPECT_EQ(Level(image, 0, 2), 200);

  EXPECT_EQ(ApplyTo(RaiseDepthFilter(24), image), kOk);
  EXPECT_EQ(ApplyTo(RaiseDepthFilter(8), image), kNotImplemented);
  ASSERT_EQ(ApplyTo(RaiseDepthFilter(32), image), kOk);
  EXPECT_TRUE(image.has_alpha());
  EXPECT_EQ(ApplyTo(ImageFilter(), image), kNotImplemented);
}

TEST(FilterRunTest, CancelStopsBeforeTheEnd) {
  Image image = Field(64, 256, 100);
  testing::RecordingProgress cancelled;
  cancelled.Cancel();
  FilterRun run{&cancelled};
  EXPECT_EQ(LightFilter(20, 100).Apply(image, run), kCancelled);
  EXPECT_LT(cancelled.position().first, 256);

  testing::RecordingProgress progress;
  FilterRun full{&progress};
  ASSERT_EQ(LightFilter(20, 100).Apply(image, full), kOk);
  EXPECT_EQ(progress.position(), std::make_pair(int64_t{256}, int64_t{256}));
}

TEST(EditCommandTest, TableKeepsItsSpellingsAndParameters) {
  EXPECT_EQ(FindEditCommand(32780)->viewer_label, "Flip Horizonal");
  EXPECT_EQ(FindEditCommand(32873)->viewer_label, "Sepia");
  EXPECT_EQ(FindEditCommand("sepia")->id, 32873);
  EXPECT_EQ(FindEditCommand("nothing"), nullptr);
  EXPECT_EQ(std::bit_cast<uint32_t>(kInitialGamma), 0x3FE66666u);
  // The album offers neither desaturate, unsharp mask nor crop.
  EXPECT_EQ(MakeAlbumFilter(*FindEditCommand(32874), {}, image::ResampleMode::kBicubic), nullptr);
  EXPECT_EQ(MakeAlbumFilter(*FindEditCommand(32848), {}, image::ResampleMode::kBicubic), nullptr);
  // More contrast on the album is Light(0, 120): 28 -> 8.
  auto more = MakeAlbumFilter(*FindEditCommand(32866), {}, image::ResampleMode::kBicubic);
  ASSERT_NE(more, nullptr);
  EXPECT_EQ(more->RecordName(), "Contrast");
  EXPECT_EQ(more->OperationLabel(), "Increase contrast on");
  // Every command the album offers works on a small picture with the dialogs' starting values.
  for (const EditCommand& command : kEditCommands) {
    if (!command.album_level) continue;
    EditValues values;
    values.width = 4;
    values.height = 4;
    auto filter = MakeAlbumFilter(command, values, image::ResampleMode::kBicubic);
    ASSERT_NE(filter, nullptr) << command.name;
    Image image = Field(8, 6, 90);
    const uint32_t code = ApplyTo(*filter, image);
    EXPECT_TRUE(code == kOk || code == kNothingToDo) << command.name;
    EXPECT_FALSE(filter->RecordName().empty()) << command.name;
  }
}

TEST(EditCommandTest, ParameterTableReadsValuesInRangeOnly) {
  // Every value a command takes has an entry, and the dialogs' starting values are in range.
  for (const EditCommand& command : kEditCommands) {
    if (command.parameter == EditParameter::kNone) continue;
    const EditParameterInfo* parameter = FindEditParameter(command.parameter);
    ASSERT_NE(parameter, nullptr) << command.name;
    if (!parameter->required) {
      EXPECT_GE(parameter->initial, parameter->minimum) << command.name;
      EXPECT_LE(parameter->initial, parameter->maximum) << command.name;
    }
  }
  EditValues values;
  std::string problem;
  const EditParameterInfo& gamma = *FindEditParameter(EditParameter::kGamma);
  EXPECT_TRUE(ParseEditValue(gamma, "2.2", &values, &problem));
  EXPECT_FLOAT_EQ(values.gamma, 2.2f);
  EXPECT_FALSE(ParseEditValue(gamma, "0", &values, &problem));
  EXPECT_EQ(problem, "--gamma takes a number from 0.1 to 10");
  EXPECT_FLOAT_EQ(values.gamma, 2.2f);
  const EditParameterInfo& size = *FindEditParameter(EditParameter::kSize);
  EXPECT_TRUE(ParseEditValue(size, "640x480", &values, &problem));
  EXPECT_EQ(values.width, 640);
  EXPECT_EQ(values.height, 480);
  EXPECT_FALSE(ParseEditValue(size, "640x0", &values, &problem));
  EXPECT_EQ(problem, "--size takes WIDTHxHEIGHT, each 1 to 65500");
  EXPECT_FALSE(ParseEditValue(*FindEditParameter(EditParameter::kAngle), "400", &values, &problem));
}

}  // namespace
}  // namespace quorvane::imaging
