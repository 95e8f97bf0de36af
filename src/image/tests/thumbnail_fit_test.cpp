// Fast thumbnails: the fit arithmetic, each JPEG decode path against a full decode of the same
// file (PSNR), EXIF orientation, the EXIF parser's bounds, and broken files.
#include <cmath>
#include <cstdio>
#include <jpeglib.h>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "image/image.h"
#include "image/internal/jpeg_reduced.h"
#include "testing/temp_dir.h"

namespace quorvane::image {
namespace {

using quorvane::testing::TempDir;

// A photo-like picture: smooth gradients, rings and fine stripes, so that a decode that skipped
// or misplaced detail shows up in the PSNR.
std::vector<uint8_t> PhotoPixels(int width, int height) {
  std::vector<uint8_t> rgb(static_cast<size_t>(width) * height * 3);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const double fx = static_cast<double>(x) / width;
      const double fy = static_cast<double>(y) / height;
      const double ring = std::sin(std::hypot(fx - 0.3, fy - 0.6) * 40.0);
      uint8_t* p = &rgb[(static_cast<size_t>(y) * width + x) * 3];
      p[0] = static_cast<uint8_t>(40 + 180 * fx);
      p[1] = static_cast<uint8_t>(128 + 100 * ring * fy);
      p[2] = static_cast<uint8_t>(200 - 150 * fy + ((x / 7 + y / 5) % 2) * 20 * fx);
    }
  }
  return rgb;
}

// How a progressive file is laid out, beyond libjpeg's defaults (4:2:0 colour, one scan for
// all DC coefficients, no restart markers).
enum class Layout { kDefault, kGrey, kRestarts, kSeparateDcScans, kFullColour };

std::vector<uint8_t> EncodeJpeg(const std::vector<uint8_t>& rgb, int width, int height,
                                bool progressive, const std::string& app1 = {},
                                Layout layout = Layout::kDefault) {
  jpeg_compress_struct c;
  jpeg_error_mgr errors;
  c.err = jpeg_std_error(&errors);
  jpeg_create_compress(&c);
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&c, &buffer, &size);
  const bool grey = layout == Layout::kGrey;
  c.image_width = static_cast<JDIMENSION>(width);
  c.image_height = static_cast<JDIMENSION>(height);
  c.input_components = grey ? 1 : 3;
  c.in_color_space = grey ? JCS_GRAYSCALE : JCS_RGB;
  jpeg_set_defaults(&c);
  jpeg_set_quality(&c, 90, TRUE);
  if (progressive) jpeg_simple_progression(&c);
  // Each component's DC in a scan of its own, first the top bits, the last bit after the AC.
  jpeg_scan_info separate[9];
  if (layout == Layout::kSeparateDcScans) {
    for (int i = 0; i < 3; ++i) {
      separate[i] = {1, {i}, 0, 0, 0, 1};
      separate[3 + i] = {1, {i}, 1, 63, 0, 0};
      separate[6 + i] = {1, {i}, 0, 0, 1, 0};
    }
    c.scan_info = separate;
    c.num_scans = 9;
  }
  if (layout == Layout::kRestarts) c.restart_interval = 7;  // MCUs, across row ends
  if (layout == Layout::kFullColour)
    c.comp_info[0].h_samp_factor = c.comp_info[0].v_samp_factor = 1;
  jpeg_start_compress(&c, TRUE);
  if (!app1.empty()) {
    jpeg_write_marker(&c, JPEG_APP0 + 1, reinterpret_cast<const JOCTET*>(app1.data()),
                      static_cast<unsigned>(app1.size()));
  }
  std::vector<uint8_t> row_grey(static_cast<size_t>(width));
  while (c.next_scanline < c.image_height) {
    const uint8_t* row_rgb = &rgb[static_cast<size_t>(c.next_scanline) * width * 3];
    for (int x = 0; x < width && grey; ++x) {
      row_grey[static_cast<size_t>(x)] = static_cast<uint8_t>(
          (row_rgb[3 * x] * 3 + row_rgb[3 * x + 1] * 6 + row_rgb[3 * x + 2]) / 10);
    }
    JSAMPROW row = const_cast<JSAMPROW>(grey ? row_grey.data() : row_rgb);
    jpeg_write_scanlines(&c, &row, 1);
  }
  jpeg_finish_compress(&c);
  std::vector<uint8_t> bytes(buffer, buffer + size);
  jpeg_destroy_compress(&c);
  std::free(buffer);
  return bytes;
}

