#include "print/pdf_writer.h"

#include <gtest/gtest.h>

#include "album/folder_store.h"
#include "image/image.h"
#include "print/print_job.h"
#include "testing/recording_progress.h"
#include "testing/temp_dir.h"

namespace quorvane::print {
namespace {

namespace fs = std::filesystem;
using testing::ReadTextFile;
using testing::WriteTextFile;

struct EncodingCase {
  std::string name;
  std::string utf8;
  std::string winansi;
};

class WinAnsiTest : public ::testing::TestWithParam<EncodingCase> {};

TEST_P(WinAnsiTest, PrintsWhatTheFontsHaveAndReplacesTheRest) {
  EXPECT_EQ(ToWinAnsi(GetParam().utf8), GetParam().winansi);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, WinAnsiTest,
    ::testing::Values(EncodingCase{"Ascii", "Tom's (1) \\ b", "Tom's (1) \\ b"},
                      EncodingCase{"Latin1", "Café Straße",
                                   "Caf\xE9 Stra\xDF"
                                   "e"},
                      EncodingCase{"WindowsRange", "€5 “q” – …",
                                   "\x80"
                                   "5 \x93q\x94 \x96 \x85"},
                      EncodingCase{"BaseLetters", "Łódź Dvořák",
                                   "L\xF3"
                                   "dz Dvor\xE1k"},
                      EncodingCase{"NoLatinLetters", "東京 Ωx", "?? ?x"},
                      EncodingCase{"ControlsAndBreaks", "a\tb\r\nc\x01", "a b  c"},
                      EncodingCase{"MalformedUtf8", "a\xFF\xC3(",
                                   "a?"
                                   "?("}),
    [](const auto& p) { return p.param.name; });

TEST(WrapTextTest, BreaksAtBlanksAndInsideLongWordsWithinTheWidth) {
  const FontSpec font{FontFamily::kTimes, 10, true, false, {}};
  const auto lines = WrapText("Supercalifragilistic word\nnext", font, 40, 0);
  std::string joined;
  for (const std::string& line : lines) {
    EXPECT_LE(TextWidth(line, font), 40);
    joined += line + "|";
  }
  // The word's last piece shares its line with the next word.
  EXPECT_EQ(joined, "Supercal|ifragilisti|c word|next|");
  // Helvetica's widths: "Hi" is 722 + 222 thousandths.
  EXPECT_DOUBLE_EQ(TextWidth("Hi", FontSpec{}), 9.44);
}

// Every object the cross-reference table lists starts where it says, and startxref finds it.
void ExpectValidCrossReferences(const std::string& pdf) {
  ASSERT_TRUE(pdf.ends_with("\n%%EOF\n"));
  const size_t startxref = pdf.rfind("startxref\n");
  ASSERT_NE(startxref, std::string::npos);
  const size_t xref = std::stoul(pdf.substr(startxref + 10));
  ASSERT_EQ(pdf.compare(xref, 7, "xref\n0 "), 0);
  const int count = std::stoi(pdf.substr(xref + 7));
  size_t at = pdf.find('\n', xref + 7) + 1;
  EXPECT_EQ(pdf.compare(at, 20, "0000000000 65535 f\r\n"), 0);
  for (int id = 1; id < count; ++id) {
    at += 20;
    const size_t offset = std::stoul(pdf.substr(at, 10));
    const std::string object = std::to_string(id) + " 0 obj\n";
    EXPECT_EQ(pdf.compare(offset, object.size(), object), 0) << "object " << id;
  }
  EXPECT_EQ(pdf.compare(at + 20, 8, "trailer\n"), 0);
  EXPECT_NE(pdf.find("/Size " + std::to_string(count) + " "), std::string::npos);
}

class PrintJobTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(dir_ / "album");
    album_ = std::make_unique<album::Album>(std::make_unique<album::FolderStore>(dir_ / "album"));
    album_->set_title("Trip (2024)");
    ASSERT_EQ(template_.LoadFromMemory(
                  "<PhotoAlbumTemplate><Paper Width=\"100\" Height=\"100\" Margin=\"10\"/>"
                  "<IndexPage><Header>{GalleryTitle}</Header><Image Frame=\"1\"/>"
                  "</IndexPage></PhotoAlbumTemplate>"),
              platform::kOk);
  }

