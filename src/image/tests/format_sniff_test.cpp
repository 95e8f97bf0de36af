// Reading headers without a decoder: which format the first bytes carry and the depth they
// declare, and the EXIF date texts cameras write.
#include "image/internal/format_sniff.h"

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "image/internal/exif_date.h"

namespace quorvane::image::internal {
namespace {

// `prefix` padded with zeros to `size` bytes, then the given bytes set.
std::vector<uint8_t> Head(std::string prefix, size_t size,
                          std::initializer_list<std::pair<size_t, uint8_t>> bytes = {}) {
  prefix.resize(std::max(prefix.size(), size), '\0');
  std::vector<uint8_t> head(prefix.begin(), prefix.end());
  for (const auto& [index, value] : bytes) head[index] = value;
  return head;
}

const std::string kPng("\x89PNG\r\n\x1A\n\0\0\0\x0DIHDR\0\0\0\x0A\0\0\0\x0A", 24);

// A 4 x 3 TGA header of the given image type and depth; type 1 gets a two-entry palette.
std::vector<uint8_t> Tga(uint8_t type, uint8_t depth) {
  return type == 1 ? Head("", 18, {{1, 1}, {2, 1}, {5, 2}, {7, 24}, {12, 4}, {14, 3}, {16, depth}})
                   : Head("", 18, {{2, type}, {12, 4}, {14, 3}, {16, depth}});
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

constexpr ImageFormat kNone = ImageFormat::kUnknown;

INSTANTIATE_TEST_SUITE_P(
    Signatures, ImageSniffTest,
    ::testing::Values(
        SniffCase{"PngPalette2WidensTo4", Head(kPng, 33, {{24, 2}, {25, 3}}), kNone,
                  ImageFormat::kPng, 4},
        SniffCase{"GifTwoColours", Head("GIF87a\x0A", 13, {{8, 10}, {10, 0x80}}), kNone,
                  ImageFormat::kGif, 1},
        SniffCase{"Bmp16ReadsAsTrueColour", Head("BM", 54, {{14, 40}, {28, 16}}), kNone,
                  ImageFormat::kBmp, 24},
        SniffCase{"TextStartingWithBM", Head("BMW drivers and their cars, a list", 40),
                  ImageFormat::kBmp, kNone, 0},
        // The depth is that of the largest picture, here the second of two entries.
        SniffCase{
            "IconOfTwoPictures",
            Head("", 38, {{2, 1}, {4, 2}, {6, 16}, {7, 16}, {12, 8}, {22, 32}, {23, 32}, {28, 32}}),
            kNone, ImageFormat::kIco, 32},
        SniffCase{"CursorIsNotAnIcon", Head("", 22, {{2, 2}, {4, 1}, {6, 16}, {7, 16}}),
                  ImageFormat::kIco, kNone, 0},
        SniffCase{"TgaRleAlpha", Tga(10, 32), kNone, ImageFormat::kTga, 32},
        SniffCase{"TgaPalette", Tga(1, 8), ImageFormat::kTga, ImageFormat::kTga, 8},
        // A TGA header is only plausible, never proven: another expected format overrules it.
        SniffCase{"TgaHeaderUnderGifName", Tga(2, 24), ImageFormat::kGif, kNone, 0},
        SniffCase{"TgaWithBadDepth", Tga(2, 7), ImageFormat::kTga, kNone, 0},
        SniffCase{"ShortJpegPrefix", Head("\xFF\xD8", 0), ImageFormat::kJpeg, kNone, 0}),
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
    ::testing::Values(DateCase{"2004-02-29T23:59:59 and more",
                               PhotoDateTime{2004, 2, 29, 23, 59, 59}},
                      // A missing or impossible time reads as midnight of a valid date.
                      DateCase{"2004:02:29", PhotoDateTime{2004, 2, 29, 0, 0, 0}},
                      DateCase{"2004:02:29 25:00:00", PhotoDateTime{2004, 2, 29, 0, 0, 0}},
                      DateCase{"2003:02:29 10:00:00", std::nullopt},
                      DateCase{"0000:00:00 00:00:00", std::nullopt},
                      DateCase{"    :  :     :  :  ", std::nullopt}, DateCase{"", std::nullopt}));

}  // namespace
}  // namespace quorvane::image::internal
