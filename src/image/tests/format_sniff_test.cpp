#include "image/internal/format_sniff.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "image/internal/exif_date.h"

namespace quorvane::image::internal {
namespace {

std::vector<uint8_t> Bytes(std::string text, size_t pad_to = 0) {
  if (text.size() < pad_to) text.resize(pad_to, '\0');
  return std::vector<uint8_t>(text.begin(), text.end());
}

std::vector<uint8_t> TgaHeader(uint8_t map_type, uint8_t image_type, uint8_t depth) {
  std::vector<uint8_t> head(18, 0);
  head[1] = map_type;
  head[2] = image_type;
  if (map_type == 1) {
    head[5] = 2;  // two palette entries
    head[7] = 24;
  }
  head[12] = 4;  // width 4
  head[14] = 3;  // height 3
  head[16] = depth;
  return head;
}

std::vector<uint8_t> PcxHeader(uint8_t bits, uint8_t planes) {
  std::vector<uint8_t> head(128, 0);
  head[0] = 0x0A;
  head[1] = 5;
  head[2] = 1;
  head[3] = bits;
  head[8] = 9;   // xmax
  head[10] = 9;  // ymax
  head[65] = planes;
  return head;
}

struct SniffCase {
  const char* name;
  std::vector<uint8_t> head;
  ImageFormat hint;
  ImageFormat expected;
  int expected_bits;  // from the header; 0 when the header does not say
};

class ImageSniffTest : public ::testing::TestWithParam<SniffCase> {};

TEST_P(ImageSniffTest, RecognisesFormatAndDeclaredDepth) {
  const SniffCase& c = GetParam();
  EXPECT_EQ(SniffFormat(c.head.data(), c.head.size(), c.hint), c.expected);
  if (c.expected != ImageFormat::kUnknown) {
    EXPECT_EQ(HeaderBitsPerPixel(c.expected, c.head.data(), c.head.size()), c.expected_bits);
  }
}

std::vector<uint8_t> PngHeader(uint8_t depth, uint8_t colour_type) {
  std::vector<uint8_t> head = Bytes(std::string("\x89PNG\r\n\x1A\n\0\0\0\x0DIHDR", 16), 33);
  head[19] = 10;  // width
  head[23] = 10;  // height
  head[24] = depth;
  head[25] = colour_type;
  return head;
}

std::vector<uint8_t> BmpHeader(uint8_t bits) {
  std::vector<uint8_t> head = Bytes("BM", 54);
  head[14] = 40;
  head[28] = bits;
  return head;
}

INSTANTIATE_TEST_SUITE_P(
    Signatures, ImageSniffTest,
    ::testing::Values(
        SniffCase{"Jpeg", Bytes("\xFF\xD8\xFF\xE0", 16), ImageFormat::kUnknown, ImageFormat::kJpeg,
                  0},
        SniffCase{"PngPalette4", PngHeader(4, 3), ImageFormat::kUnknown, ImageFormat::kPng, 4},
        SniffCase{"PngPalette2WidensTo4", PngHeader(2, 3), ImageFormat::kUnknown, ImageFormat::kPng,
                  4},
        SniffCase{"PngRgba", PngHeader(8, 6), ImageFormat::kUnknown, ImageFormat::kPng, 32},
        SniffCase{"Gif256Colours", Bytes(std::string("GIF89a\x0A\0\x0A\0\xF7", 11), 13),
                  ImageFormat::kUnknown, ImageFormat::kGif, 8},
        SniffCase{"GifTwoColours", Bytes(std::string("GIF87a\x0A\0\x0A\0\x80", 11), 13),
                  ImageFormat::kUnknown, ImageFormat::kGif, 1},
        SniffCase{"TiffIntel", Bytes(std::string("II*\0", 4), 8), ImageFormat::kUnknown,
                  ImageFormat::kTiff, 0},
        SniffCase{"Bmp8", BmpHeader(8), ImageFormat::kUnknown, ImageFormat::kBmp, 8},
        SniffCase{"Bmp16ReadsAsTrueColour", BmpHeader(16), ImageFormat::kUnknown, ImageFormat::kBmp,
                  24},
        SniffCase{"TextStartingWithBM", Bytes("BMW drivers and their cars, a list", 40),
                  ImageFormat::kBmp, ImageFormat::kUnknown, 0},
        SniffCase{"Icon32", Bytes(std::string("\0\0\1\0\1\0\x10\x10\0\0\1\0\x20\0", 14), 22),
                  ImageFormat::kUnknown, ImageFormat::kIco, 32},
        SniffCase{"CursorIsNotAnIcon", Bytes(std::string("\0\0\2\0\1\0\x10\x10\0\0", 10), 22),
                  ImageFormat::kIco, ImageFormat::kUnknown, 0},
        SniffCase{"Pcx8", PcxHeader(8, 1), ImageFormat::kUnknown, ImageFormat::kPcx, 8},
        SniffCase{"Pcx24", PcxHeader(8, 3), ImageFormat::kUnknown, ImageFormat::kPcx, 24},
        SniffCase{"TgaTrueColour", TgaHeader(0, 2, 24), ImageFormat::kTga, ImageFormat::kTga, 24},
        SniffCase{"TgaRleAlpha", TgaHeader(0, 10, 32), ImageFormat::kUnknown, ImageFormat::kTga,
                  32},
        SniffCase{"TgaPalette", TgaHeader(1, 1, 8), ImageFormat::kTga, ImageFormat::kTga, 8},
        // A TGA header is only plausible, never proven: another expected format overrules it.
        SniffCase{"TgaHeaderUnderGifName", TgaHeader(0, 2, 24), ImageFormat::kGif,
                  ImageFormat::kUnknown, 0},
        SniffCase{"TgaWithBadDepth", TgaHeader(0, 2, 7), ImageFormat::kTga, ImageFormat::kUnknown,
                  0},
        SniffCase{"Empty", {}, ImageFormat::kJpeg, ImageFormat::kUnknown, 0},
        SniffCase{"ShortJpegPrefix", Bytes("\xFF\xD8"), ImageFormat::kJpeg, ImageFormat::kUnknown,
                  0}),
    [](const ::testing::TestParamInfo<SniffCase>& param_info) { return param_info.param.name; });

struct DateCase {
  const char* text;
  std::optional<PhotoDateTime> expected;
};

class ImageExifDateTest : public ::testing::TestWithParam<DateCase> {};

TEST_P(ImageExifDateTest, Parses) {
  EXPECT_EQ(ParseExifDateTime(GetParam().text), GetParam().expected) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ImageExifDateTest,
    ::testing::Values(
        DateCase{"2021:07:14 09:30:05", PhotoDateTime{2021, 7, 14, 9, 30, 5}},
        // libvips appends a description of the tag after the value.
        DateCase{"2021:07:14 09:30:05 (2021:07:14 09:30:05, ASCII, 20 components, 20 bytes)",
                 PhotoDateTime{2021, 7, 14, 9, 30, 5}},
        DateCase{"2004-02-29T23:59:59", PhotoDateTime{2004, 2, 29, 23, 59, 59}},
        DateCase{"2004:02:29", PhotoDateTime{2004, 2, 29, 0, 0, 0}},
        DateCase{"2004:02:29 25:00:00", PhotoDateTime{2004, 2, 29, 0, 0, 0}},
        DateCase{"2003:02:29 10:00:00", std::nullopt},
        DateCase{"0000:00:00 00:00:00", std::nullopt},
        DateCase{"    :  :     :  :  ", std::nullopt},
        DateCase{"2021:13:01 00:00:00", std::nullopt}, DateCase{"", std::nullopt}));

}  // namespace
}  // namespace quorvane::image::internal