// "Exif\0\0" and little-endian TIFF: IFD0 (at 8) holds the orientation, IFD1 (at 26) points
// at `preview`, which follows at 56.
std::string ExifBlock(int orientation, const std::vector<uint8_t>& preview) {
  std::string tiff(56, '\0');
  auto put = [&](size_t at, std::initializer_list<uint32_t> values, int bytes) {
    for (uint32_t value : values) {
      for (int i = 0; i < bytes; ++i) tiff[at++] = static_cast<char>(value >> (8 * i));
    }
  };
  put(0, {'I', 'I', 42, 0, 8, 0, 0, 0}, 1);
  put(8, {1, 0x0112, 3}, 2);  // one entry: orientation, SHORT, count 1
  put(14, {1, static_cast<uint32_t>(orientation), 26}, 4);  // ... and IFD1's offset
  put(26, {2, 0x0201, 4}, 2);  // two entries: JPEGInterchangeFormat, LONG, count 1, 56
  put(32, {1, 56}, 4);
  put(40, {0x0202, 4}, 2);  // JPEGInterchangeFormatLength
  put(44, {1, static_cast<uint32_t>(preview.size()), 0}, 4);
  tiff.append(preview.begin(), preview.end());
  return std::string("Exif\0\0", 6) + tiff;
}

double Psnr(const Image& a, const Image& b) {
  EXPECT_EQ(a.width(), b.width());
  EXPECT_EQ(a.height(), b.height());
  double sum = 0;
  for (int y = 0; y < a.height(); ++y) {
    for (int x = 0; x < a.width(); ++x) {
      const Rgba p = a.GetPixel(x, y), q = b.GetPixel(x, y);
      sum += (p.r - q.r) * (p.r - q.r) + (p.g - q.g) * (p.g - q.g) + (p.b - q.b) * (p.b - q.b);
    }
  }
  const double mse = sum / (3.0 * a.width() * a.height());
  return mse == 0 ? 99.0 : 10.0 * std::log10(255.0 * 255.0 / mse);
}

