// Printing from the desktop program: through Qt's printer to a PDF file (rendered back with
// pdftoppm), the print preview, cancelling, and the page set-up kept in the settings.
#include <cmath>
#include <cstdlib>

#include <gtest/gtest.h>

#include <QAction>
#include <QComboBox>
#include <QPrintDialog>
#include <QPrintPreviewDialog>
#include <QPrintPreviewWidget>
#include <QPrinter>
#include <QRadioButton>
#include <QTest>

#include "album/album.h"
#include "album/album_library.h"
#include "album/batch_operations.h"
#include "app/album_document.h"
#include "app/command_table.h"
#include "app/job_runner.h"
#include "app/printing/paper_dialog.h"
#include "app/printing/preview_photos.h"
#include "app/printing/print_commands.h"
#include "app/printing/printer_job.h"
#include "app/printing/template_chooser.h"
#include "app/tests/app_test_support.h"
#include "image/image.h"
#include "print/print_job.h"
#include "settings/user_folders.h"
#include "testing/temp_dir.h"

namespace quorvane::app {
namespace {

namespace fs = std::filesystem;
using printing::PrintCommands;

constexpr image::Rgba kColors[] = {{220, 30, 30, 255},  {30, 180, 40, 255},  {30, 50, 220, 255},
                                   {240, 220, 20, 255}, {200, 40, 200, 255}, {20, 200, 210, 255}};
const image::Rgba kSpotFill = {241, 241, 241, 255};  // the contact sheet's spots

bool Near(image::Rgba a, image::Rgba b) {
  return std::abs(a.r - b.r) < 40 && std::abs(a.g - b.g) < 40 && std::abs(a.b - b.b) < 40;
}

fs::path ArtefactFolder() { return fs::path(QUORVANE_ARTEFACT_DIR) / "print"; }

class PrintTest : public FrameTest {
 protected:
  void SetUp() override {
    FrameTest::SetUp();
    // The built-in templates, installed in the user's data folder.
    const fs::path installed =
        settings::FindUserFolders(settings::ProcessEnvironment()).data / "PrintTemplates";
    fs::create_directories(installed);
    fs::copy(testing::TestDataPath("..") / "print-templates", installed,
             fs::copy_options::recursive);
    user_.settings.print_template_path =
        (installed / "contact-sheet" / "contact-sheet.qvoprnt").string();
    commands_ = frame_->print_commands();
  }

  // Opens an album of `count` solid-colour photos, landscape and portrait by turns.
  album::Album& OpenColours(int count) {
    values_.name = "Colours";
    fs::path folder;
    std::string error;
    auto made = album::CreateAlbum(dir_ / "library", values_, &folder, &error);
    EXPECT_TRUE(made) << error;
    std::vector<fs::path> files;
    for (int i = 0; i < count; ++i) {
      image::Image picture;
      const bool portrait = i % 2 == 1;
      EXPECT_TRUE(picture.Create(portrait ? 90 : 120, portrait ? 120 : 90, false, kColors[i % 6]));
      files.push_back(dir_ / ("c" + std::to_string(i) + ".jpg"));
      EXPECT_TRUE(picture.Save(files.back(), image::ImageFormat::kJpeg));
    }
    EXPECT_EQ(album::AddImages(*made, files, -1, platform::NoProgress()).done, count);
    EXPECT_TRUE(album::SaveAlbum(*made));
    Open(folder);
    return frame_->current_document()->album();
  }

  // Sends the session's printer to `pdf`.
  QPrinter* PrintTo(const fs::path& pdf) {
    QPrinter* printer = commands_->printer();
    printer->setOutputFormat(QPrinter::PdfFormat);
    printer->setOutputFileName(QString::fromStdString(pdf.string()));
    return printer;
  }

