// Loading and saving: every format round-trips through files and memory, formats are known by
// content, depth is reported as the file had it, and EXIF orientation and dates are honoured.
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <vips/vips.h>

#include "image/image.h"
#include "image/internal/vips_support.h"
#include "image/tests/test_images.h"
#include "testing/temp_dir.h"

namespace quorvane::image {
namespace {

namespace fs = std::filesystem;
using quorvane::testing::TempDir;
using testing::ExpectCorners;
using ::testing::HasSubstr;
using testing::kBlue;
using testing::kGreen;
using testing::kRed;
using testing::kWhite;
using testing::Quadrants;

struct FormatCase {
  const char* name;
  ImageFormat format;
  const char* extension;
  int tolerance;       // per channel: JPEG is lossy, GIF quantises to a palette
  int bits_per_pixel;  // what a saved true-colour image reports when read back
  bool keeps_alpha;    // icons are written with an alpha channel
};

class ImageFormatRoundTripTest : public ::testing::TestWithParam<FormatCase> {
 protected:
  TempDir dir_;
};

TEST_P(ImageFormatRoundTripTest, FileKeepsSizePixelsAndFormat) {
  const FormatCase& c = GetParam();
  const Image original = Quadrants(64, 48);
  const fs::path path = dir_ / (std::string("picture.") + c.extension);
  ASSERT_TRUE(original.Save(path, c.format)) << original.last_error();

  Image loaded;
  ASSERT_TRUE(loaded.Load(path, c.format)) << loaded.last_error();
  EXPECT_EQ(loaded.width(), 64);
  EXPECT_EQ(loaded.height(), 48);
  EXPECT_EQ(loaded.format(), c.format);
  EXPECT_EQ(loaded.bits_per_pixel(), c.bits_per_pixel);
  ExpectCorners(loaded, kRed, kGreen, kBlue, kWhite, c.tolerance);

  ImageInfo info;
  std::string error;
  ASSERT_TRUE(ReadImageInfo(path, c.format, &info, &error)) << error;
  EXPECT_EQ(info.format, c.format);
  EXPECT_EQ(info.width, 64);
  EXPECT_EQ(info.height, 48);
  EXPECT_EQ(info.bits_per_pixel, c.bits_per_pixel);
  // Nothing but the final file is left behind.
  EXPECT_EQ(std::distance(fs::directory_iterator(dir_.path()), fs::directory_iterator()), 1);
}

TEST_P(ImageFormatRoundTripTest, MemoryRoundTripNeedsNoHint) {
  const FormatCase& c = GetParam();
  std::vector<uint8_t> bytes;
  const Image original = Quadrants(40, 30);
  ASSERT_TRUE(original.SaveToMemory(&bytes, c.format)) << original.last_error();
  Image loaded;
  ASSERT_TRUE(loaded.LoadFromMemory(bytes.data(), bytes.size())) << loaded.last_error();
  EXPECT_EQ(loaded.format(), c.format);
  EXPECT_EQ(loaded.width(), 40);
  ExpectCorners(loaded, kRed, kGreen, kBlue, kWhite, c.tolerance);
}

TEST_P(ImageFormatRoundTripTest, ThumbnailHasExactlyTheAskedSize) {
  const FormatCase& c = GetParam();
  const fs::path path = dir_ / (std::string("big.") + c.extension);
  ASSERT_TRUE(Quadrants(200, 150).Save(path, c.format));
  Image thumb;
  ASSERT_TRUE(thumb.LoadThumbnail(path, 117, 88, ResampleMode::kBicubic, c.format))
      << thumb.last_error();
  EXPECT_EQ(thumb.width(), 117);
  EXPECT_EQ(thumb.height(), 88);
  EXPECT_EQ(thumb.has_alpha(), c.keeps_alpha);
  EXPECT_EQ(thumb.bits_per_pixel(), c.keeps_alpha ? 32 : 24);
  ExpectCorners(thumb, kRed, kGreen, kBlue, kWhite, c.tolerance + 12);
}

INSTANTIATE_TEST_SUITE_P(
    EveryFormat, ImageFormatRoundTripTest,
    ::testing::Values(FormatCase{"Bmp", ImageFormat::kBmp, "bmp", 0, 24, false},
                      // Five colours need a 3-bit palette, which reads back as 4 bits.
                      FormatCase{"Gif", ImageFormat::kGif, "gif", 8, 4, false},
                      FormatCase{"Jpeg", ImageFormat::kJpeg, "jpg", 16, 24, false},
                      FormatCase{"Png", ImageFormat::kPng, "png", 0, 24, false},
                      FormatCase{"Ico", ImageFormat::kIco, "ico", 0, 32, true},
                      FormatCase{"Tiff", ImageFormat::kTiff, "tif", 0, 24, false},
                      FormatCase{"Tga", ImageFormat::kTga, "tga", 0, 24, false},
                      FormatCase{"Pcx", ImageFormat::kPcx, "pcx", 0, 24, false}),
    [](const ::testing::TestParamInfo<FormatCase>& param_info) { return param_info.param.name; });

class ImageIoTest : public ::testing::Test {
 protected:
  // Writes `image` as a JPEG through libvips directly, so the file can carry EXIF fields our
  // own saver never writes (orientation, the date taken).
  fs::path JpegWithExif(const Image& image, int orientation, const char* date_taken) {
    internal::EnsureVips();
    std::vector<uint8_t> png;
    EXPECT_TRUE(image.SaveToMemory(&png, ImageFormat::kPng));
    VipsImage* decoded = vips_image_new_from_buffer(png.data(), png.size(), "", nullptr);
    VipsImage* tagged = nullptr;
    EXPECT_EQ(vips_copy(decoded, &tagged, nullptr), 0);
    if (orientation != 0) vips_image_set_int(tagged, "orientation", orientation);
    if (date_taken != nullptr) {
      vips_image_set_string(tagged, "exif-ifd2-DateTimeOriginal", date_taken);
    }
    const fs::path path = dir_ / "camera.jpg";
    EXPECT_EQ(vips_jpegsave(tagged, path.string().c_str(), "Q", 95, nullptr), 0);
    g_object_unref(tagged);
    g_object_unref(decoded);
    return path;
  }

