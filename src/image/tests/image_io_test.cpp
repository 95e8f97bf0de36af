// Loading and saving: every format round-trips through files and memory, formats are known by
// content, depth is reported as the file had it, and EXIF orientation and dates are honoured.
#include <iterator>
#include <string>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <vips/vips.h>

#include "image/image.h"
#include "image/internal/vips_support.h"
#include "testing/temp_dir.h"
#include "testing/test_images.h"

namespace quorvane::image {
namespace {

namespace fs = std::filesystem;
using quorvane::testing::TempDir;
using testing::ExpectCorners, testing::Quadrants;
using testing::kBlue, testing::kGreen, testing::kRed, testing::kWhite;

constexpr Rgba kWhite255{255, 255, 255, 255};

// What a translucent pixel becomes after a round trip.
enum class Alpha { kKept, kOnOff, kDropped };

struct FormatCase {
  const char* name;
  ImageFormat format;
  int tolerance;       // per channel: JPEG is lossy, GIF quantises to a palette
  int bits_per_pixel;  // what a saved true-colour image reports when read back
  Alpha alpha;
  ResampleMode thumbnail_mode;  // spread over the formats so each mode meets a decoder
};

class ImageIoTest : public ::testing::Test {
 protected:
  TempDir dir_;
};

class ImageFormatTest : public ImageIoTest, public ::testing::WithParamInterface<FormatCase> {};

TEST_P(ImageFormatTest, RoundTripsThroughFileMemoryAndThumbnail) {
  const FormatCase& c = GetParam();
  const Image original = Quadrants(256, 192);  // as large as an icon can be
  // The name and the hint are ignored wherever the content has a signature; TGA has none.
  const fs::path path = dir_ / "picture.jpg";
  const ImageFormat hint = c.format == ImageFormat::kTga ? c.format : ImageFormat::kJpeg;
  ASSERT_TRUE(original.Save(path, c.format)) << original.last_error();
  // Nothing but the final file is left behind.
  EXPECT_EQ(std::distance(fs::directory_iterator(dir_.path()), fs::directory_iterator()), 1);

  ImageInfo info;
  std::string error;
  ASSERT_TRUE(ReadImageInfo(path, hint, &info, &error)) << error;
  EXPECT_EQ(std::tuple(info.format, info.width, info.height, info.bits_per_pixel),
            std::tuple(c.format, 256, 192, c.bits_per_pixel));
  EXPECT_EQ(info.date_taken, std::nullopt);

  Image loaded;
  ASSERT_TRUE(loaded.Load(path, hint)) << loaded.last_error();
  EXPECT_EQ(loaded.format(), c.format);
  EXPECT_EQ(loaded.bits_per_pixel(), c.bits_per_pixel);
  ExpectCorners(loaded, 256, 192, c.tolerance);

  // Shrink-on-load (a JPEG decodes at half size here) still ends at exactly the asked size.
  ASSERT_TRUE(loaded.LoadThumbnail(path, 117, 88, c.thumbnail_mode, hint)) << loaded.last_error();
  EXPECT_EQ(loaded.has_alpha(), c.format == ImageFormat::kIco);  // icons are written with alpha
  EXPECT_EQ(loaded.bits_per_pixel(), loaded.has_alpha() ? 32 : 24);
  ExpectCorners(loaded, 117, 88, c.tolerance + 12);

  // In memory, without a name or a hint, the content alone decides.
  std::vector<uint8_t> bytes;
  ASSERT_TRUE(original.SaveToMemory(&bytes, c.format)) << original.last_error();
  ASSERT_TRUE(loaded.LoadFromMemory(bytes.data(), bytes.size())) << loaded.last_error();
  EXPECT_EQ(loaded.format(), c.format);
  ExpectCorners(loaded, 256, 192, c.tolerance);

  constexpr Rgba kHalfOrange{200, 100, 50, 128};
  Image translucent;
  ASSERT_TRUE(translucent.Create(8, 8, true, Rgba{10, 20, 30, 0}));
  translucent.SetPixel(3, 3, kHalfOrange);
  ASSERT_TRUE(translucent.SaveToMemory(&bytes, c.format)) << translucent.last_error();
  ASSERT_TRUE(loaded.LoadFromMemory(bytes.data(), bytes.size(), c.format)) << loaded.last_error();
  EXPECT_EQ(loaded.has_alpha(), c.alpha != Alpha::kDropped);
  EXPECT_EQ(loaded.GetPixel(0, 0).a, c.alpha == Alpha::kDropped ? 255 : 0);
  EXPECT_EQ(loaded.GetPixel(3, 3).a, c.alpha == Alpha::kKept ? 128 : 255);
  if (c.tolerance == 0) {
    EXPECT_PRED3(testing::Near, loaded.GetPixel(3, 3), kHalfOrange, 0);
  }
}

INSTANTIATE_TEST_SUITE_P(
    EveryFormat, ImageFormatTest,
    ::testing::Values(
        FormatCase{"Bmp", ImageFormat::kBmp, 0, 24, Alpha::kKept, ResampleMode::kNearest},
        // Five colours need a 3-bit palette, which reads back as 4 bits.
        FormatCase{"Gif", ImageFormat::kGif, 8, 4, Alpha::kOnOff, ResampleMode::kBilinear},
        FormatCase{"Jpeg", ImageFormat::kJpeg, 16, 24, Alpha::kDropped, ResampleMode::kNearest},
        FormatCase{"Png", ImageFormat::kPng, 0, 24, Alpha::kKept, ResampleMode::kLanczos3},
        FormatCase{"Ico", ImageFormat::kIco, 0, 32, Alpha::kKept, ResampleMode::kBicubic},
        FormatCase{"Tiff", ImageFormat::kTiff, 0, 24, Alpha::kKept, ResampleMode::kBilinear},
        FormatCase{"Tga", ImageFormat::kTga, 0, 24, Alpha::kKept, ResampleMode::kBicubic},
        FormatCase{"Pcx", ImageFormat::kPcx, 0, 24, Alpha::kDropped, ResampleMode::kLanczos3}),
    [](const ::testing::TestParamInfo<FormatCase>& param_info) { return param_info.param.name; });

// Files as other programs write them: ImageMagick's (testdata/regress), or laid out here byte
// by byte as the format's documentation describes. Each must show the Quadrants picture's
// corners where the picture has them, whole and as a thumbnail.
enum class Shades { kColour, kGrey, kBlackAndWhite };

// What a Quadrants colour becomes in a file of fewer shades.
Rgba Shaded(Rgba c, Shades shades) {
  const auto grey = static_cast<uint8_t>((c.r * 3 + c.g * 6 + c.b) / 10);
  if (shades == Shades::kGrey) return {grey, grey, grey, 255};
  if (shades == Shades::kBlackAndWhite) return grey >= 128 ? kWhite255 : Rgba{0, 0, 0, 255};
  return c;
}

std::string TestFile(const char* name) {
  return quorvane::testing::ReadTextFile(quorvane::testing::TestDataPath("regress") / name);
}

// A TGA of the 32 x 24 Quadrants picture: true colour or grey, rows from the bottom (what most
// programs write) or from the top, and run-length packets where pixels repeat.
std::string Tga(bool bottom_up, bool rle, Shades shades) {
  const Image picture = Quadrants(32, 24);
  const bool grey = shades == Shades::kGrey;
  const uint8_t type = static_cast<uint8_t>((grey ? 3 : 2) + (rle ? 8 : 0));
  // No id or colour map; 32 x 24 from the origin; the bits per pixel and the row order.
  std::string out(18, '\0');
  out[2] = static_cast<char>(type), out[12] = 32, out[14] = 24;
  out[16] = static_cast<char>(grey ? 8 : 24), out[17] = static_cast<char>(bottom_up ? 0 : 0x20);
  const auto pixel = [&](int x, int y) {
    const Rgba c = Shaded(picture.GetPixel(x, y), shades);
    return grey ? std::string(1, static_cast<char>(c.r))
                : std::string{static_cast<char>(c.b), static_cast<char>(c.g),
                              static_cast<char>(c.r)};
  };
  for (int row = 0; row < 24; ++row) {
    const int y = bottom_up ? 23 - row : row;
    for (int x = 0; x < 32;) {
      int run = 1;
      while (rle && x + run < 32 && pixel(x + run, y) == pixel(x, y)) ++run;
      if (rle) out += static_cast<char>(run > 1 ? 0x80 | (run - 1) : 0);
      out += pixel(x, y);
      x += rle ? run : 1;
    }
  }
  return out;
}

// A PCX of the Quadrants picture in the EGA layout, 1 bit in each of `planes` planes (4: sixteen
// colours from the header's palette; 1: black and white).
std::string PlanarPcx(int planes) {
  const Image picture = Quadrants(32, 24);
  const Rgba palette[5] = {testing::kGrey, kRed, kGreen, kBlue, kWhite};
  const auto index = [&](int x, int y) {
    for (int i = 1; i < 5; ++i) {
      if (picture.GetPixel(x, y) == palette[i]) return i;
    }
    return 0;
  };
  std::string out(128, '\0');
  out[0] = 10, out[1] = 5, out[2] = 1, out[3] = 1;  // ZSoft, version 5, run-length, 1 bit
  out[8] = 31, out[10] = 23;                        // right and bottom edges
  // The palette; black and white use entries 0 and 1.
  for (int i = 0; i < 5; ++i) {
    const Rgba c = planes == 4 ? palette[i] : i == 1 ? kWhite255 : Rgba{0, 0, 0, 255};
    out[16 + 3 * i] = static_cast<char>(c.r);
    out[17 + 3 * i] = static_cast<char>(c.g);
    out[18 + 3 * i] = static_cast<char>(c.b);
  }
  out[65] = static_cast<char>(planes);
  out[66] = 4;  // bytes per plane line
  out[68] = 1;
  for (int y = 0; y < 24; ++y) {
    for (int plane = 0; plane < planes; ++plane) {
      for (int byte = 0; byte < 4; ++byte) {
        uint8_t bits = 0;
        for (int bit = 0; bit < 8; ++bit) {
          const int x = byte * 8 + bit;
          const bool on = planes == 4 ? (index(x, y) >> plane & 1) != 0
                                      : Shaded(picture.GetPixel(x, y), Shades::kBlackAndWhite).r;
          bits |= static_cast<uint8_t>(on << (7 - bit));
        }
        if (bits >= 0xC0) out += static_cast<char>(0xC1);  // a count of one, then the byte
        out += static_cast<char>(bits);
      }
    }
  }
  return out;
}

struct ForeignFileCase {
  const char* name;
  std::string (*bytes)();
  ImageFormat format;
  int width;
  int height;
  Shades shades;
  int tolerance;
};

class ImageForeignFileTest : public ImageIoTest,
                             public ::testing::WithParamInterface<ForeignFileCase> {};

TEST_P(ImageForeignFileTest, ShowsThePictureTheRightWayUp) {
  const ForeignFileCase& c = GetParam();
  const fs::path path = dir_ / "picture";
  quorvane::testing::WriteTextFile(path, c.bytes());
  const auto corners = [&c](const Image& image, int width, int height, int tolerance) {
    ExpectCorners(image, width, height, tolerance, Shaded(kRed, c.shades), Shaded(kGreen, c.shades),
                  Shaded(kBlue, c.shades), Shaded(kWhite, c.shades));
  };
  Image image;
  ASSERT_TRUE(image.Load(path, c.format)) << image.last_error();
  EXPECT_EQ(image.format(), c.format);
  EXPECT_EQ(image.channels(), c.name == std::string("BmpV5Alpha") ? 4 : 3);
  corners(image, c.width, c.height, c.tolerance);
  ASSERT_TRUE(
      image.LoadThumbnail(path, c.width / 2, c.height / 2, ResampleMode::kNearest, c.format))
      << image.last_error();
  corners(image, c.width / 2, c.height / 2, c.tolerance);
}

INSTANTIATE_TEST_SUITE_P(
    OtherPrograms, ImageForeignFileTest,
    ::testing::Values(
        // Large icon pictures are stored as whole PNG files inside the icon.
        ForeignFileCase{"IconWithPngEntries", [] { return TestFile("icon_png_entries.ico"); },
                        ImageFormat::kIco, 256, 256, Shades::kColour, 0},
        ForeignFileCase{"TgaFromTheBottom", [] { return Tga(true, false, Shades::kColour); },
                        ImageFormat::kTga, 32, 24, Shades::kColour, 0},
        ForeignFileCase{"TgaFromTheTopRle", [] { return Tga(false, true, Shades::kColour); },
                        ImageFormat::kTga, 32, 24, Shades::kColour, 0},
        ForeignFileCase{"TgaGreyRle", [] { return Tga(true, true, Shades::kGrey); },
                        ImageFormat::kTga, 32, 24, Shades::kGrey, 0},
        ForeignFileCase{"Pcx4BitPlanes", [] { return PlanarPcx(4); }, ImageFormat::kPcx, 32, 24,
                        Shades::kColour, 0},
        ForeignFileCase{"Pcx1Bit", [] { return PlanarPcx(1); }, ImageFormat::kPcx, 32, 24,
                        Shades::kBlackAndWhite, 0},
        ForeignFileCase{"Pcx8BitPalette", [] { return TestFile("pcx_8bit.pcx"); },
                        ImageFormat::kPcx, 32, 24, Shades::kColour, 0},
        ForeignFileCase{"Pcx24Bit", [] { return TestFile("pcx_24bit.pcx"); }, ImageFormat::kPcx, 32,
                        24, Shades::kColour, 0},
        ForeignFileCase{"BmpV5Alpha", [] { return TestFile("bmp_v5_alpha.bmp"); },
                        ImageFormat::kBmp, 32, 24, Shades::kColour, 0},
        ForeignFileCase{"Bmp16BitRgb565", [] { return TestFile("bmp_rgb565.bmp"); },
                        ImageFormat::kBmp, 32, 24, Shades::kColour, 8},
        ForeignFileCase{"GifOfTwoFrames", [] { return TestFile("gif_two_frames.gif"); },
                        ImageFormat::kGif, 32, 24, Shades::kColour, 0},
        ForeignFileCase{"TiffOfTwoPagesLzw", [] { return TestFile("tiff_two_pages_lzw.tif"); },
                        ImageFormat::kTiff, 32, 24, Shades::kColour, 0},
        ForeignFileCase{"Png16Bit", [] { return TestFile("png_16bit.png"); }, ImageFormat::kPng, 32,
                        24, Shades::kColour, 1}),
    [](const ::testing::TestParamInfo<ForeignFileCase>& param_info) {
      return param_info.param.name;
    });

TEST_F(ImageIoTest, PaletteImagesReportTheirDepthUntilRaised) {
  std::vector<uint8_t> gif;  // five colours: a 4-bit palette
  ASSERT_TRUE(Quadrants(16, 16).SaveToMemory(&gif, ImageFormat::kGif));
  Image image;
  ASSERT_TRUE(image.LoadFromMemory(gif.data(), gif.size())) << image.last_error();
  EXPECT_EQ(image.bits_per_pixel(), 4);
  EXPECT_EQ(image.channels(), 3);  // the pixels are expanded either way
  Image raised = image;
  ASSERT_TRUE(raised.IncreaseBpp(24));
  EXPECT_EQ(raised.bits_per_pixel(), 24);
  EXPECT_EQ(image.bits_per_pixel(), 4);  // the copy it came from is untouched
  EXPECT_FALSE(raised.IncreaseBpp(8));
  EXPECT_EQ(raised.last_error(), "Cannot change the colour depth to 8 bits");
  ASSERT_TRUE(raised.IncreaseBpp(32));
  EXPECT_TRUE(raised.has_alpha());
  EXPECT_FALSE(raised.IncreaseBpp(24));
  EXPECT_EQ(raised.last_error(), "Cannot lower the colour depth from 32 to 24 bits");
}

// A camera JPEG stored sideways (orientation 6: turn 90 degrees clockwise to view) with the
// date it was taken; libvips writes it, since our saver never writes an orientation.
TEST_F(ImageIoTest, CameraJpegIsTurnedUprightOnceAndKeepsItsDate) {
  std::string start_error;
  ASSERT_TRUE(internal::EnsureVips(&start_error)) << start_error;
  std::vector<uint8_t> png;
  ASSERT_TRUE(Quadrants(80, 40).SaveToMemory(&png, ImageFormat::kPng));
  VipsImage* decoded = vips_image_new_from_buffer(png.data(), png.size(), "", nullptr);
  VipsImage* tagged = nullptr;
  ASSERT_EQ(vips_copy(decoded, &tagged, nullptr), 0);
  vips_image_set_int(tagged, "orientation", 6);
  vips_image_set_string(tagged, "exif-ifd2-DateTimeOriginal", "2019:12:31 23:59:58");
  const fs::path path = dir_ / "camera.jpg";
  ASSERT_EQ(vips_jpegsave(tagged, path.string().c_str(), "Q", 95, nullptr), 0);
  g_object_unref(tagged);
  g_object_unref(decoded);
  const PhotoDateTime taken{2019, 12, 31, 23, 59, 58};

  ImageInfo info;
  std::string error;
  ASSERT_TRUE(ReadImageInfo(path, ImageFormat::kJpeg, &info, &error)) << error;
  EXPECT_EQ(info.width, 40);
  EXPECT_EQ(info.height, 80);
  EXPECT_EQ(info.date_taken, taken);

  // A clockwise quarter turn brings the stored bottom-left corner to the top-left.
  Image image;
  ASSERT_TRUE(image.LoadThumbnail(path, 20, 40, ResampleMode::kBilinear)) << image.last_error();
  ExpectCorners(image, 20, 40, 30, kBlue, kRed, kWhite, kGreen);
  ASSERT_TRUE(image.Load(path)) << image.last_error();
  EXPECT_EQ(image.date_taken(), taken);
  ExpectCorners(image, 40, 80, 20, kBlue, kRed, kWhite, kGreen);

  // An edited, exported copy keeps the date but must not be turned again by whoever opens it.
  // Nearest scaling builds a fresh image, so the metadata has to be carried across.
  ASSERT_TRUE(image.Resample(20, 40, ResampleMode::kNearest));
  const fs::path exported = dir_ / "exported.jpg";
  ASSERT_TRUE(image.Save(exported, ImageFormat::kJpeg));
  ASSERT_TRUE(image.Load(exported)) << image.last_error();
  EXPECT_EQ(image.date_taken(), taken);
  ExpectCorners(image, 20, 40, 30, kBlue, kRed, kWhite, kGreen);
}

TEST_F(ImageIoTest, SaveRefusesWhatItCannotWriteAndHonoursQuality) {
  Image image = Quadrants(300, 20);
  std::vector<uint8_t> low, high;
  EXPECT_FALSE(image.SaveToMemory(&low, ImageFormat::kIco));
  EXPECT_EQ(image.last_error(), "Cannot save as ICO: icons can be at most 256 x 256 pixels");
  ASSERT_TRUE(image.SaveToMemory(&low, ImageFormat::kJpeg, 10));
  ASSERT_TRUE(image.SaveToMemory(&high, ImageFormat::kJpeg, 95));
  EXPECT_LT(low.size(), high.size());

  const fs::path path = dir_ / "no" / "such" / "folder.png";
  EXPECT_FALSE(image.Save(path, ImageFormat::kPng));
  EXPECT_THAT(image.last_error(),
              ::testing::HasSubstr("Unable to write \"" + path.string() + "\""));
  EXPECT_TRUE(fs::is_empty(dir_.path()));
}

}  // namespace
}  // namespace quorvane::image
