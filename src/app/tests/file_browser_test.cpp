#include "app/file_browser.h"

#include <gtest/gtest.h>

#include <QFileSystemModel>
#include <QListView>
#include <QMimeData>
#include <QPixmap>
#include <QSignalSpy>
#include <QTest>
#include <QTreeView>
#include <QUrl>

#include "app/file_browser_model.h"
#include "app/tests/app_test_support.h"
#include "image/image.h"
#include "thumbnails/thumbnail_cache.h"

namespace quorvane::app {
namespace {

namespace fs = std::filesystem;

void WritePhoto(const fs::path& file, int width, int height, image::Rgba colour) {
  image::Image picture;
  ASSERT_TRUE(picture.Create(width, height, false, colour));
  ASSERT_TRUE(picture.Save(file, image::ImageFormat::kJpeg)) << picture.last_error();
}

// JPEG moves colours a little; a cell's centre is the photo's colour within that.
bool CloseTo(QColor got, image::Rgba want) {
  return std::abs(got.red() - want.r) < 12 && std::abs(got.green() - want.g) < 12 &&
         std::abs(got.blue() - want.b) < 12;
}

QColor CentreOf(const QVariant& decoration) {
  const QImage image = decoration.value<QPixmap>().toImage();
  return image.pixelColor(image.width() / 2, image.height() / 2);
}

class FileBrowserTest : public AppTest {
 protected:
  void SetUp() override {
    AppTest::SetUp();
    user_ = LoadSettings();
    folder_ = dir_ / "pictures" / "Holiday";
    fs::create_directories(folder_);
    WritePhoto(folder_ / "b_sea.jpg", 80, 60, kSea);
    WritePhoto(folder_ / "a_sand.jpg", 64, 48, kSand);
    WritePhoto(folder_ / "c_tall.png", 30, 90, kGrass);
    testing::WriteTextFile(folder_ / "notes.txt", "not a picture");
    user_.settings.filebrowser_path = folder_.string();
  }

  // A browser on the folder, once every cell has arrived.
  std::unique_ptr<FileBrowser> OpenBrowser() {
    auto browser = std::make_unique<FileBrowser>(&user_);
    browser->resize(520, 640);
    browser->show();
    QSignalSpy arrived(browser->model(), &FileBrowserModel::AllThumbnailsArrived);
    if (browser->model()->thumbnails_arrived() < 3) {
      EXPECT_TRUE(arrived.wait(30000));
    }
    return browser;
  }

