// Hostile and broken input: every case must end in a clear error text, never a crash, and
// never in an attempt to allocate what a forged header claims.
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "image/image.h"
#include "image/tests/test_images.h"
#include "testing/temp_dir.h"

namespace quorvane::image {
namespace {

namespace fs = std::filesystem;
using quorvane::testing::TempDir;
using ::testing::HasSubstr;
using testing::Quadrants;
using ::testing::StartsWith;

uint32_t Crc32(const uint8_t* data, size_t size) {
  uint32_t crc = 0xFFFFFFFFu;
  for (size_t i = 0; i < size; ++i) {
    crc ^= data[i];
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
  }
  return ~crc;
}

void PutBe32(uint8_t* p, uint32_t value) {
  p[0] = static_cast<uint8_t>(value >> 24);
  p[1] = static_cast<uint8_t>(value >> 16);
  p[2] = static_cast<uint8_t>(value >> 8);
  p[3] = static_cast<uint8_t>(value);
}

void WriteBytes(const fs::path& path, const std::vector<uint8_t>& bytes) {
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
}

// A real, small PNG whose header (with a correct checksum) claims 60000 x 60000 pixels: the
// decoder would want 10 GB before noticing the data runs out.
std::vector<uint8_t> PngBomb() {
  std::vector<uint8_t> png;
  EXPECT_TRUE(Quadrants(64, 64).SaveToMemory(&png, ImageFormat::kPng));
  PutBe32(&png[16], 60000);
  PutBe32(&png[20], 60000);
  PutBe32(&png[29], Crc32(&png[12], 17));
  return png;
}

class ImageSafetyTest : public ::testing::Test {
 protected:
  fs::path Write(const char* name, const std::vector<uint8_t>& bytes) {
    const fs::path path = dir_ / name;
    WriteBytes(path, bytes);
    return path;
  }
  static std::string Quoted(const fs::path& path) { return "\"" + path.string() + "\""; }

