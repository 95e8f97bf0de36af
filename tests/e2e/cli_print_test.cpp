#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "cli_test_fixture.h"
#include "image/image.h"
#include "print/page_layout.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;
using testing::RunCli;
using testing::WriteTextFile;

constexpr image::Rgba kColors[] = {{220, 30, 30, 255},  {30, 180, 40, 255},  {30, 50, 220, 255},
                                   {240, 220, 20, 255}, {200, 40, 200, 255}, {20, 200, 210, 255}};

bool Near(image::Rgba a, image::Rgba b) {
  return std::abs(a.r - b.r) < 40 && std::abs(a.g - b.g) < 40 && std::abs(a.b - b.b) < 40;
}

class CliPrintTest : public testing::CliTest {
 protected:
  // An album of solid-colour photos, landscape and portrait by turns.
  std::string MakeAlbum(int count) {
    const fs::path album = dir_ / "album";
    EXPECT_EQ(RunCli({"album", "create", album.string(), "--title", "Colours"}).exit_code, 0);
    std::vector<std::string> add = {"album", "add", album.string()};
    for (int i = 0; i < count; ++i) {
      image::Image picture;
      const bool portrait = i % 2 == 1;
      EXPECT_TRUE(
          picture.Create(portrait ? 300 : 400, portrait ? 400 : 300, false, kColors[i % 6]));
      const fs::path file = dir_ / "photos" / ("c" + std::to_string(i) + ".jpg");
      fs::create_directories(file.parent_path());
      EXPECT_TRUE(picture.Save(file, image::ImageFormat::kJpeg));
      add.push_back(file.string());
      sizes_.emplace_back(picture.width(), picture.height());
    }
    const auto added = RunCli(add);
    EXPECT_EQ(added.exit_code, 0) << added.err;
    return album.string();
  }

  // Page `page` (from 1) of the PDF rendered at 72 dpi: one pixel per point.
  image::Image Render(const fs::path& pdf, int page) {
    const fs::path prefix = dir_ / "render";
    const std::string command = "pdftoppm -r 72 -png -f " + std::to_string(page) + " -l " +
                                std::to_string(page) + " -singlefile '" + pdf.string() + "' '" +
                                prefix.string() + "'";
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    image::Image png;
    EXPECT_TRUE(png.Load(prefix.string() + ".png")) << png.last_error();
    return png;
  }

  std::vector<std::pair<int, int>> sizes_;
};

TEST_F(CliPrintTest, ContactSheetPrintsEachPhotoWhereTheLayoutPlacesIt) {
  const std::string album = MakeAlbum(6);
  const fs::path pdf = dir_ / "sheet.pdf";
  const auto r = RunCli({"print", album, pdf.string()});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.out, "6 photos on 1 page in " + pdf.string() + "\n");
  EXPECT_NE(r.err.find("Printing page 1 of 1 ..."), std::string::npos) << r.err;

  print::PrintTemplate contact_sheet;
  ASSERT_EQ(contact_sheet.Load(testing::TestDataPath("..") /
                               "print-templates/contact-sheet/contact-sheet.qvoprnt"),
            platform::kOk);
  webalbum::GalleryFacts gallery;
  gallery.title = "Colours";
  for (const auto& [width, height] : sizes_) {
    webalbum::PhotoFacts photo;
    photo.width = width;
    photo.height = height;
    gallery.photos.push_back(photo);
  }
  const auto pages =
      print::LayoutPages(contact_sheet, gallery, print::PaperSize(contact_sheet.paper()));
  ASSERT_EQ(pages.size(), 1u);
  ASSERT_EQ(pages[0].photos.size(), 6u);

  const image::Image png = Render(pdf, 1);
  ASSERT_NEAR(png.width(), 595.3, 1);
  ASSERT_NEAR(png.height(), 841.9, 1);
  for (const print::PlacedPhoto& placed : pages[0].photos) {
    const print::Rect& rect = placed.placed;
    const image::Rgba want = kColors[placed.photo];
    // Three points inside each edge, the photo's colour; two points outside, the spot's pale
    // background: the photo is where the layout put it, at its size and shape.
    const double cx = rect.left + rect.width / 2;
    const double cy = rect.top + rect.height / 2;
    const auto at = [&](double x, double y) {
      return png.GetPixel(static_cast<int>(std::lround(x)), static_cast<int>(std::lround(y)));
    };
    for (const auto& [x, y] : {std::pair{cx, cy},
                               {rect.left + 3, cy},
                               {rect.right() - 3, cy},
                               {cx, rect.top + 3},
                               {cx, rect.bottom() - 3}}) {
      EXPECT_TRUE(Near(at(x, y), want)) << "photo " << placed.photo << " at " << x << "," << y;
    }
    for (const auto& [x, y] : {std::pair{rect.left - 2, cy},
                               {rect.right() + 2, cy},
                               {cx, rect.top - 2},
                               {cx, rect.bottom() + 2}}) {
      EXPECT_TRUE(Near(at(x, y), {241, 241, 241, 255}))
          << "photo " << placed.photo << " at " << x << "," << y;
    }
  }
  // The spots past the album's end stay blank paper.
  const image::Rgba blank = png.GetPixel(static_cast<int>(pages[0].photos[5].spot.left + 150),
                                         static_cast<int>(pages[0].photos[5].spot.top + 40));
  EXPECT_TRUE(Near(blank, {255, 255, 255, 255}));
}