  void AddPhoto(const std::string& name, int width, int height, image::Rgba color,
                image::ImageFormat format = image::ImageFormat::kJpeg) {
    image::Image picture;
    ASSERT_TRUE(picture.Create(width, height, color.a != 255, color));
    ASSERT_TRUE(picture.Save(dir_ / "album" / name, format));
    Add(name, width, height);
  }

  void Add(const std::string& name, int width, int height) {
    album::AlbumPhoto photo;
    photo.image_file = name;
    photo.width = width;
    photo.height = height;
    album_->photos().push_back(photo);
  }

  platform::ResultCode Print(platform::ProgressSink& progress) {
    return PrintAlbumToPdf(*album_, template_, PaperSize(template_.paper()), dir_ / "out.pdf",
                           PrintOptions{}, progress, &error_);
  }

  // The embedded pictures of the PDF, decoded.
  static std::vector<image::Image> Pictures(const std::string& pdf) {
    std::vector<image::Image> pictures;
    const std::string key = "/DCTDecode /Length ";
    for (size_t at = pdf.find(key); at != std::string::npos; at = pdf.find(key, at + 1)) {
      const size_t length = std::stoul(pdf.substr(at + key.size()));
      const size_t start = pdf.find(">>\nstream\n", at) + 10;
      image::Image picture;
      EXPECT_TRUE(picture.LoadFromMemory(pdf.data() + start, length));
      pictures.push_back(picture);
    }
    return pictures;
  }

  testing::TempDir dir_;
  std::unique_ptr<album::Album> album_;
  PrintTemplate template_;
  std::string error_;
};

TEST_F(PrintJobTest, PhotosAreEmbeddedAtThePrintersResolutionNeverEnlarged) {
  AddPhoto("big.jpg", 3000, 2000, {200, 30, 30, 255});
  AddPhoto("small.png", 60, 40, {30, 30, 200, 0}, image::ImageFormat::kPng);
  testing::RecordingProgress progress;
  ASSERT_EQ(Print(progress), platform::kOk) << error_;
  const std::string pdf = ReadTextFile(dir_ / "out.pdf");
  ASSERT_EQ(pdf.substr(0, 9), "%PDF-1.4\n");
  ExpectValidCrossReferences(pdf);
  EXPECT_NE(pdf.find("/Type /Pages /Kids ["), std::string::npos);
  EXPECT_NE(pdf.find("/Count 2 "), std::string::npos);
  EXPECT_NE(pdf.find("(Trip \\(2024\\)) Tj"), std::string::npos);
  EXPECT_NE(pdf.find("/BaseFont /Helvetica /Encoding /WinAnsiEncoding"), std::string::npos);

  const std::vector<image::Image> pictures = Pictures(pdf);
  ASSERT_EQ(pictures.size(), 2u);
  // 80 mm less the header across at 300 dpi: 945 pixels, not the photo's 3000.
  EXPECT_EQ(pictures[0].width(), 945);
  EXPECT_NEAR(pictures[0].height(), 630, 1);
  EXPECT_EQ(pictures[0].GetPixel(400, 300).r > 180, true);
  EXPECT_EQ(pictures[1].width(), 60);
  EXPECT_EQ(pictures[1].height(), 40);
  const image::Rgba paper = pictures[1].GetPixel(30, 20);
  EXPECT_GT(paper.r + paper.g + paper.b, 3 * 245) << "transparency prints as white paper";
  const std::vector<std::string> texts = progress.texts();
  EXPECT_NE(std::find(texts.begin(), texts.end(), "Printing page 2 of 2 ..."), texts.end());
}

TEST_F(PrintJobTest, CancelledOrFailedJobsLeaveTheOldFile) {
  AddPhoto("a.jpg", 100, 100, {0, 0, 0, 255});
  WriteTextFile(dir_ / "out.pdf", "older");
  platform::CancelFlag cancel;
  cancel.Cancel();
  EXPECT_EQ(Print(cancel), platform::kCancelled);
  EXPECT_EQ(ReadTextFile(dir_ / "out.pdf"), "older");

  Add("gone.jpg", 10, 10);
  EXPECT_EQ(Print(platform::NoProgress()), platform::kFailed);
  EXPECT_TRUE(error_.starts_with("Unable to print \"gone.jpg\": ")) << error_;
  EXPECT_EQ(ReadTextFile(dir_ / "out.pdf"), "older");
}

}  // namespace
}  // namespace quorvane::print