  static constexpr image::Rgba kSand{220, 200, 150, 255};
  static constexpr image::Rgba kSea{30, 90, 200, 255};
  static constexpr image::Rgba kGrass{40, 160, 60, 255};
  settings::UserSettings user_;
  fs::path folder_;
};

TEST_F(FileBrowserTest, ShowsTheImagesOfTheFolderWithThumbnailsKeptInTheCache) {
  {
    std::unique_ptr<FileBrowser> browser = OpenBrowser();
    FileBrowserModel& model = *browser->model();
    ASSERT_EQ(model.rowCount(), 3);  // the text file is not a picture
    EXPECT_EQ(model.index(0).data().toString(), "a_sand.jpg");
    EXPECT_EQ(model.index(2).data().toString(), "c_tall.png");
    for (int row = 0; row < 3; ++row) EXPECT_TRUE(model.HasThumbnail(row)) << row;
    EXPECT_TRUE(CloseTo(CentreOf(model.index(0).data(Qt::DecorationRole)), kSand));
    EXPECT_TRUE(CloseTo(CentreOf(model.index(1).data(Qt::DecorationRole)), kSea));
    const QString tip = model.index(1).data(Qt::ToolTipRole).toString();
    EXPECT_TRUE(tip.startsWith("b_sea.jpg\nSize: ")) << tip.toStdString();
    EXPECT_TRUE(tip.endsWith("\nDimensions: 80 x 60")) << tip.toStdString();
    EXPECT_EQ(fs::path(browser->tree()
                           ->model()
                           ->data(browser->tree()->currentIndex(), QFileSystemModel::FilePathRole)
                           .toString()
                           .toStdString()),
              folder_);
    // The folder comes into view in the tree once the tree has read its parents.
    QTreeView* tree = browser->tree();
    ASSERT_EVENTUALLY_WITHIN(
        tree->viewport()->rect().contains(tree->visualRect(tree->currentIndex())), 30000);
    const QString shot = QString(QUORVANE_SCREENSHOT_DIR) + "/quorvane_file_browser.png";
    EXPECT_TRUE(browser->grab().save(shot));
  }
  // Closing wrote the cache's index; the next browser takes the thumbnails from it. The sand
  // photo is repainted behind the cache's back, its time put back: the old picture must show.
  thumbnails::ThumbnailCache cache;
  ASSERT_TRUE(cache.Open(user_.settings.thumbnail_cache_path));
  EXPECT_EQ(cache.size(), 3u);
  cache.Close();
  const auto stamp = fs::last_write_time(folder_ / "a_sand.jpg");
  WritePhoto(folder_ / "a_sand.jpg", 64, 48, kGrass);
  fs::last_write_time(folder_ / "a_sand.jpg", stamp);
  WritePhoto(folder_ / "b_sea.jpg", 80, 60, kGrass);  // a new time: made again

  std::unique_ptr<FileBrowser> browser = OpenBrowser();
  EXPECT_TRUE(CloseTo(CentreOf(browser->model()->index(0).data(Qt::DecorationRole)), kSand));
  EXPECT_TRUE(CloseTo(CentreOf(browser->model()->index(1).data(Qt::DecorationRole)), kGrass));
}

TEST_F(FileBrowserTest, WithoutACacheEveryThumbnailIsMadeAndTipsStillGiveTheSize) {
  testing::WriteTextFile(dir_ / "not a folder", "");
  user_.settings.thumbnail_cache_path = (dir_ / "not a folder").string();
  std::unique_ptr<FileBrowser> browser = OpenBrowser();
  ASSERT_EQ(browser->model()->rowCount(), 3);
  EXPECT_TRUE(CloseTo(CentreOf(browser->model()->index(2).data(Qt::DecorationRole)), kGrass));
  EXPECT_TRUE(browser->model()
                  ->index(2)
                  .data(Qt::ToolTipRole)
                  .toString()
                  .endsWith("\nDimensions: 30 x 90"));
}

TEST_F(FileBrowserTest, AFolderThatCannotBeReadIsToldAndShowsNothing) {
  std::unique_ptr<FileBrowser> browser = OpenBrowser();
  QSignalSpy message(browser.get(), &FileBrowser::Message);
  browser->ShowFolder(QString::fromStdString((dir_ / "gone").string()));
  ASSERT_TRUE(message.wait(30000));
  EXPECT_TRUE(message[0][0].toString().startsWith("Unable to read"))
      << message[0][0].toString().toStdString();
  EXPECT_EQ(browser->model()->rowCount(), 0);
}

TEST_F(FileBrowserTest, DraggedFilesGoOutAsUrisAndInsideInTheBrowsersFormat) {
  std::unique_ptr<FileBrowser> browser = OpenBrowser();
  FileBrowserModel& model = *browser->model();
  std::unique_ptr<QMimeData> data(model.mimeData({model.index(2), model.index(0)}));
  ASSERT_NE(data, nullptr);
  const QString sand = QString::fromStdString((folder_ / "a_sand.jpg").string());
  const QString tall = QString::fromStdString((folder_ / "c_tall.png").string());
  EXPECT_EQ(data->urls(), (QList<QUrl>{QUrl::fromLocalFile(tall), QUrl::fromLocalFile(sand)}));
  EXPECT_EQ(data->data(kFileBrowserInternalFormat), (tall + "\n" + sand).toUtf8());

  // Dropped on a folder of the tree, the files move there; one whose name is taken stays.
  const fs::path target = folder_ / "Best";
  fs::create_directories(target);
  testing::WriteTextFile(target / "c_tall.png", "already here");
  QFileSystemModel* folders = static_cast<QFileSystemModel*>(browser->tree()->model());
  const QModelIndex best = folders->index(QString::fromStdString(target.string()));
  browser->tree()->expand(best.parent());
  browser->tree()->scrollTo(best);
  ASSERT_EVENTUALLY_WITHIN(!browser->tree()->visualRect(best).isEmpty(), 30000);
  QSignalSpy done(browser.get(), &FileBrowser::MovesDone);
  const QPoint on_best = browser->tree()->visualRect(best).center();
  QDragEnterEvent enter(on_best, Qt::CopyAction | Qt::MoveAction, data.get(), Qt::LeftButton,
                        Qt::NoModifier);
  QApplication::sendEvent(browser->tree()->viewport(), &enter);
  EXPECT_TRUE(enter.isAccepted());
  QDropEvent drop(on_best, Qt::CopyAction | Qt::MoveAction, data.get(), Qt::LeftButton,
                  Qt::NoModifier);
  QApplication::sendEvent(browser->tree()->viewport(), &drop);
  EXPECT_TRUE(drop.isAccepted());
  ASSERT_TRUE(done.wait(30000));
  EXPECT_EQ(done[0][0].toStringList().size(), 1);
  EXPECT_TRUE(fs::exists(target / "a_sand.jpg"));
  EXPECT_FALSE(fs::exists(folder_ / "a_sand.jpg"));
  EXPECT_TRUE(fs::exists(folder_ / "c_tall.png"));
  EXPECT_EQ(testing::ReadTextFile(target / "c_tall.png"), "already here");
  ASSERT_EVENTUALLY_EQ_WITHIN(model.rowCount(), 2, 30000);

  // A URI list from elsewhere is not the browser's to move.
  QMimeData outside;
  outside.setUrls({QUrl::fromLocalFile(QString::fromStdString((folder_ / "b_sea.jpg").string()))});
  QDragEnterEvent foreign(on_best, Qt::MoveAction, &outside, Qt::LeftButton, Qt::NoModifier);
  QApplication::sendEvent(browser->tree()->viewport(), &foreign);
  EXPECT_FALSE(foreign.isAccepted());
}

TEST_F(FileBrowserTest, OptionsComeFromTheSettingsWithinTheirBounds) {
  settings::Settings values;
  EXPECT_EQ(FileBrowserOptionsFrom(values).cell, QSize(120, 90));
  values.options["options.filebrowser.cellwidth"] = int32_t{200};
  values.options["options.filebrowser.cellheight"] = int32_t{5000};
  values.options["options.filebrowser.exifpreview"] = int32_t{0};
  values.options["options.thumbnail.resample"] = int32_t{0};
  const FileBrowserOptions options = FileBrowserOptionsFrom(values);
  EXPECT_EQ(options.cell, QSize(200, 90));
  EXPECT_FALSE(options.use_exif_preview);
  EXPECT_EQ(options.mode, image::ResampleModeFromInt(0));
}

}  // namespace
}  // namespace quorvane::app
