// Hostile and broken input: every case must end in a clear error text, never a crash, and
// never in an attempt to allocate what a forged header claims.
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "image/image.h"
#include "image/internal/format_sniff.h"
#include "testing/temp_dir.h"
#include "testing/test_images.h"

namespace quorvane::image {
namespace {

namespace fs = std::filesystem;
using internal::FormatName;
using quorvane::testing::TempDir;
using testing::Quadrants;

class ImageSafetyTest : public ::testing::Test {
 protected:
  TempDir dir_;
};

std::string Encoded(const Image& image, ImageFormat format) {
  std::vector<uint8_t> bytes;
  EXPECT_TRUE(image.SaveToMemory(&bytes, format)) << image.last_error();
  return std::string(bytes.begin(), bytes.end());
}

// A real, small PNG whose header (with a correct checksum) claims 60000 x 60000 pixels: the
// decoder would want 10 GB before noticing the data runs out.
std::string PngBomb() {
  std::string png = Encoded(Quadrants(64, 64), ImageFormat::kPng);
  const auto put_be32 = [&png](size_t at, uint32_t value) {
    for (int i = 0; i < 4; ++i) png[at + i] = static_cast<char>(value >> (24 - 8 * i));
  };
  put_be32(16, 60000);
  put_be32(20, 60000);
  uint32_t crc = 0xFFFFFFFFu;  // of the IHDR chunk's type and data
  for (size_t i = 12; i < 29; ++i) {
    crc ^= static_cast<uint8_t>(png[i]);
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
  }
  put_be32(29, ~crc);
  return png;
}

struct BadInputCase {
  const char* name;
  const char* file_name;  // made a folder when it ends in '/'
  ImageFormat hint;
  std::string (*bytes)();  // null: nothing is written
  // The error text, or its start where the decoder adds its own words; "{}" stands for the
  // quoted path, or for "image data" when loading from memory.
  const char* expected;
};

class ImageBadInputTest : public ImageSafetyTest,
                          public ::testing::WithParamInterface<BadInputCase> {};

TEST_P(ImageBadInputTest, FailsWithAReasonAndKeepsThePreviousImage) {
  const BadInputCase& c = GetParam();
  const fs::path path = dir_ / c.file_name;
  if (c.bytes != nullptr) quorvane::testing::WriteTextFile(path, c.bytes());
  if (path.filename().empty()) fs::create_directories(path);
  const auto expected = [&c](const std::string& source) {
    std::string text = c.expected;
    return ::testing::StartsWith(text.replace(text.find("{}"), 2, source));
  };

  Image image = Quadrants(12, 8);
  EXPECT_FALSE(image.Load(path, c.hint));
  EXPECT_THAT(image.last_error(), expected("\"" + path.string() + "\""));
  EXPECT_FALSE(image.LoadThumbnail(path, 30, 20, ResampleMode::kBicubic, c.hint));
  EXPECT_THAT(image.last_error(), expected("\"" + path.string() + "\""));
  if (c.bytes != nullptr) {
    const std::string bytes = c.bytes();
    EXPECT_FALSE(image.LoadFromMemory(bytes.data(), bytes.size(), c.hint));
    EXPECT_THAT(image.last_error(), expected("image data"));
  }
  testing::ExpectCorners(image, 12, 8, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Files, ImageBadInputTest,
    ::testing::Values(
        BadInputCase{"DecompressionBomb", "bomb.png", ImageFormat::kPng, PngBomb,
                     "Cannot read {}: the image is too large (60000 x 60000 pixels; at most 150 "
                     "megapixels are accepted)"},
        // Decoders happily fill the missing half with grey; that must count as a failure.
        BadInputCase{"TruncatedJpeg", "cut.jpg", ImageFormat::kJpeg,
                     [] {
                       const std::string jpeg = Encoded(Quadrants(256, 256), ImageFormat::kJpeg);
                       return jpeg.substr(0, jpeg.size() / 2);
                     },
                     "Cannot read JPEG image {}: "},
        BadInputCase{"RandomBytesNamedGif", "noise.gif", ImageFormat::kGif,
                     [] {  // 'x' first: never the start of a real signature
                       std::string bytes(4096, 'x');
                       for (size_t i = 1; i < bytes.size(); ++i)
                         bytes[i] = static_cast<char>(i * 7919 % 251);
                       return bytes;
                     },
                     "Cannot read {}: not a GIF image or any other supported format"},
        BadInputCase{"SvgNamedJpg", "drawing.jpg", ImageFormat::kJpeg,
                     [] { return std::string("<svg xmlns=\"http://www.w3.org/2000/svg\"/>"); },
                     "Cannot read {}: not a JPEG image or any other supported format"},
        BadInputCase{"TextWithoutHint", "notes", ImageFormat::kUnknown,
                     [] { return std::string("shopping list"); },
                     "Cannot read {}: not a supported image format"},
        BadInputCase{"EmptyFile", "empty.bmp", ImageFormat::kBmp, [] { return std::string(); },
                     "Cannot read {}: it is empty"},
        BadInputCase{"MissingFile", "gone.jpg", ImageFormat::kJpeg, nullptr,
                     "Cannot open {}: no such file"},
        BadInputCase{"Folder", "album.jpg/", ImageFormat::kJpeg, nullptr,
                     "Cannot open {}: permission denied or not a file"}),
    [](const ::testing::TestParamInfo<BadInputCase>& param_info) { return param_info.param.name; });

TEST_F(ImageSafetyTest, PixelCeilingIsAdjustable) {
  const std::string png = Encoded(Quadrants(20, 20), ImageFormat::kPng);
  const uint64_t previous = MaxImagePixels();
  SetMaxImagePixels(399);
  Image image;
  EXPECT_FALSE(image.LoadFromMemory(png.data(), png.size()));
  EXPECT_THAT(image.last_error(), ::testing::HasSubstr("too large (20 x 20 pixels"));
  SetMaxImagePixels(400);
  EXPECT_TRUE(image.LoadFromMemory(png.data(), png.size())) << image.last_error();
  SetMaxImagePixels(previous);
}

// Damaged copies of real files of every format: bytes overwritten and files cut short. Any
// outcome but a crash or a silent failure is acceptable.
TEST_F(ImageSafetyTest, DamagedFilesOfEveryFormatFailCleanly) {
  std::mt19937 random(7);
  for (int f = 1; f <= 8; ++f) {  // kBmp .. kPcx
    const auto format = static_cast<ImageFormat>(f);
    std::vector<uint8_t> good;
    ASSERT_TRUE(Quadrants(24, 16).SaveToMemory(&good, format));
    for (int round = 0; round < 25; ++round) {
      std::vector<uint8_t> bad = good;
      for (int hits = 0; hits < 4 && round % 2 == 0; ++hits) bad[random() % bad.size()] ^= 0x5A;
      if (round % 2 == 1) bad.resize(random() % bad.size() + 1);
      Image image;
      const bool loaded = image.LoadFromMemory(bad.data(), bad.size(), format);
      EXPECT_EQ(image.IsValid(), loaded);
      EXPECT_TRUE(loaded ? image.width() > 0 : !image.last_error().empty());
    }
  }
}

// One rule for a file cut short, whichever way it is read: a whole decode, a decode shrunk on
// load, or a thumbnail by the fastest path (which for JPEG stops reading early) all refuse it
// when pixels are missing, and all agree when only bytes after the picture are (the end of a
// PNG's closing chunk, say).
TEST_F(ImageSafetyTest, FilesCutShortAreJudgedAlikeByEveryLoad) {
  for (int f = 1; f <= 8; ++f) {  // kBmp .. kPcx
    const auto format = static_cast<ImageFormat>(f);
    std::vector<uint8_t> whole;
    ASSERT_TRUE(Quadrants(240, 160).SaveToMemory(&whole, format));
    for (const size_t kept : {whole.size() / 4, whole.size() / 2, whole.size() - 2}) {
      const fs::path path = dir_ / ("cut" + std::to_string(f) + "_" + std::to_string(kept));
      quorvane::testing::WriteTextFile(path, std::string(whole.begin(), whole.begin() + kept));
      Image image;
      const bool whole_decode = image.Load(path, format);
      const bool shrunk = image.LoadThumbnail(path, 60, 40, ResampleMode::kBicubic, format);
      const bool fastest = image.LoadThumbnailToFit(path, 60, 40, ResampleMode::kBicubic);
      const std::string what = std::string(FormatName(format)) + " cut to " + std::to_string(kept) +
                               " of " + std::to_string(whole.size());
      if (kept <= whole.size() / 2) {
        EXPECT_FALSE(whole_decode) << what;
      }
      EXPECT_EQ(shrunk, whole_decode) << what;
      EXPECT_EQ(fastest, whole_decode) << what;
    }
  }
}

// Each test runs in its own process, so this also races the one-time libvips start-up.
TEST_F(ImageSafetyTest, ParallelLoadsFromManyThreadsAgree) {
  const fs::path jpeg = dir_ / "a.jpg";
  const fs::path bmp = dir_ / "b.bmp";
  ASSERT_TRUE(Quadrants(100, 80).Save(jpeg, ImageFormat::kJpeg));
  ASSERT_TRUE(Quadrants(100, 80).Save(bmp, ImageFormat::kBmp));
  std::vector<int> failures(4, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 10; ++i) {
        Image image;
        failures[t] += !image.Load(i % 2 == 0 ? jpeg : bmp) || image.width() != 100;
        failures[t] +=
            !image.LoadThumbnail(jpeg, 25, 20, ResampleMode::kBicubic) || image.width() != 25;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, std::vector<int>(4, 0));
}

// The decoders' own words must reach the caller even when many calls fail at the same moment:
// libvips logs every failure in one place for the whole process. Two kinds of damage whose
// messages differ, so that a text taken by the wrong thread shows.
TEST_F(ImageSafetyTest, SimultaneousFailuresEachReportTheirOwnMessage) {
  const std::string tiff = [] {  // LZW data overwritten: the decoder finds codes it never made
    std::string bytes = Encoded(Quadrants(64, 48), ImageFormat::kTiff);
    for (size_t i = 40; i < 400; ++i) bytes[8 + i] = static_cast<char>(i * 37);
    return bytes;
  }();
  const std::string png = [] {  // cut in the middle of its pixel data
    const std::string bytes = Encoded(Quadrants(300, 200), ImageFormat::kPng);
    return bytes.substr(0, bytes.size() * 2 / 3);
  }();
  const std::string* inputs[2] = {&tiff, &png};
  std::string alone[2];
  for (int k = 0; k < 2; ++k) {
    Image image;
    ASSERT_FALSE(image.LoadFromMemory(inputs[k]->data(), inputs[k]->size()));
    alone[k] = image.last_error();
  }
  ASSERT_NE(alone[0], alone[1]);

  constexpr int kThreads = 8;
  std::vector<std::vector<std::string>> wrong(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 30; ++i) {
        const int k = (t + i) % 2;
        Image image;
        if (image.LoadFromMemory(inputs[k]->data(), inputs[k]->size())) {
          wrong[t].push_back("loaded");
        } else if (image.last_error() != alone[k]) {
          wrong[t].push_back(image.last_error());
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_THAT(wrong[t], ::testing::IsEmpty()) << "thread " << t;
}

}  // namespace
}  // namespace quorvane::image