  TempDir dir_;
};

TEST_F(ImageIoTest, PngNamedJpgLoadsByContent) {
  const fs::path path = dir_ / "really_a_png.jpg";
  ASSERT_TRUE(Quadrants(20, 10).Save(path, ImageFormat::kPng));
  Image image;
  ASSERT_TRUE(image.Load(path, ImageFormat::kJpeg)) << image.last_error();
  EXPECT_EQ(image.format(), ImageFormat::kPng);
  ExpectCorners(image, kRed, kGreen, kBlue, kWhite, 0);
}

TEST_F(ImageIoTest, PaletteImagesReportTheirDepthUntilRaised) {
  internal::EnsureVips();
  VipsImage* base = nullptr;
  ASSERT_EQ(vips_black(&base, 16, 16, "bands", 3, nullptr), 0);
  const fs::path path = dir_ / "palette.png";
  ASSERT_EQ(vips_pngsave(base, path.string().c_str(), "palette", TRUE, "bitdepth", 8, nullptr), 0);
  g_object_unref(base);

  Image image;
  ASSERT_TRUE(image.Load(path)) << image.last_error();
  EXPECT_EQ(image.bits_per_pixel(), 8);
  EXPECT_EQ(image.channels(), 3);  // the pixels are expanded either way
  Image thumbnail_source = image;
  ASSERT_TRUE(thumbnail_source.IncreaseBpp(24));
  EXPECT_EQ(thumbnail_source.bits_per_pixel(), 24);
  EXPECT_EQ(image.bits_per_pixel(), 8);  // the copy it came from is untouched
  EXPECT_FALSE(thumbnail_source.IncreaseBpp(8));
  EXPECT_EQ(thumbnail_source.last_error(), "Cannot change the colour depth to 8 bits");
  ASSERT_TRUE(thumbnail_source.IncreaseBpp(32));
  EXPECT_TRUE(thumbnail_source.has_alpha());
  EXPECT_FALSE(thumbnail_source.IncreaseBpp(24));
  EXPECT_EQ(thumbnail_source.last_error(), "Cannot lower the colour depth from 32 to 24 bits");
}

TEST_F(ImageIoTest, GreyAndSixteenBitImagesBecomeEightBitRgb) {
  internal::EnsureVips();
  VipsImage* ramp = nullptr;  // one row 0, 1, ..., 255 scaled to 16 bits
  VipsImage* wide = nullptr;
  VipsImage* grey = nullptr;
  ASSERT_EQ(vips_xyz(&ramp, 256, 2, nullptr), 0);
  VipsImage* x = nullptr;
  ASSERT_EQ(vips_extract_band(ramp, &x, 0, nullptr), 0);
  ASSERT_EQ(vips_linear1(x, &wide, 257.0, 0.0, nullptr), 0);
  VipsImage* wide16 = nullptr;
  ASSERT_EQ(vips_cast(wide, &wide16, VIPS_FORMAT_USHORT, nullptr), 0);
  wide16->Type = VIPS_INTERPRETATION_GREY16;
  ASSERT_EQ(vips_cast(x, &grey, VIPS_FORMAT_UCHAR, nullptr), 0);
  grey->Type = VIPS_INTERPRETATION_B_W;
  const fs::path tiff = dir_ / "deep.tif";
  const fs::path png = dir_ / "grey.png";
  ASSERT_EQ(vips_tiffsave(wide16, tiff.string().c_str(), nullptr), 0);
  ASSERT_EQ(vips_pngsave(grey, png.string().c_str(), nullptr), 0);
  for (VipsImage* image : {ramp, x, wide, wide16, grey}) g_object_unref(image);

  for (const fs::path& path : {tiff, png}) {
    Image image;
    ASSERT_TRUE(image.Load(path)) << image.last_error();
    EXPECT_EQ(image.channels(), 3) << path;
    EXPECT_EQ(image.bits_per_pixel(), 8) << path;
    EXPECT_EQ(image.GetPixel(0, 0), (Rgba{0, 0, 0, 255})) << path;
    EXPECT_EQ(image.GetPixel(100, 1), (Rgba{100, 100, 100, 255})) << path;
    EXPECT_EQ(image.GetPixel(255, 0), (Rgba{255, 255, 255, 255})) << path;
  }
}

// Scanned and print-ready JPEGs are often CMYK; they must come out as ordinary RGB.
TEST_F(ImageIoTest, CmykJpegLoadsAsRgb) {
  internal::EnsureVips();
  std::vector<uint8_t> png;
  ASSERT_TRUE(Quadrants(32, 32).SaveToMemory(&png, ImageFormat::kPng));
  VipsImage* rgb = vips_image_new_from_buffer(png.data(), png.size(), "", nullptr);
  VipsImage* cmyk = nullptr;
  ASSERT_EQ(vips_icc_transform(rgb, &cmyk, "cmyk", nullptr), 0);
  const fs::path path = dir_ / "print.jpg";
  ASSERT_EQ(vips_jpegsave(cmyk, path.string().c_str(), "Q", 98, nullptr), 0);
  g_object_unref(cmyk);
  g_object_unref(rgb);

  Image image;
  ASSERT_TRUE(image.Load(path)) << image.last_error();
  EXPECT_EQ(image.channels(), 3);
  EXPECT_EQ(image.bits_per_pixel(), 24);
  // Print inks cannot reach screen primaries, so only the dominant channel is checked.
  const Rgba red = image.GetPixel(1, 1);
  const Rgba green = image.GetPixel(30, 1);
  const Rgba blue = image.GetPixel(1, 30);
  EXPECT_TRUE(red.r > red.g + 60 && red.r > red.b + 60) << ::testing::PrintToString(red);
  EXPECT_TRUE(green.g > green.r + 40 && green.g > green.b + 60) << ::testing::PrintToString(green);
  EXPECT_TRUE(blue.b > blue.r + 60 && blue.b > blue.g + 40) << ::testing::PrintToString(blue);
  EXPECT_GT(image.GetPixel(30, 30).r, 230);
}

TEST_F(ImageIoTest, AlphaSurvivesPngAndTga) {
  Image image;
  ASSERT_TRUE(image.Create(8, 8, true, Rgba{10, 20, 30, 0}));
  image.SetPixel(3, 3, Rgba{200, 100, 50, 128});
  for (ImageFormat format : {ImageFormat::kPng, ImageFormat::kTga}) {
    std::vector<uint8_t> bytes;
    ASSERT_TRUE(image.SaveToMemory(&bytes, format)) << image.last_error();
    Image loaded;
    ASSERT_TRUE(loaded.LoadFromMemory(bytes.data(), bytes.size(), format)) << loaded.last_error();
    EXPECT_TRUE(loaded.has_alpha());
    EXPECT_EQ(loaded.bits_per_pixel(), 32);
    EXPECT_EQ(loaded.GetPixel(3, 3), (Rgba{200, 100, 50, 128}));
    EXPECT_EQ(loaded.GetPixel(0, 0).a, 0);
  }
}

TEST_F(ImageIoTest, JpegDropsAlphaAndHonoursQuality) {
  Image image = Quadrants(128, 128);
  ASSERT_TRUE(image.IncreaseBpp(32));
  std::vector<uint8_t> low, high;
  ASSERT_TRUE(image.SaveToMemory(&low, ImageFormat::kJpeg, 10)) << image.last_error();
  ASSERT_TRUE(image.SaveToMemory(&high, ImageFormat::kJpeg, 95));
  EXPECT_LT(low.size(), high.size());
  Image loaded;
  ASSERT_TRUE(loaded.LoadFromMemory(high.data(), high.size()));
  EXPECT_FALSE(loaded.has_alpha());
}

TEST_F(ImageIoTest, ExifOrientationIsAppliedOnceAndNotSavedAgain) {
  // Stored sideways: orientation 6 means "turn 90 degrees clockwise to view".
  const fs::path path = JpegWithExif(Quadrants(80, 40), 6, nullptr);

  ImageInfo info;
  std::string error;
  ASSERT_TRUE(ReadImageInfo(path, ImageFormat::kJpeg, &info, &error)) << error;
  EXPECT_EQ(info.width, 40);
  EXPECT_EQ(info.height, 80);

  Image upright;
  ASSERT_TRUE(upright.Load(path)) << upright.last_error();
  ASSERT_EQ(upright.width(), 40);
  ASSERT_EQ(upright.height(), 80);
  // A clockwise quarter turn brings the stored bottom-left corner to the top-left.
  ExpectCorners(upright, kBlue, kRed, kWhite, kGreen, 20);

  Image thumb;
  ASSERT_TRUE(thumb.LoadThumbnail(path, 20, 40, ResampleMode::kBilinear)) << thumb.last_error();
  EXPECT_EQ(thumb.width(), 20);
  EXPECT_EQ(thumb.height(), 40);
  ExpectCorners(thumb, kBlue, kRed, kWhite, kGreen, 30);

  // An exported copy must not be turned a second time by whoever opens it.
  const fs::path exported = dir_ / "exported.jpg";
  ASSERT_TRUE(upright.Save(exported, ImageFormat::kJpeg));
  Image reopened;
  ASSERT_TRUE(reopened.Load(exported)) << reopened.last_error();
  EXPECT_EQ(reopened.width(), 40);
  EXPECT_EQ(reopened.height(), 80);
  ExpectCorners(reopened, kBlue, kRed, kWhite, kGreen, 24);
}

TEST_F(ImageIoTest, DateTakenComesFromExifAndSurvivesAnEditedSave) {
  const fs::path path = JpegWithExif(Quadrants(32, 32), 0, "2019:12:31 23:59:58");
  const PhotoDateTime expected{2019, 12, 31, 23, 59, 58};

  ImageInfo info;
  std::string error;
  ASSERT_TRUE(ReadImageInfo(path, ImageFormat::kJpeg, &info, &error)) << error;
  EXPECT_EQ(info.date_taken, expected);

  Image image;
  ASSERT_TRUE(image.Load(path));
  EXPECT_EQ(image.date_taken(), expected);
  ASSERT_TRUE(image.RotateRight());
  ASSERT_TRUE(image.Resample(16, 16, ResampleMode::kNearest));
  const fs::path edited = dir_ / "edited.jpg";
  ASSERT_TRUE(image.Save(edited, ImageFormat::kJpeg));
  ASSERT_TRUE(ReadImageInfo(edited, ImageFormat::kJpeg, &info, &error)) << error;
  EXPECT_EQ(info.date_taken, expected);

  ASSERT_TRUE(Quadrants(8, 8).Save(dir_ / "plain.png", ImageFormat::kPng));
  ASSERT_TRUE(ReadImageInfo(dir_ / "plain.png", ImageFormat::kPng, &info, &error));
  EXPECT_EQ(info.date_taken, std::nullopt);
}

TEST_F(ImageIoTest, SaveIntoMissingFolderFailsAndLeavesNothing) {
  const Image image = Quadrants(4, 4);
  const fs::path path = dir_ / "no" / "such" / "folder.png";
  EXPECT_FALSE(image.Save(path, ImageFormat::kPng));
  EXPECT_THAT(image.last_error(), HasSubstr("Cannot write \"" + path.string() + "\""));
  EXPECT_TRUE(fs::is_empty(dir_.path()));
}

// Joins single-picture icon files into one icon file, in the given order.
std::vector<uint8_t> JoinIcons(const std::vector<std::vector<uint8_t>>& icons) {
  std::vector<uint8_t> out = {0, 0, 1, 0, static_cast<uint8_t>(icons.size()), 0};
  uint32_t offset = static_cast<uint32_t>(6 + 16 * icons.size());
  for (const auto& icon : icons) {
    std::vector<uint8_t> entry(icon.begin() + 6, icon.begin() + 22);
    for (int i = 0; i < 4; ++i) entry[12 + i] = static_cast<uint8_t>(offset >> (8 * i));
    out.insert(out.end(), entry.begin(), entry.end());
    offset += static_cast<uint32_t>(icon.size() - 22);
  }
  for (const auto& icon : icons) out.insert(out.end(), icon.begin() + 22, icon.end());
  return out;
}

TEST_F(ImageIoTest, IconShowsItsLargestPicture) {
  Image small;
  Image large;
  ASSERT_TRUE(small.Create(16, 16, false, kRed));
  ASSERT_TRUE(large.Create(48, 32, false, kBlue));
  std::vector<uint8_t> small_ico, large_ico;
  ASSERT_TRUE(small.SaveToMemory(&small_ico, ImageFormat::kIco));
  ASSERT_TRUE(large.SaveToMemory(&large_ico, ImageFormat::kIco));
  const std::vector<uint8_t> joined = JoinIcons({small_ico, large_ico});

  Image image;
  ASSERT_TRUE(image.LoadFromMemory(joined.data(), joined.size())) << image.last_error();
  EXPECT_EQ(image.width(), 48);
  EXPECT_EQ(image.height(), 32);
  EXPECT_EQ(image.GetPixel(5, 5), kBlue);
}

TEST_F(ImageIoTest, IconsLargerThan256AreRefusedWithAReason) {
  Image image = Quadrants(300, 20);
  std::vector<uint8_t> bytes;
  EXPECT_FALSE(image.SaveToMemory(&bytes, ImageFormat::kIco));
  EXPECT_EQ(image.last_error(), "Cannot save as ICO: icons can be at most 256 x 256 pixels");
  ASSERT_TRUE(image.Resample(256, 17, ResampleMode::kBilinear));
  EXPECT_TRUE(image.SaveToMemory(&bytes, ImageFormat::kIco)) << image.last_error();
}

}  // namespace
}  // namespace quorvane::image
