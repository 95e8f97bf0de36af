#include "webalbum/internal/photo_writer.h"

#include <gtest/gtest.h>

#include "image/image.h"
#include "image/private_metadata.h"
#include "platform/progress.h"
#include "testing/private_exif.h"
#include "testing/temp_dir.h"

namespace quorvane::webalbum::internal {
namespace {

using image::HasPrivateMetadata;
using testing::ExifSegment;
using testing::ReadTextFile;
using testing::TempDir;
using testing::WriteTextFile;

class PhotoWriterTest : public ::testing::Test {
 protected:
  TempDir dir_;
};

uint32_t Crc32(std::string_view bytes) {
  uint32_t crc = ~0u;
  for (unsigned char b : bytes) {
    crc ^= b;
    for (int k = 0; k < 8; ++k) crc = crc >> 1 ^ (0xEDB88320u & (0u - (crc & 1)));
  }
  return ~crc;
}

// A PNG whose private data cannot be cut out in place is re-encoded: it keeps its capture date
// (as every re-encoded photo does) and loses everything private.
TEST_F(PhotoWriterTest, ReencodedPhotosKeepTheCaptureDate) {
  const std::string body = ExifSegment().substr(10);
  std::string chunk;
  for (int k = 24; k >= 0; k -= 8) chunk += static_cast<char>(body.size() >> k);
  chunk += "eXIf" + body;
  const uint32_t crc = Crc32(chunk.substr(4));
  for (int k = 24; k >= 0; k -= 8) chunk += static_cast<char>(crc >> k);
  image::Image picture;
  ASSERT_TRUE(picture.Create(40, 30, false, {10, 200, 30, 255}));
  ASSERT_TRUE(picture.Save(dir_ / "p.png", image::ImageFormat::kPng));
  const std::string png = ReadTextFile(dir_ / "p.png");
  WriteTextFile(dir_ / "p.png", png.substr(0, 33) + chunk + png.substr(33));  // after IHDR
  PhotoJob job;
  job.source = dir_ / "p.png";
  job.source_name = "p.png";
  job.output_stem = "p";
  job.strip_private = true;
  PhotoResult result;
  std::string error;
  ASSERT_TRUE(WritePhoto(job, dir_.path(), platform::NoProgress(), &result, &error)) << error;
  ASSERT_EQ(result.image_file, "p.jpg");
  const std::string published = ReadTextFile(dir_ / "p.jpg");
  EXPECT_FALSE(HasPrivateMetadata(published));
  EXPECT_EQ(published.find("SN12345"), std::string::npos);
  image::ImageInfo info;
  ASSERT_TRUE(image::ReadImageInfo(dir_ / "p.jpg", image::ImageFormat::kJpeg, &info, &error));
  ASSERT_TRUE(info.date_taken.has_value());
  EXPECT_EQ(*info.date_taken, (image::PhotoDateTime{2021, 7, 14, 10, 20, 30}));
}

}  // namespace
}  // namespace quorvane::webalbum::internal
