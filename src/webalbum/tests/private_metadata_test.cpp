#include "webalbum/internal/private_metadata.h"

#include <gtest/gtest.h>

#include "image/image.h"
#include "platform/progress.h"
#include "testing/temp_dir.h"
#include "webalbum/internal/photo_writer.h"

namespace quorvane::webalbum::internal {
namespace {

namespace fs = std::filesystem;
using testing::ReadTextFile;
using testing::TempDir;
using testing::WriteTextFile;

void U16(std::string& s, uint16_t v) {
  s += static_cast<char>(v & 0xFF);
  s += static_cast<char>(v >> 8);
}
void U32(std::string& s, uint32_t v) {
  U16(s, static_cast<uint16_t>(v & 0xFFFF));
  U16(s, static_cast<uint16_t>(v >> 16));
}
void Entry(std::string& s, uint16_t tag, uint16_t type, uint32_t count, uint32_t value) {
  U16(s, tag);
  U16(s, type);
  U32(s, count);
  U32(s, value);
}

// A little-endian EXIF block: orientation 6 and a GPS IFD in IFD0; the capture date and a
// body serial number in the EXIF IFD.
std::string ExifSegment() {
  std::string t("II*\0", 4);
  U32(t, 8);
  U16(t, 3);                   // IFD0 at 8: 3 entries, ends at 8 + 2 + 36 + 4 = 50
  Entry(t, 0x0112, 3, 1, 6);   // orientation
  Entry(t, 0x8769, 4, 1, 50);  // EXIF IFD
  Entry(t, 0x8825, 4, 1, 80);  // GPS IFD
  U32(t, 0);
  U16(t, 2);                    // EXIF IFD at 50: ends at 50 + 2 + 24 + 4 = 80
  Entry(t, 0x9003, 2, 20, 98);  // date, at 98
  Entry(t, 0xA431, 2, 8, 118);  // serial, at 118
  U32(t, 0);
  U16(t, 1);                           // GPS IFD at 80: ends at 80 + 2 + 12 + 4 = 98
  Entry(t, 0x0000, 1, 4, 0x00000202);  // GPS version
  U32(t, 0);
  t += std::string("2021:07:14 10:20:30\0", 20);
  t += std::string("SN12345\0", 8);
  std::string segment("\xFF\xE1", 2);
  const size_t length = 2 + 6 + t.size();
  segment += static_cast<char>(length >> 8);
  segment += static_cast<char>(length & 0xFF);
  return segment + std::string("Exif\0\0", 6) + t;
}

class PrivateMetadataTest : public ::testing::Test {
 protected:
  std::string PlainJpeg() {
    image::Image picture;
    EXPECT_TRUE(picture.Create(40, 30, false, {10, 200, 30, 255}));
    EXPECT_TRUE(picture.Save(dir_ / "plain.jpg", image::ImageFormat::kJpeg));
    return ReadTextFile(dir_ / "plain.jpg");
  }
  TempDir dir_;
};

TEST_F(PrivateMetadataTest, JpegLosesGpsAndSerialsButKeepsDateAndOrientation) {
  const std::string plain = PlainJpeg();
  EXPECT_FALSE(HasPrivateMetadata(plain));
  const std::string tagged = plain.substr(0, 2) + ExifSegment() + plain.substr(2);
  ASSERT_TRUE(HasPrivateMetadata(tagged));

  std::string stripped;
  ASSERT_TRUE(StripJpegMetadata(tagged, &stripped));
  EXPECT_FALSE(HasPrivateMetadata(stripped));
  EXPECT_EQ(stripped.find("SN12345"), std::string::npos);
  WriteTextFile(dir_ / "stripped.jpg", stripped);
  image::ImageInfo info;
  std::string error;
  ASSERT_TRUE(image::ReadImageInfo(dir_ / "stripped.jpg", image::ImageFormat::kJpeg, &info, &error))
      << error;
  EXPECT_EQ(info.width, 30);  // orientation 6: shown turned
  EXPECT_EQ(info.height, 40);
  ASSERT_TRUE(info.date_taken.has_value());
  EXPECT_EQ(*info.date_taken, (image::PhotoDateTime{2021, 7, 14, 10, 20, 30}));
  image::Image decoded;
  EXPECT_TRUE(decoded.Load(dir_ / "stripped.jpg")) << decoded.last_error();
}

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
TEST_F(PrivateMetadataTest, ReencodedPhotosKeepTheCaptureDate) {
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

TEST_F(PrivateMetadataTest, PngTextAndBrokenInputs) {
  std::string png("\x89PNG\r\n\x1a\n", 8);
  const std::string text = std::string("Author\0Ann", 10);
  png += std::string("\0\0\0\x0a", 4) + "tEXt" + text + "CRC!";
  EXPECT_TRUE(HasPrivateMetadata(png));
  EXPECT_FALSE(HasPrivateMetadata(png.substr(0, 20)));  // cut inside the chunk
  const std::string tagged = PlainJpeg().substr(0, 2) + ExifSegment();
  for (size_t cut = 0; cut < tagged.size(); cut += 7) {
    std::string out;
    HasPrivateMetadata(tagged.substr(0, cut));
    EXPECT_FALSE(StripJpegMetadata(tagged.substr(0, cut), &out));  // no image data reached
  }
}

}  // namespace
}  // namespace quorvane::webalbum::internal
