// The memory decoding takes: decodes running at once never hold more than the shared budget
// together, one that needs more than the whole budget runs alone, one that needs more than the
// ceiling is refused saying how much it needs, and a thumbnail of a large progressive photo
// needs a small part of what decoding it whole does.
#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <vips/vips.h>

#include "image/image.h"
#include "image/internal/decode_budget.h"
#include "testing/temp_dir.h"
#include "testing/test_images.h"

namespace quorvane::image {
namespace {

using internal::DecodeBudget;
constexpr uint64_t kMiB = uint64_t{1} << 20;

TEST(DecodeBudgetTest, SharesNeverAddUpPastTheBudgetAndLargeOnesRunAlone) {
  DecodeBudget budget(100, 1000);
  std::atomic<uint64_t> held{0};
  std::atomic<int> crowded{0};  // times a share saw more held than the rules allow
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 60; ++i) {
        const uint64_t bytes = (t + i) % 10 == 0 ? 250 : 30 + 15 * ((t + i) % 3);
        DecodeBudget::Hold hold;
        std::string error;
        ASSERT_TRUE(budget.Acquire(bytes, &hold, &error)) << error;
        const uint64_t now = held += bytes;
        for (int spin = 0; spin < 50; ++spin) std::this_thread::yield();  // stay a while
        if (bytes > 100 ? now != bytes : now > 100) ++crowded;
        held -= bytes;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(crowded.load(), 0);
  EXPECT_EQ(budget.peak(), 250u);
}

TEST(DecodeBudgetTest, RefusesWhatExceedsTheCeiling) {
  DecodeBudget budget(100 * kMiB, 300 * kMiB);
  DecodeBudget::Hold hold;
  std::string error;
  EXPECT_FALSE(budget.Acquire(400 * kMiB, &hold, &error));
  EXPECT_EQ(error, "decoding it needs 400 MB of memory; at most 300 MB are allowed for one image");
  EXPECT_TRUE(budget.Acquire(300 * kMiB, &hold, &error));  // larger than the budget: alone
}

// A 3000 x 2000 progressive photo without colour subsampling: decoding it whole takes every
// coefficient (36 MB) besides the picture (24 MB); its thumbnail needs one value per block.
class DecodeMemoryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Image picture;
    ASSERT_TRUE(picture.Create(3000, 2000, false, {90, 120, 150, 255}));
    for (int y = 0; y < 2000; y += 7) {
      uint8_t* row = picture.MutableRow(y);
      for (int i = 0; i < 3000 * 3; ++i) row[i] = static_cast<uint8_t>(i * 13 + y);
    }
    VipsImage* raw = nullptr;
    // libvips writes the progressive file; our saver writes baseline ones only.
    std::vector<uint8_t> png;
    ASSERT_TRUE(picture.SaveToMemory(&png, ImageFormat::kPng));
    raw = vips_image_new_from_buffer(png.data(), png.size(), "", nullptr);
    ASSERT_NE(raw, nullptr);
    ASSERT_EQ(vips_jpegsave(raw, path_.string().c_str(), "interlace", TRUE, "subsample_mode",
                            VIPS_FOREIGN_SUBSAMPLE_OFF, nullptr),
              0);
    g_object_unref(raw);
    limits_ = GetDecodeMemory();
  }
  void TearDown() override { SetDecodeMemory(limits_); }

  quorvane::testing::TempDir dir_;
  std::filesystem::path path_ = dir_ / "large.jpg";
  DecodeMemory limits_;
};

TEST_F(DecodeMemoryTest, ThumbnailNeedsAFractionOfAWholeDecode) {
  SetDecodeMemory({2 * kMiB, 4 * kMiB});
  Image image;
  ThumbnailSource source;
  ASSERT_TRUE(image.LoadThumbnailToFit(path_, 118, 88, ResampleMode::kBicubic, &source))
      << image.last_error();
  EXPECT_EQ(source.decode, ThumbnailDecode::kFirstScans);
  EXPECT_EQ(image.width(), 118);

  EXPECT_FALSE(image.Load(path_));
  EXPECT_EQ(image.last_error(), "Cannot read JPEG image \"" + path_.string() +
                                    "\": decoding it needs 58 MB of memory; at most 4 MB are "
                                    "allowed for one image");
  EXPECT_EQ(image.width(), 118);  // the image is left as it was
}

TEST_F(DecodeMemoryTest, ParallelThumbnailsShareTheBudget) {
  DecodeBudget& shared = DecodeBudget::Shared();
  shared.ResetPeak();
  Image image;
  ASSERT_TRUE(image.LoadThumbnailToFit(path_, 118, 88, ResampleMode::kBicubic));
  const uint64_t one = shared.peak();
  ASSERT_GT(one, 0u);

  // Room for one thumbnail at a time and a half.
  SetDecodeMemory({one * 3 / 2, limits_.ceiling});
  shared.ResetPeak();
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 3; ++i) {
        Image thumbnail;
        failures += !thumbnail.LoadThumbnailToFit(path_, 118, 88, ResampleMode::kBicubic);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(shared.peak(), one);
}

// What would be refused when opened again is refused when saved, before anything is written:
// through ImageMagick, a bitmap needs several times what a PNG does.
TEST_F(DecodeMemoryTest, NothingIsSavedThatCouldNotBeOpenedAgain) {
  Image picture;
  ASSERT_TRUE(picture.Create(1000, 1000, false));
  SetDecodeMemory({limits_.budget, 10 * kMiB});
  std::vector<uint8_t> bytes;
  EXPECT_TRUE(picture.SaveToMemory(&bytes, ImageFormat::kPng)) << picture.last_error();
  bytes.clear();
  EXPECT_FALSE(picture.SaveToMemory(&bytes, ImageFormat::kBmp));
  EXPECT_EQ(picture.last_error(),
            "Cannot save the image as BMP: opening it again would need 18 MB of memory; at most "
            "10 MB are allowed for one image");
  EXPECT_TRUE(bytes.empty());
}

}  // namespace
}  // namespace quorvane::image
