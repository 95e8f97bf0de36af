#include "webalbum/expansion.h"

#include <gtest/gtest.h>

#include "xml/byte_buffer.h"
#include "xml/xml_document.h"

namespace quorvane::webalbum {
namespace {

// A page element parsed from XML, and a gallery of `photos` photos named "p<n>.jpg".
class ExpansionTest : public ::testing::Test {
 protected:
  xml::XmlNode* Page(std::string_view text) {
    xml::ByteBuffer input(text);
    document_.Parse(input);
    return document_.ChildAt(document_.ChildCount() - 1);
  }
  void MakeGallery(int photos) {
    gallery_.title = "Trip";
    for (int i = 0; i < photos; ++i) {
      PhotoFacts photo;
      photo.page_file = "p" + std::to_string(i) + ".html";
      photo.title = "Title " + std::to_string(i);
      gallery_.photos.push_back(photo);
    }
    context_.gallery = &gallery_;
  }
  std::string Expand(std::string text) {
    text = ReplaceBuiltins(context_, std::move(text));
    text = ReplaceUserVariables(context_, std::move(text));
    return ReplaceFragments(context_, std::move(text));
  }

  xml::XmlDocument document_;
  GalleryFacts gallery_;
  ExpansionContext context_;
};

TEST_F(ExpansionTest, PhotoNavigationIsEmptyAtTheEnds) {
  MakeGallery(3);
  context_.SetPage(
      Page("<PhotoDetailPage><Fragment_PrevImagePage>&lt;a href=&quot;"
           "{PrevImagePageFileName}&quot;&gt;</Fragment_PrevImagePage>"
           "<Fragment_NextImagePage>N:{NextImagePageFileName}"
           "</Fragment_NextImagePage></PhotoDetailPage>"));
  const std::string text = "{Fragment_PrevImagePage}|{Fragment_NextImagePage}";
  context_.photo = 0;
  EXPECT_EQ(Expand(text), "|N:p1.html");
  context_.photo = 1;
  EXPECT_EQ(Expand(text), "<a href=\"p0.html\">|N:p2.html");
  context_.photo = 2;
  EXPECT_EQ(Expand(text), "<a href=\"p1.html\">|");
}

// A user variable named like a built-in never reaches it.
TEST_F(ExpansionTest, PhotoPlaceholdersNeedACurrentPhoto) {
  MakeGallery(2);
  context_.user_variables = {{"GalleryTitle", "mine"}, {"Colour", "red"}};
  EXPECT_EQ(Expand("{ImageTitle} {ImageNum} {FirstImagePageFileName} {GalleryTitle} {Colour}"),
            "{ImageTitle} {ImageNum} p0.html Trip red");
  context_.photo = 1;
  EXPECT_EQ(Expand("{ImageTitle} {ImageNum} {LastImagePageFileName}"), "Title 1 2 p1.html");
}

// Page numbers are not clamped: the first page's previous is 0, the last page's next is one
// past the count.
TEST_F(ExpansionTest, IndexPageListMarksTheCurrentPageAndHonoursMaxShown) {
  MakeGallery(100);
  context_.SetPage(
      Page("<IndexPage><Fragment_IndexPageList MaxShown=\"3\"><Header>[</Header>"
           "<Item>{IndexPageNum}={IndexPageFileName} </Item><ItemSelected>*{IndexPageNum} "
           "</ItemSelected><Footer>]</Footer></Fragment_IndexPageList>"
           "<Fragment_NextIndexPage>next</Fragment_NextIndexPage></IndexPage>"));
  const std::string numbers = "{IndexPrevPageNum}/{IndexPageNum}/{IndexNextPageNum}/{IndexPageMax}";
  context_.index_page_count = 6;
  context_.index_page = 0;
  EXPECT_EQ(Expand("{Fragment_IndexPageList}" + numbers),
            "[*1 2=index1.html 3=index2.html ]0/1/2/6");
  context_.index_page = 3;
  EXPECT_EQ(Expand("{Fragment_IndexPageList}"), "[3=index2.html *4 5=index4.html ]");
  context_.index_page = 5;
  EXPECT_EQ(Expand("{Fragment_IndexPageList}" + numbers),
            "[4=index3.html 5=index4.html *6 ]5/6/7/6");
  // A single page has no list and no navigation.
  context_.index_page_count = 1;
  context_.index_page = 0;
  EXPECT_EQ(Expand("[{Fragment_IndexPageList}][{PrevIndexPageFileName}][{NextIndexPageFileName}]"
                   "[{Fragment_NextIndexPage}]"),
            "[][][][]");
}

TEST_F(ExpansionTest, FragmentConditionsSeeVariablesDefinedNamesAndBuiltins) {
  MakeGallery(1);
  context_.SetPage(Page("<PhotoDetailPage><Fragment_X>shown</Fragment_X></PhotoDetailPage>"));
  const std::string text = "{Fragment_X include_if defined Caption}";
  EXPECT_EQ(Expand(text), "");
  context_.defined_names = {{"Caption", "1"}};
  EXPECT_EQ(Expand(text), "shown");
  context_.defined_names.clear();
  context_.user_variables = {{"Caption", "a cat"}};
  EXPECT_EQ(Expand(text), "shown");
  context_.user_variables.clear();
  context_.photo = 0;
  EXPECT_EQ(Expand("{Fragment_X include_if defined ImageTitle}"), "shown");
  EXPECT_EQ(Expand("{Fragment_X include_if ImageNum == 2}{Fragment_Missing}"), "");
}

TEST_F(ExpansionTest, HostileFragmentsEnd) {
  MakeGallery(1);
  context_.SetPage(
      Page("<IndexPage><Fragment_Self>a{Fragment_Self}{Fragment_Self}</Fragment_Self>"
           "<Fragment_Open>{Fragment_Open</Fragment_Open></IndexPage>"));
  const std::string grown = Expand("{Fragment_Self}");
  EXPECT_EQ(grown.find("{Fragment_"), std::string::npos);
  EXPECT_EQ(Expand("x {Fragment_Open y"), "x {Fragment_Open y");  // no "}": the scan ends
  EXPECT_EQ(Expand("{Fragment_Open}"), "{Fragment_Open");
}

struct StemCase {
  const char* name;
  std::vector<std::string> photos;
  std::vector<std::string> reserved;
  std::vector<std::string> stems;
};

class DistinctStems : public ::testing::TestWithParam<StemCase> {};

TEST_P(DistinctStems, NoTwoPhotosShareAFile) {
  EXPECT_EQ(DistinctOutputStems(GetParam().photos, GetParam().reserved), GetParam().stems);
}

INSTANTIATE_TEST_SUITE_P(
    Albums, DistinctStems,
    ::testing::Values(
        StemCase{"Plain", {"a b.jpg", "c.png"}, {}, {"a_b", "c"}},
        StemCase{"SameStemOtherFormat", {"a.jpg", "a.png", "a.gif"}, {}, {"a", "a_png", "a_gif"}},
        StemCase{"BlankAndUnderscore", {"a b.jpg", "a_b.jpg"}, {}, {"a_b", "a_b_jpg"}},
        StemCase{
            "NumberedWhenThatIsTaken", {"a.jpg", "a_png.gif", "a.png"}, {}, {"a", "a_png", "a_2"}},
        StemCase{"CaseOnly", {"A.jpg", "a.JPG"}, {}, {"A", "a_JPG"}},
        StemCase{"PhotoNamedLikeAThumbnail", {"a.jpg", "a-thumb.jpg"}, {}, {"a", "a-thumb_jpg"}},
        StemCase{"PhotoNamedLikeAnIndexPage",
                 {"index.jpg", "Index3.png"},
                 {},
                 {"index_jpg", "Index3_png"}},
        StemCase{"PhotoNamedLikeASupportFile",
                 {"bg.png", "x.css"},
                 {"bg.png", "x.jpg"},
                 {"bg_png", "x_css"}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(OutputTexts, SizesSwitchToMegabytesAtOneMebibyteAndDatesNameTheMonth) {
  EXPECT_EQ(FileSizeText(1048575), "1024 KB");
  EXPECT_EQ(FileSizeText(1048576), "1.0 MB");
  EXPECT_EQ(FileSizeText(0), "0 KB");
  EXPECT_EQ(FileSizeText(1572864), "1.5 MB");
  platform::OleDate date = 0;
  ASSERT_TRUE(platform::ParseOleDate("2021-07-14", &date));
  EXPECT_EQ(DateText(date), "14 July 2021");
  EXPECT_EQ(DateText(platform::kNoDate), "");
}

}  // namespace
}  // namespace quorvane::webalbum
