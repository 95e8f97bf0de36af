#include "print/page_layout.h"

#include <cmath>
#include <set>

#include <gtest/gtest.h>

#include "testing/temp_dir.h"

namespace quorvane::print {
namespace {

namespace fs = std::filesystem;
using testing::WriteTextFile;

constexpr double kEpsilon = 0.01;  // points
constexpr PageSize kA4{595.276, 841.89};
constexpr PageSize kA4Landscape{841.89, 595.276};
constexpr PageSize kLetter{612, 792};

fs::path BuiltIn(std::string_view name) {
  return testing::TestDataPath("..") / "print-templates" / name / (std::string(name) + ".qvoprnt");
}

// A page element of one spot, then one of three in a row: pages take 1, 3, 1, 3 ... photos.
constexpr std::string_view kRotation =
    "<PhotoAlbumTemplate><Paper Width=\"100\" Height=\"150\" Margin=\"5\"/>"
    "<IndexPage><Header Size=\"12\">{GalleryTitle}</Header><Image>{ImageNum}</Image></IndexPage>"
    "<IndexPage><Row Spacing=\"2\"><Image Width=\"2\"/><Image/><Image/></Row>"
    "<Footer>Page {PageNum} of {PageCount}</Footer></IndexPage></PhotoAlbumTemplate>";
// A title page without spots between pages of two.
constexpr std::string_view kTitlePages =
    "<PhotoAlbumTemplate><IndexPage><Text>{GalleryDescription}</Text></IndexPage>"
    "<IndexPage><Image/><Image/></IndexPage></PhotoAlbumTemplate>";

webalbum::PhotoFacts Photo(int width, int height, std::string title = {}) {
  webalbum::PhotoFacts photo;
  photo.title = std::move(title);
  photo.width = width;
  photo.height = height;
  return photo;
}

struct LayoutCase {
  std::string name;
  std::string template_file;  // a built-in template's folder, or empty for `text`
  std::string_view text;
  PageSize size;
  std::vector<std::pair<int, int>> photos;  // width, height
  int pages;
};

std::vector<std::pair<int, int>> Mixed(int count) {
  std::vector<std::pair<int, int>> sizes;
  for (int i = 0; i < count; ++i) {
    sizes.push_back(i % 3 == 0   ? std::pair{3000, 4000}
                    : i % 3 == 1 ? std::pair{4000, 3000}
                                 : std::pair{1000, 1000});
  }
  return sizes;
}

class LayoutTest : public ::testing::TestWithParam<LayoutCase> {
 protected:
  void SetUp() override {
    const LayoutCase& c = GetParam();
    fs::path path = c.template_file.empty() ? dir_ / "t.qvoprnt" : BuiltIn(c.template_file);
    if (c.template_file.empty()) WriteTextFile(path, c.text);
    ASSERT_EQ(template_.Load(path), platform::kOk) << template_.last_error();
    gallery_.title = "Summer";
    gallery_.description = "By the sea";
    for (size_t i = 0; i < c.photos.size(); ++i) {
      gallery_.photos.push_back(
          Photo(c.photos[i].first, c.photos[i].second,
                "A caption long enough to need more than one line in a narrow spot"));
    }
  }