std::filesystem::path WriteBytes(const TempDir& dir, const char* name,
                                 const std::vector<uint8_t>& bytes) {
  const auto path = dir / name;
  quorvane::testing::WriteTextFile(
      path, std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
  return path;
}

TEST(FitInsideTest, KeepsAspectTruncatesAndNeverEnlarges) {
  struct Case {
    int w, h, max_w, max_h, want_w, want_h;
  };
  for (const Case& c : {Case{1600, 1200, 118, 88, 117, 88}, Case{100, 50, 118, 88, 100, 50},
                        Case{2000, 1000, 1024, 768, 1024, 512}, Case{1200, 1600, 118, 88, 66, 88},
                        Case{5000, 10, 118, 88, 118, 1}}) {
    const FitSize fit = FitInside(c.w, c.h, c.max_w, c.max_h);
    EXPECT_EQ(fit.width, c.want_w) << c.w << "x" << c.h;
    EXPECT_EQ(fit.height, c.want_h) << c.w << "x" << c.h;
  }
}

struct PathCase {
  const char* name;
  bool progressive;
  bool with_preview;
  bool use_preview;
  int orientation;
  ThumbnailDecode expected;
  Layout layout = Layout::kDefault;
};

class FastThumbnailTest : public ::testing::TestWithParam<PathCase> {};

// Every fast path gives the size a full decode would and looks the same (>= 35 dB).
TEST_P(FastThumbnailTest, MatchesFullDecodeScaledDown) {
  const PathCase& c = GetParam();
  constexpr int kWidth = 2400, kHeight = 1800;
  const std::vector<uint8_t> pixels = PhotoPixels(kWidth, kHeight);
  std::string app1;
  if (c.orientation != 1 || c.with_preview) {
    std::vector<uint8_t> preview;
    if (c.with_preview) {
      // The same picture drawn smaller, as a camera's preview is.
      preview = EncodeJpeg(PhotoPixels(kWidth / 5, kHeight / 5), kWidth / 5, kHeight / 5, false);
    }
    app1 = ExifBlock(c.orientation, preview);
  }
  TempDir dir;
  const auto path = WriteBytes(dir, "photo.jpg",
                               EncodeJpeg(pixels, kWidth, kHeight, c.progressive, app1, c.layout));
  Image fast;
  ThumbnailSource source;
  ASSERT_TRUE(
      fast.LoadThumbnailToFit(path, 118, 88, ResampleMode::kBicubic, &source, c.use_preview))
      << fast.last_error();
  EXPECT_EQ(source.decode, c.expected);
  const bool turned = c.orientation >= 5;
  EXPECT_EQ(source.width, turned ? kHeight : kWidth);
  EXPECT_EQ(source.height, turned ? kWidth : kHeight);
  EXPECT_EQ(fast.width(), turned ? 66 : 117);
  EXPECT_EQ(fast.height(), 88);

  Image full;
  ASSERT_TRUE(full.Load(path));
  ASSERT_TRUE(full.Resample(fast.width(), fast.height(), ResampleMode::kBicubic));
  EXPECT_GE(Psnr(fast, full), 35.0);
}

INSTANTIATE_TEST_SUITE_P(
    Paths, FastThumbnailTest,
    ::testing::Values(
        PathCase{"Baseline", false, false, false, 1, ThumbnailDecode::kReducedScale},
        PathCase{"ProgressiveStopsAfterDcScans", true, false, false, 1,
                 ThumbnailDecode::kFirstScans},
        PathCase{"TurnedByExif", true, false, false, 6, ThumbnailDecode::kFirstScans},
        PathCase{"FirstScansOfGrey", true, false, false, 1, ThumbnailDecode::kFirstScans,
                 Layout::kGrey},
        PathCase{"FirstScansWithRestarts", true, false, false, 1, ThumbnailDecode::kFirstScans,
                 Layout::kRestarts},
        PathCase{"FirstScansOneComponentEach", true, false, false, 1, ThumbnailDecode::kFirstScans,
                 Layout::kSeparateDcScans},
        PathCase{"FirstScansOfFullColour", true, false, false, 1, ThumbnailDecode::kFirstScans,
                 Layout::kFullColour},
        PathCase{"PreviewWhenAllowed", false, true, true, 1, ThumbnailDecode::kExifPreview},
        PathCase{"TurnedPreview", false, true, true, 8, ThumbnailDecode::kExifPreview},
        PathCase{"PreviewIgnoredByDefault", false, true, false, 1, ThumbnailDecode::kReducedScale}),
    [](const auto& param_info) { return std::string(param_info.param.name); });

TEST(FastThumbnailEdgeTest, SmallJpegsLoadWholeOtherFormatsTakeTheGeneralPath) {
  TempDir dir;
  const std::vector<uint8_t> pixels = PhotoPixels(100, 50);
  const auto small = WriteBytes(dir, "small.jpg", EncodeJpeg(pixels, 100, 50, false));
  Image image;
  ThumbnailSource source;
  ASSERT_TRUE(image.LoadThumbnailToFit(small, 118, 88, ResampleMode::kBicubic, &source));
  EXPECT_EQ(source.decode, ThumbnailDecode::kReducedScale);
  Image full;
  ASSERT_TRUE(full.Load(small));
  EXPECT_EQ(image.width(), 100);
  EXPECT_EQ(image.height(), 50);
  EXPECT_GE(Psnr(image, full), 45.0);  // the same picture at the same size

  Image png;
  ASSERT_TRUE(png.Create(400, 300, true, {10, 20, 30, 128}));
  ASSERT_TRUE(png.Save(dir / "a.png", ImageFormat::kPng));
  ASSERT_TRUE(image.LoadThumbnailToFit(dir / "a.png", 118, 88, ResampleMode::kBilinear, &source));
  EXPECT_EQ(source.decode, ThumbnailDecode::kGeneric);
  EXPECT_EQ(image.width(), 117);
  EXPECT_EQ(image.height(), 88);
}

enum class Damage { kCutInHalf, kNoEndMarker, kTrailingBytes };

struct DamageCase {
  const char* name;
  bool progressive;
  bool preview;
  int max_side;  // of the thumbnail: small enough for the first scans only, or larger
  Damage damage;
  ThumbnailDecode path;  // the fast path a whole file takes
};

class DamagedJpegTest : public ::testing::TestWithParam<DamageCase> {};

// What the full decoder refuses (data that ends before the end-of-image marker), the fast paths
// that never decode as far as the damage refuse too; what it accepts (bytes after the end, as
// some cameras append), they accept. Baseline files, which every path reads to the end, are
// judged in image_safety_test.cpp.
TEST_P(DamagedJpegTest, FastPathsJudgeAsTheFullDecoderDoes) {
  const DamageCase& c = GetParam();
  constexpr int kWidth = 1200, kHeight = 900;
  std::string app1;
  if (c.preview) {
    app1 = ExifBlock(
        1, EncodeJpeg(PhotoPixels(kWidth / 5, kHeight / 5), kWidth / 5, kHeight / 5, false));
  }
  std::vector<uint8_t> jpeg =
      EncodeJpeg(PhotoPixels(kWidth, kHeight), kWidth, kHeight, c.progressive, app1);
  TempDir dir;
  const auto whole = WriteBytes(dir, "whole.jpg", jpeg);
  Image image;
  ThumbnailSource source;
  ASSERT_TRUE(image.LoadThumbnailToFit(whole, c.max_side, c.max_side, ResampleMode::kBicubic,
                                       &source, c.preview));
  ASSERT_EQ(source.decode, c.path);

  switch (c.damage) {
    case Damage::kCutInHalf:
      jpeg.resize(jpeg.size() / 2);
      break;
    case Damage::kNoEndMarker:
      jpeg.resize(jpeg.size() - 2);
      break;
    case Damage::kTrailingBytes:
      jpeg.insert(jpeg.end(), 5000, 0x5A);
      break;
  }
  const auto path = WriteBytes(dir, "damaged.jpg", jpeg);
  Image full;
  const bool full_loads = full.Load(path);
  EXPECT_EQ(full_loads, c.damage == Damage::kTrailingBytes);
  Image thumbnail;
  EXPECT_EQ(thumbnail.LoadThumbnailToFit(path, c.max_side, c.max_side, ResampleMode::kBicubic,
                                         &source, c.preview),
            full_loads);
  if (!full_loads) {
    const std::string said = "Premature end of input file";
    EXPECT_THAT(full.last_error(), ::testing::HasSubstr(said));
    EXPECT_THAT(thumbnail.last_error(), ::testing::HasSubstr(said));
    EXPECT_FALSE(thumbnail.IsValid());
  }
}

INSTANTIATE_TEST_SUITE_P(
    Paths, DamagedJpegTest,
    ::testing::Values(DamageCase{"FirstScansCut", true, false, 60, Damage::kCutInHalf,
                                 ThumbnailDecode::kFirstScans},
                      DamageCase{"FirstScansWithoutEnd", true, false, 60, Damage::kNoEndMarker,
                                 ThumbnailDecode::kFirstScans},
                      DamageCase{"FirstScansTrailingBytes", true, false, 60, Damage::kTrailingBytes,
                                 ThumbnailDecode::kFirstScans},
                      DamageCase{"ProgressiveReducedCut", true, false, 300, Damage::kCutInHalf,
                                 ThumbnailDecode::kReducedScale},
                      DamageCase{"PreviewCut", false, true, 118, Damage::kCutInHalf,
                                 ThumbnailDecode::kExifPreview},
                      DamageCase{"PreviewTrailingBytes", false, true, 118, Damage::kTrailingBytes,
                                 ThumbnailDecode::kExifPreview}),
    [](const auto& param_info) { return std::string(param_info.param.name); });

TEST(FastThumbnailEdgeTest, BrokenJpegsFailCleanly) {
  TempDir dir;
  std::vector<uint8_t> jpeg = EncodeJpeg(PhotoPixels(640, 480), 640, 480, true);
  // Cut inside the header, and a signature followed by noise.
  jpeg.resize(40);
  Image broken;
  EXPECT_FALSE(broken.LoadThumbnailToFit(WriteBytes(dir, "header.jpg", jpeg), 60, 60,
                                         ResampleMode::kBicubic));
  EXPECT_FALSE(broken.last_error().empty());
  EXPECT_FALSE(broken.IsValid());
  const std::vector<uint8_t> noise = {0xFF, 0xD8, 0xFF, 0xC0, 0x00, 0x02, 0x13, 0x37, 0, 0, 0};
  EXPECT_FALSE(broken.LoadThumbnailToFit(WriteBytes(dir, "noise.jpg", noise), 60, 60,
                                         ResampleMode::kBicubic));
  EXPECT_FALSE(broken.LoadThumbnailToFit(dir / "missing.jpg", 60, 60, ResampleMode::kBicubic));
}

TEST(ExifLayoutTest, ReadsOrientationAndPreviewAndStaysInBounds) {
  const std::string block = ExifBlock(6, std::vector<uint8_t>(10, 0xAB)).substr(6);
  internal::ExifLayout layout;
  ASSERT_TRUE(internal::ParseExifLayout(block, &layout));
  EXPECT_EQ(layout.orientation, 6);
  EXPECT_EQ(layout.preview_offset, 56u);
  EXPECT_EQ(layout.preview_length, 10u);

  // Every truncation: whatever is read lies inside the bytes given.
  for (size_t size = 0; size < block.size(); ++size) {
    internal::ExifLayout cut;
    if (internal::ParseExifLayout(block.substr(0, size), &cut)) {
      EXPECT_LE(cut.preview_offset + cut.preview_length, size);
    }
  }
  internal::ExifLayout none;
  EXPECT_FALSE(internal::ParseExifLayout("XX*\0\x08\0\0\0", &none));
}

}  // namespace
}  // namespace quorvane::image
