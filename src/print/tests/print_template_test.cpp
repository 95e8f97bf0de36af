#include "print/print_template.h"

#include <gtest/gtest.h>

#include "testing/temp_dir.h"

namespace quorvane::print {
namespace {

namespace fs = std::filesystem;
using testing::WriteTextFile;

struct BrokenCase {
  std::string name;
  std::optional<std::string> text;  // nothing: the file does not exist
  std::string message;              // before "\n\nFile: <path>"
};

class BrokenTemplateTest : public ::testing::TestWithParam<BrokenCase> {};

TEST_P(BrokenTemplateTest, IsRefusedWithItsMessage) {
  testing::TempDir dir;
  const fs::path path = dir / "t.qvoprnt";
  if (GetParam().text) WriteTextFile(path, *GetParam().text);
  PrintTemplate print_template;
  EXPECT_NE(print_template.Load(path), platform::kOk);
  EXPECT_EQ(print_template.last_error(), GetParam().message + "\n\nFile: " + path.string());
  EXPECT_TRUE(print_template.pages().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Messages, BrokenTemplateTest,
    ::testing::Values(
        BrokenCase{"Missing", std::nullopt, "Error: File not found."},
        BrokenCase{"Empty", "", "Error: Invalid template format."},
        BrokenCase{"OtherRoot", "<PrintTemplate><IndexPage><Image/></IndexPage></PrintTemplate>",
                   "Error: Invalid template format."},
        BrokenCase{"NoPage", "<PhotoAlbumTemplate><Row><Image/></Row></PhotoAlbumTemplate>",
                   "Error: The print template has no page: it needs an \"IndexPage\" element."},
        BrokenCase{"NoSpot",
                   "<PhotoAlbumTemplate><IndexPage><Text>x</Text></IndexPage><IndexPage><Row/>"
                   "</IndexPage></PhotoAlbumTemplate>",
                   "Error: The print template has no photo spot: a page needs an \"Image\" "
                   "element."}),
    [](const auto& p) { return p.param.name; });

TEST(PrintTemplateTest, ReadsTolerantlyWithDefaultsForWhatItCannotRead) {
  PrintTemplate t;
  ASSERT_EQ(t.LoadFromMemory(
                "<PhotoAlbumTemplate Name=\"N\"><Paper Size=\"Letter\" Orientation=\"Landscape\" "
                "Margin=\"ten\" MarginTop=\"20\"/><Font Name=\"f\" Family=\"Times New Roman\" "
                "Size=\"14\" Bold=\"TRUE\" Color=\"#0f0\"/><IndexPage Spacing=\"-3\">"
                "<Header Font=\"f\" Italic=\"yes\" Align=\"right\">h</Header>"
                "<Text Font=\"nope\" Size=\"huge\">t</Text><Row Height=\"2\"><Image Width=\"x\" "
                "Frame=\"1\" FrameColor=\"red\" Fill=\"#102030\" VAlign=\"Bottom\"> <Caption "
                "Size=\"7\">c</Caption></Image></Row></IndexPage>"
                "</PhotoAlbumTemplate>"),
            platform::kOk);
  EXPECT_EQ(t.name(), "N");
  EXPECT_DOUBLE_EQ(t.paper().width_mm, 279.4);
  EXPECT_DOUBLE_EQ(t.paper().height_mm, 215.9);
  EXPECT_DOUBLE_EQ(t.paper().margin_left_mm, 15);
  EXPECT_DOUBLE_EQ(t.paper().margin_top_mm, 20);
  ASSERT_EQ(t.pages().size(), 1u);
  const PageTemplate& page = t.pages()[0];
  EXPECT_DOUBLE_EQ(page.spacing_mm, 4);
  ASSERT_TRUE(page.header);
  EXPECT_EQ(page.header->font, (FontSpec{FontFamily::kTimes, 14, true, true, Color{0, 255, 0}}));
  EXPECT_EQ(page.header->align, Align::kRight);
  ASSERT_EQ(page.flow.size(), 2u);
  EXPECT_EQ(page.flow[0].text->font, FontSpec{});
  const PhotoSpot& spot = page.flow[1].row.spots.at(0);
  EXPECT_DOUBLE_EQ(page.flow[1].row.weight, 2);
  EXPECT_DOUBLE_EQ(spot.weight, 1);
  EXPECT_EQ(spot.frame_color, Color{});
  EXPECT_EQ(spot.fill, (Color{0x10, 0x20, 0x30}));
  EXPECT_EQ(spot.valign, VerticalAlign::kBottom);
  ASSERT_EQ(spot.captions.size(), 1u) << "a blank text is no caption";
  EXPECT_EQ(spot.captions[0].font.size, 7);
  EXPECT_EQ(page.photo_count, 1);
}

TEST(PrintTemplateTest, ListsInstalledPackagesBesideTheProgramThenTheUsers) {
  testing::TempDir dir;
  fs::create_directories(dir / "program");
  fs::copy(testing::TestDataPath("..") / "print-templates", dir / "program/PrintTemplates",
           fs::copy_options::recursive);
  WriteTextFile(dir / "data/PrintTemplates/mine/mine.qvoprnt",
                "<PhotoAlbumTemplate Name=\"Mine\"><IndexPage><Image/></IndexPage>"
                "</PhotoAlbumTemplate>");
  WriteTextFile(dir / "data/PrintTemplates/loose.qvoprnt", "<PhotoAlbumTemplate Name=\"Loose\"/>");
  std::vector<std::string> names;
  for (const auto& info : ListPrintTemplates(PrintTemplateFolders(dir / "program", dir / "data"))) {
    names.push_back(info.name);
  }
  EXPECT_EQ(names, (std::vector<std::string>{"Contact Sheet", "One Photo per Page",
                                             "Two Photos per Page", "Mine"}));
}

}  // namespace
}  // namespace quorvane::print