  TempDir dir_;
};

constexpr const char* kTooLarge =
    "the image is too large (60000 x 60000 pixels; at most 150 megapixels are accepted)";

TEST_F(ImageSafetyTest, DecompressionBombIsRefusedFromItsHeader) {
  const std::vector<uint8_t> bomb = PngBomb();
  ASSERT_LT(bomb.size(), 10'000u);
  const fs::path path = Write("bomb.png", bomb);

  Image image;
  EXPECT_FALSE(image.Load(path, ImageFormat::kPng));
  EXPECT_EQ(image.last_error(), "Cannot read " + Quoted(path) + ": " + kTooLarge);
  EXPECT_FALSE(image.LoadThumbnail(path, 118, 88, ResampleMode::kBicubic));
  EXPECT_EQ(image.last_error(), "Cannot read " + Quoted(path) + ": " + kTooLarge);
  EXPECT_FALSE(image.LoadFromMemory(bomb.data(), bomb.size()));
  EXPECT_EQ(image.last_error(), std::string("Cannot read image data: ") + kTooLarge);
  ImageInfo info;
  std::string error;
  EXPECT_FALSE(ReadImageInfo(path, ImageFormat::kPng, &info, &error));
  EXPECT_EQ(error, "Cannot read " + Quoted(path) + ": " + kTooLarge);
  EXPECT_FALSE(image.IsValid());
}

TEST_F(ImageSafetyTest, PixelCeilingIsAdjustable) {
  const fs::path path = dir_ / "small.png";
  ASSERT_TRUE(Quadrants(20, 20).Save(path, ImageFormat::kPng));
  const uint64_t previous = MaxImagePixels();
  SetMaxImagePixels(399);
  Image image;
  EXPECT_FALSE(image.Load(path));
  EXPECT_THAT(image.last_error(), HasSubstr("too large (20 x 20 pixels"));
  SetMaxImagePixels(400);
  EXPECT_TRUE(image.Load(path)) << image.last_error();
  SetMaxImagePixels(previous);
}

TEST_F(ImageSafetyTest, TruncatedJpegFailsInsteadOfShowingGrey) {
  std::vector<uint8_t> jpeg;
  ASSERT_TRUE(Quadrants(256, 256).SaveToMemory(&jpeg, ImageFormat::kJpeg));
  jpeg.resize(jpeg.size() / 2);
  const fs::path path = Write("cut.jpg", jpeg);

  Image image;
  EXPECT_FALSE(image.Load(path, ImageFormat::kJpeg));
  EXPECT_THAT(image.last_error(), StartsWith("Cannot read JPEG image " + Quoted(path) + ": "));
  EXPECT_FALSE(image.LoadThumbnail(path, 30, 30, ResampleMode::kBilinear));
  EXPECT_THAT(image.last_error(), StartsWith("Cannot read JPEG image " + Quoted(path) + ": "));
  EXPECT_FALSE(image.IsValid());
}

struct NotAnImageCase {
  const char* name;
  const char* file_name;
  ImageFormat hint;
  std::string bytes;
  const char* expected_reason;
};

class ImageRefusesNonImageTest : public ImageSafetyTest,
                                 public ::testing::WithParamInterface<NotAnImageCase> {};

TEST_P(ImageRefusesNonImageTest, IsRefusedBeforeAnyDecoderSeesIt) {
  const NotAnImageCase& c = GetParam();
  const fs::path path = Write(c.file_name, std::vector<uint8_t>(c.bytes.begin(), c.bytes.end()));
  Image image;
  EXPECT_FALSE(image.Load(path, c.hint));
  EXPECT_EQ(image.last_error(), "Cannot read " + Quoted(path) + ": " + c.expected_reason);
}

std::string RandomBytes(size_t size) {
  std::mt19937 random(20240601);
  std::string bytes(size, '\0');
  for (char& c : bytes) c = static_cast<char>(random() & 0xFF);
  bytes[0] = 'x';  // keep the seed's luck from ever forming a real signature
  return bytes;
}

INSTANTIATE_TEST_SUITE_P(
    Files, ImageRefusesNonImageTest,
    ::testing::Values(
        NotAnImageCase{"RandomBytesNamedGif", "noise.gif", ImageFormat::kGif, RandomBytes(4096),
                       "not a GIF image or any other supported format"},
        NotAnImageCase{"PortablePixmapNamedPng", "pixmap.png", ImageFormat::kPng,
                       std::string("P6\n2 2\n255\n") + std::string(12, '\x7F'),
                       "not a PNG image or any other supported format"},
        NotAnImageCase{"SvgNamedJpg", "drawing.jpg", ImageFormat::kJpeg,
                       "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"10\" height=\"10\"/>",
                       "not a JPEG image or any other supported format"},
        NotAnImageCase{"TextWithoutHint", "notes", ImageFormat::kUnknown, "shopping list",
                       "not a supported image format"},
        NotAnImageCase{"EmptyFile", "empty.bmp", ImageFormat::kBmp, "", "it is empty"}),
    [](const ::testing::TestParamInfo<NotAnImageCase>& param_info) {
      return param_info.param.name;
    });

TEST_F(ImageSafetyTest, MissingFileSaysSo) {
  const fs::path path = dir_ / "gone.jpg";
  Image image;
  EXPECT_FALSE(image.Load(path, ImageFormat::kJpeg));
  EXPECT_EQ(image.last_error(), "Cannot open " + Quoted(path) + ": no such file");
  EXPECT_FALSE(image.Load(dir_.path()));
  EXPECT_EQ(image.last_error(),
            "Cannot open " + Quoted(dir_.path()) + ": permission denied or not a file");
}

TEST_F(ImageSafetyTest, FailedLoadKeepsThePreviousImage) {
  Image image = Quadrants(12, 10);
  const std::string junk = "junk";
  EXPECT_FALSE(image.LoadFromMemory(junk.data(), junk.size(), ImageFormat::kTga));
  EXPECT_EQ(image.width(), 12);
  EXPECT_EQ(image.last_error(),
            "Cannot read image data: not a TGA image or any other supported format");
}

// Damaged copies of real files of every format: bytes overwritten and files cut short. Any
// outcome but a crash or a silent failure is acceptable.
TEST_F(ImageSafetyTest, DamagedFilesOfEveryFormatFailCleanly) {
  std::mt19937 random(7);
  for (ImageFormat format :
       {ImageFormat::kBmp, ImageFormat::kGif, ImageFormat::kJpeg, ImageFormat::kPng,
        ImageFormat::kIco, ImageFormat::kTiff, ImageFormat::kTga, ImageFormat::kPcx}) {
    std::vector<uint8_t> good;
    ASSERT_TRUE(Quadrants(24, 16).SaveToMemory(&good, format));
    for (int round = 0; round < 25; ++round) {
      std::vector<uint8_t> bad = good;
      if (round % 2 == 0) {
        for (int hits = 0; hits < 4; ++hits) bad[random() % bad.size()] = random() & 0xFF;
      } else {
        bad.resize(random() % bad.size() + 1);
      }
      Image image;
      if (!image.LoadFromMemory(bad.data(), bad.size(), format)) {
        EXPECT_FALSE(image.last_error().empty());
        EXPECT_FALSE(image.IsValid());
      } else {
        EXPECT_GT(image.width(), 0);
      }
    }
  }
}

// Each test runs in its own process, so this also races the one-time libvips start-up.
TEST_F(ImageSafetyTest, ParallelLoadsFromManyThreadsAgree) {
  const fs::path jpeg = dir_ / "a.jpg";
  const fs::path bmp = dir_ / "b.bmp";
  ASSERT_TRUE(Quadrants(100, 80).Save(jpeg, ImageFormat::kJpeg));
  ASSERT_TRUE(Quadrants(100, 80).Save(bmp, ImageFormat::kBmp));
  std::vector<std::thread> threads;
  std::vector<int> failures(4, 0);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 10; ++i) {
        Image image;
        if (!image.Load(i % 2 == 0 ? jpeg : bmp) || image.width() != 100) ++failures[t];
        if (!image.LoadThumbnail(jpeg, 25, 20, ResampleMode::kBicubic) || image.width() != 25) {
          ++failures[t];
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, std::vector<int>(4, 0));
}

}  // namespace
}  // namespace quorvane::image