  testing::TempDir dir_;
  PrintTemplate template_;
  webalbum::GalleryFacts gallery_;
};

bool Inside(const Rect& inner, const Rect& outer) {
  return inner.left >= outer.left - kEpsilon && inner.top >= outer.top - kEpsilon &&
         inner.right() <= outer.right() + kEpsilon && inner.bottom() <= outer.bottom() + kEpsilon;
}

bool Overlap(const Rect& a, const Rect& b) {
  return a.left < b.right() - kEpsilon && b.left < a.right() - kEpsilon &&
         a.top < b.bottom() - kEpsilon && b.top < a.bottom() - kEpsilon;
}

TEST_P(LayoutTest, PlacesEveryPhotoOnceInsideItsSpotWithItsAspect) {
  const LayoutCase& c = GetParam();
  const std::vector<PageLayout> pages = LayoutPages(template_, gallery_, c.size);
  ASSERT_EQ(static_cast<int>(pages.size()), c.pages);
  EXPECT_EQ(CountPages(template_, static_cast<int>(c.photos.size())), c.pages);
  const Rect sheet{0, 0, c.size.width, c.size.height};
  int next = 0;
  for (const PageLayout& page : pages) {
    for (size_t i = 0; i < page.photos.size(); ++i) {
      const PlacedPhoto& placed = page.photos[i];
      EXPECT_EQ(placed.photo, next++) << "photos print in album order";
      EXPECT_TRUE(Inside(placed.placed, placed.spot));
      EXPECT_TRUE(Inside(placed.spot, sheet));
      const auto [width, height] = c.photos[placed.photo];
      EXPECT_NEAR(placed.placed.width / placed.placed.height, static_cast<double>(width) / height,
                  1e-6);
      // Fitted, not merely inside: it spans the spot in one direction.
      EXPECT_TRUE(std::abs(placed.placed.width - placed.spot.width) < kEpsilon ||
                  std::abs(placed.placed.height - placed.spot.height) < kEpsilon);
      EXPECT_GT(placed.placed.width, 10);
      for (size_t j = 0; j < i; ++j) EXPECT_FALSE(Overlap(placed.spot, page.photos[j].spot));
    }
    for (const PlacedText& text : page.texts) {
      EXPECT_GE(text.x, -kEpsilon) << text.text;
      EXPECT_LE(text.x + text.width, c.size.width + kEpsilon) << text.text;
      EXPECT_GT(text.baseline, 0);
      EXPECT_LT(text.baseline, c.size.height);
      for (const PlacedPhoto& photo : page.photos) {
        EXPECT_FALSE(text.baseline > photo.placed.top + kEpsilon &&
                     text.baseline < photo.placed.bottom() - kEpsilon &&
                     text.x < photo.placed.right() && text.x + text.width > photo.placed.left)
            << "\"" << text.text << "\" is printed over a photo";
      }
    }
  }
  EXPECT_EQ(next, static_cast<int>(c.photos.size()));
}

INSTANTIATE_TEST_SUITE_P(
    Templates, LayoutTest,
    ::testing::Values(
        LayoutCase{"ContactSheetA4", "contact-sheet", {}, kA4, Mixed(45), 3},
        LayoutCase{"ContactSheetLetterExactlyFull", "contact-sheet", {}, kLetter, Mixed(20), 1},
        LayoutCase{"ContactSheetLandscape", "contact-sheet", {}, kA4Landscape, Mixed(21), 2},
        LayoutCase{"OnePerPage", "one-per-page", {}, kA4, Mixed(3), 3},
        LayoutCase{"OnePerPageLandscapePaper", "one-per-page", {}, kA4Landscape, Mixed(4), 4},
        LayoutCase{"TwoPerPageOddCount", "two-per-page", {}, kA4, Mixed(5), 3},
        LayoutCase{
            "PanoramaAndTallPhotos", "two-per-page", {}, kLetter, {{8000, 1000}, {500, 6000}}, 1},
        LayoutCase{"RotatingPageElements", "", kRotation, {283.46, 425.2}, Mixed(9), 5},
        LayoutCase{"PagesWithoutSpotsCount", "", kTitlePages, kA4, Mixed(3), 4}),
    [](const auto& p) { return p.param.name; });

class LayoutTextTest : public ::testing::Test {
 protected:
  void Load(std::string_view text) {
    WriteTextFile(dir_ / "t.qvoprnt", text);
    ASSERT_EQ(template_.Load(dir_ / "t.qvoprnt"), platform::kOk) << template_.last_error();
  }
  testing::TempDir dir_;
  PrintTemplate template_;
};

TEST_F(LayoutTextTest, TextsExpandPlaceholdersAndStayInTheirWidth) {
  Load(kRotation);
  webalbum::GalleryFacts gallery;
  gallery.title = "Holiday & Friends";
  for (int i = 0; i < 4; ++i) gallery.photos.push_back(Photo(0, 0));
  const std::vector<PageLayout> pages = LayoutPages(template_, gallery, {283.46, 425.2});
  ASSERT_EQ(pages.size(), 2u);
  ASSERT_EQ(pages[0].texts.size(), 2u);
  EXPECT_EQ(pages[0].texts[0].text, "Holiday & Friends");
  EXPECT_EQ(pages[0].texts[0].font.size, 12);
  // Centred in the printable area (5 mm margins on 100 mm).
  EXPECT_NEAR(pages[0].texts[0].x + pages[0].texts[0].width / 2, 283.46 / 2, kEpsilon);
  EXPECT_EQ(pages[0].texts[1].text, "1");
  ASSERT_EQ(pages[1].texts.size(), 1u);
  EXPECT_EQ(pages[1].texts[0].text, "Page 2 of 2");
  // Photos of unknown size fill their spots, which share the row 2 : 1 : 1.
  ASSERT_EQ(pages[1].photos.size(), 3u);
  EXPECT_NEAR(pages[1].photos[0].placed.width, 2 * pages[1].photos[1].placed.width, kEpsilon);
}

TEST_F(LayoutTextTest, LongCaptionsWrapAndEndInAnEllipsis) {
  Load(
      "<PhotoAlbumTemplate><IndexPage><Row><Image Lines=\"2\" Size=\"10\">{ImageTitle}</Image>"
      "<Image/><Image/><Image/></Row></IndexPage></PhotoAlbumTemplate>");
  webalbum::GalleryFacts gallery;
  gallery.photos.push_back(
      Photo(10, 10, std::string(40, 'w') + " words and more words to fill three lines of a spot"));
  const std::vector<PageLayout> pages = LayoutPages(template_, gallery, kA4);
  ASSERT_EQ(pages[0].texts.size(), 2u);
  EXPECT_EQ(pages[0].texts[1].text.substr(pages[0].texts[1].text.size() - 3), "\u2026");
  for (const PlacedText& text : pages[0].texts) {
    EXPECT_LE(text.width, pages[0].photos[0].spot.width + kEpsilon);
    EXPECT_GT(text.baseline, pages[0].photos[0].placed.bottom());
  }
}

}  // namespace
}  // namespace quorvane::print
