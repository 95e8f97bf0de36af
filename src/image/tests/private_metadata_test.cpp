#include "image/private_metadata.h"

#include <gtest/gtest.h>

#include "image/image.h"
#include "testing/private_exif.h"
#include "testing/temp_dir.h"

namespace quorvane::image {
namespace {

namespace fs = std::filesystem;
using testing::ExifSegment;
using testing::ReadTextFile;
using testing::TempDir;
using testing::WriteTextFile;

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
}  // namespace quorvane::image