TEST_F(CliPrintTest, ChoosesTemplatesByNameOrPathAndRemembersTheLastOne) {
  const std::string album = MakeAlbum(3);
  const auto two =
      RunCli({"print", album, (dir_ / "two.pdf").string(), "--template", "two photos per page"});
  ASSERT_EQ(two.exit_code, 0) << two.err;
  EXPECT_EQ(two.out, "3 photos on 2 pages in " + (dir_ / "two.pdf").string() + "\n");
  // Without --template the last one is used again.
  const auto again = RunCli({"print", album, (dir_ / "again.pdf").string()});
  EXPECT_EQ(again.out, "3 photos on 2 pages in " + (dir_ / "again.pdf").string() + "\n");

  WriteTextFile(dir_ / "own/own.qvoprnt",
                "<PhotoAlbumTemplate><IndexPage><Image/></IndexPage></PhotoAlbumTemplate>");
  const auto own =
      RunCli({"print", album, (dir_ / "own.pdf").string(), "--template", (dir_ / "own").string()});
  EXPECT_EQ(own.out, "3 photos on 3 pages in " + (dir_ / "own.pdf").string() + "\n");
  EXPECT_EQ(RunCli({"settings", "get", "print.template_path"}).out,
            (dir_ / "own/own.qvoprnt").string() + "\n");
}

TEST_F(CliPrintTest, RefusesBadTemplatesAndCommandLinesWithTheirMessages) {
  const std::string album = MakeAlbum(1);
  const fs::path pdf = dir_ / "out.pdf";
  WriteTextFile(dir_ / "broken.qvoprnt", "<PhotoAlbumTemplate><IndexPage/></PhotoAlbumTemplate>");
  const auto broken =
      RunCli({"print", album, pdf.string(), "--template", (dir_ / "broken.qvoprnt").string()});
  EXPECT_EQ(broken.exit_code, 1);
  EXPECT_EQ(broken.err,
            "quorvane-cli: Error: The print template has no photo spot: a page needs an \"Image\" "
            "element.\n\nFile: " +
                (dir_ / "broken.qvoprnt").string() + "\n");
  const auto unknown = RunCli({"print", album, pdf.string(), "--template", "Nothing Like It"});
  EXPECT_EQ(unknown.exit_code, 1);
  EXPECT_EQ(unknown.err, "quorvane-cli: Error: File not found.\n\nFile: Nothing Like It\n");
  EXPECT_FALSE(fs::exists(pdf));

  EXPECT_EQ(RunCli({"print", album}).exit_code, 2);
  EXPECT_EQ(RunCli({"print", album, pdf.string(), "--paper", "A4"}).exit_code, 2);
  const auto missing = RunCli({"print", (dir_ / "no-album").string(), pdf.string()});
  EXPECT_EQ(missing.exit_code, 1);
  EXPECT_FALSE(fs::exists(pdf));
}

}  // namespace
}  // namespace quorvane