  album::NewAlbumValues values_;
  PrintCommands* commands_ = nullptr;
};

TEST_F(PrintTest, ContactSheetPrintedThroughQtPlacesEachPhotoWhereTheLayoutSays) {
  EXPECT_FALSE(frame_->action(kCmdPrint)->isEnabled());  // no album yet
  album::Album& colours = OpenColours(6);
  for (int id : {kCmdPrintPreview, kCmdPrint, kCmdPrintSetup}) {
    EXPECT_TRUE(frame_->action(id)->isEnabled()) << id;
  }
  const fs::path pdf = dir_ / "sheet.pdf";
  QPrinter* printer = PrintTo(pdf);
  ASSERT_TRUE(commands_->Print(colours));
  EXPECT_FALSE(frame_->action(kCmdPrint)->isEnabled());  // while the job runs
  ASSERT_EVENTUALLY_WITHIN(!frame_->job_runner()->busy(), 30000);
  ASSERT_TRUE(fs::exists(pdf));

  const auto pages = printing::LayOutForPrinter(*printer, *commands_->print_template(),
                                                printing::TakePrintAlbum(colours));
  ASSERT_EQ(pages.size(), 1u);
  ASSERT_EQ(pages[0].photos.size(), 6u);
  // At 72 dpi a pixel is a point.
  const fs::path prefix = dir_ / "render";
  const std::string command =
      "pdftoppm -r 72 -png -singlefile '" + pdf.string() + "' '" + prefix.string() + "'";
  ASSERT_EQ(std::system(command.c_str()), 0) << command;
  image::Image png;
  ASSERT_TRUE(png.Load(prefix.string() + ".png")) << png.last_error();
  fs::create_directories(ArtefactFolder());
  fs::copy_file(prefix.string() + ".png", ArtefactFolder() / "contact_sheet.png",
                fs::copy_options::overwrite_existing);
  ASSERT_NEAR(png.width(), pages[0].size.width, 1);
  ASSERT_NEAR(png.height(), pages[0].size.height, 1);
  const auto at = [&](double x, double y) {
    return png.GetPixel(static_cast<int>(std::lround(x)), static_cast<int>(std::lround(y)));
  };
  for (const print::PlacedPhoto& placed : pages[0].photos) {
    const print::Rect& r = placed.placed;
    const double cx = r.left + r.width / 2;
    const double cy = r.top + r.height / 2;
    // Just inside each edge the photo's colour, just outside the spot's pale background.
    for (const auto& [x, y] : {std::pair{cx, cy},
                               {r.left + 3, cy},
                               {r.right() - 3, cy},
                               {cx, r.top + 3},
                               {cx, r.bottom() - 3}}) {
      EXPECT_TRUE(Near(at(x, y), kColors[placed.photo])) << placed.photo << " at " << x << "," << y;
    }
    for (const auto& [x, y] :
         {std::pair{r.left - 2, cy}, {r.right() + 2, cy}, {cx, r.top - 2}, {cx, r.bottom() + 2}}) {
      EXPECT_TRUE(Near(at(x, y), kSpotFill)) << placed.photo << " at " << x << "," << y;
    }
  }
}

TEST_F(PrintTest, CancelledPrintLeavesTheEarlierPdfAsItWas) {
  album::Album& colours = OpenColours(40);
  const fs::path pdf = dir_ / "out" / "sheet.pdf";
  fs::create_directories(pdf.parent_path());
  testing::WriteTextFile(pdf, "an earlier print");
  PrintTo(pdf);
  ASSERT_TRUE(commands_->Print(colours));
  frame_->job_runner()->Cancel();
  ASSERT_EVENTUALLY_WITHIN(!frame_->job_runner()->busy(), 30000);
  EXPECT_EQ(testing::ReadTextFile(pdf), "an earlier print");
  EXPECT_EQ(std::distance(fs::directory_iterator(pdf.parent_path()), {}), 1);
}

TEST_F(PrintTest, PreviewShowsEveryPageAndFollowsTheChosenTemplate) {
  album::Album& colours = OpenColours(25);
  frame_->RunCommand(kCmdPrintPreview);
  QPrintPreviewDialog* preview = commands_->preview_dialog();
  ASSERT_NE(preview, nullptr);
  auto* pages = preview->findChild<QPrintPreviewWidget*>();
  auto* photos = preview->findChild<printing::PreviewPhotos*>();
  ASSERT_TRUE(pages && photos);
  ASSERT_EVENTUALLY_EQ(pages->pageCount(), 2);  // twenty photos on each contact sheet
  // The photos arrive from the workers, and the pages are drawn again with them.
  ASSERT_EVENTUALLY_WITHIN(!photos->busy(), 30000);
  QTest::qWait(400);
  preview->resize(1000, 760);
  fs::create_directories(ArtefactFolder());
  EXPECT_TRUE(preview->grab().save(
      QString::fromStdString((ArtefactFolder() / "print_preview.png").string())));

  auto* chooser = preview->findChild<printing::TemplateChooser*>();
  ASSERT_NE(chooser, nullptr);
  const int one_per_page = chooser->findText("One Photo per Page");
  ASSERT_GE(one_per_page, 0);
  chooser->setCurrentIndex(one_per_page);
  emit chooser->activated(one_per_page);
  ASSERT_EVENTUALLY_EQ(pages->pageCount(), 25);
  EXPECT_EQ(LoadSettings().settings.print_template_path, chooser->path().toStdString());

  // The preview's Print button prints once the preview has closed, as a job.
  const fs::path pdf = dir_ / "from-preview.pdf";
  PrintTo(pdf);
  pages->print();
  preview->accept();
  ASSERT_EVENTUALLY(frame_->job_runner()->busy() || fs::exists(pdf));
  ASSERT_EVENTUALLY_WITHIN(!frame_->job_runner()->busy(), 30000);
  const std::string info = "pdfinfo '" + pdf.string() + "' | grep -q '^Pages: *25$'";
  EXPECT_EQ(std::system(info.c_str()), 0) << info;
  (void)colours;
}

TEST_F(PrintTest, PrintSetupIsKeptForTheSessionAndInPrintFlags) {
  album::Album& colours = OpenColours(2);
  ASSERT_NE(commands_->print_template(), nullptr);
  QPrinter* printer = PrintTo(dir_ / "setup.pdf");
  EXPECT_EQ(printer->pageLayout().pageSize().id(), QPageSize::A4);  // the template's paper
  // Without a system printer, the set-up offers the paper for PDF files.
  frame_->RunCommand(kCmdPrintSetup);
  printing::PaperDialog* setup = nullptr;
  ASSERT_EVENTUALLY((setup = frame_->findChild<printing::PaperDialog*>()) != nullptr);
  setup->paper()->setCurrentIndex(setup->paper()->findText(QPageSize::name(QPageSize::Letter)));
  setup->landscape()->setChecked(true);
  setup->accept();
  EXPECT_EQ(LoadSettings().settings.print_flags,
            printing::kPrintInColor | printing::kPrintLandscape);
  // The next print lays the album out on the paper set up.
  const auto page = printing::PrinterPage(*commands_->printer());
  EXPECT_NEAR(page.width, 792, 1);
  EXPECT_NEAR(page.height, 612, 1);

  // The print dialog offers the template on a page of its own.
  frame_->RunCommand(kCmdPrint);
  QPrintDialog* dialog = nullptr;
  ASSERT_EVENTUALLY((dialog = frame_->findChild<QPrintDialog*>()) != nullptr);
  auto* chooser = dialog->findChild<printing::TemplateChooser*>();
  ASSERT_NE(chooser, nullptr);
  EXPECT_EQ(chooser->currentText(), "Contact Sheet");
  dialog->reject();
  (void)colours;
}

}  // namespace
}  // namespace quorvane::app
