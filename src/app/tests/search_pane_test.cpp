#include "app/search_pane.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QLineEdit>
#include <QListView>
#include <QMimeData>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

#include "album/album.h"
#include "album/album_index.h"
#include "album/folder_store.h"
#include "album/photo_operations.h"
#include "app/search_pane_model.h"
#include "app/tests/app_test_support.h"

namespace quorvane::app {
namespace {

namespace fs = std::filesystem;

std::unique_ptr<album::Album> Load(const fs::path& folder) {
  auto album = std::make_unique<album::Album>(std::make_unique<album::FolderStore>(folder));
  EXPECT_TRUE(album::AlbumIndex::LoadIndex(*album));
  return album;
}

class SearchPaneTest : public AppTest {
 protected:
  void SetUp() override {
    AppTest::SetUp();
    library_ = dir_ / "albums";
    beach_ = MakeAlbum(library_, "Beach", 3);
    std::unique_ptr<album::Album> album = Load(beach_);
    album->photos()[0].title = "Sunset over the bay";
    album->photos()[1].title = "Harbour";
    album->photos()[1].keywords = "beach;Sun, sea";
    album->photos()[2].title = "Sunny side";
    album->photos()[2].description = "Breakfast";
    ASSERT_TRUE(album::SaveAlbum(*album)) << album->last_error();
    pane_ = std::make_unique<SearchPane>(SearchPaneFolders{library_, dir_ / "data"});
    pane_->resize(360, 520);
    pane_->show();
  }

  // Types `text`, ticks the boxes as told, presses Search and waits for the end.
  void Search(const QString& text, bool title, bool description, bool keywords) {
    pane_->look_for()->setText(text);
    pane_->title_box()->setChecked(title);
    pane_->description_box()->setChecked(description);
    pane_->keywords_box()->setChecked(keywords);
    QSignalSpy finished(pane_.get(), &SearchPane::SearchFinished);
    QTest::mouseClick(pane_->search_button(), Qt::LeftButton);
    // Until results come back by the event loop, the pane says it is searching.
    EXPECT_EQ(pane_->search_button()->text(), "Stop");
    EXPECT_EQ(pane_->empty_text(), "Searching...");
    ASSERT_TRUE(finished.wait(30000));
    EXPECT_EQ(pane_->search_button()->text(), "Search");
  }

  std::vector<std::string> Labels() const {
    std::vector<std::string> labels;
    for (int i = 0; i < pane_->model()->rowCount(); ++i) {
      labels.push_back(pane_->model()->row(i).row.count);
    }
    return labels;
  }

  fs::path library_;
  fs::path beach_;
  std::unique_ptr<SearchPane> pane_;
};

TEST_F(SearchPaneTest, FindsPhotosInTheLibraryByWholeKeywordOrByTitle) {
  ASSERT_EQ(pane_->look_in()->count(), 1);  // no album open
  EXPECT_EQ(pane_->look_in()->itemText(0), "All My Quorvane Albums");

  Search("SUN", false, false, true);
  EXPECT_EQ(Labels(), std::vector<std::string>{"Harbour"});
  EXPECT_EQ(pane_->model()->row(0).row.path, (beach_ / "1").string());
  EXPECT_TRUE(pane_->empty_text().isEmpty());
  ASSERT_EVENTUALLY_WITHIN(!pane_->model()->row(0).thumbnail.isNull(), 30000);
  EXPECT_TRUE(pane_->model()
                  ->index(0)
                  .data(Qt::ToolTipRole)
                  .toString()
                  .startsWith("In Album: Beach<br>Type: "));

  Search("sun", true, false, true);
  EXPECT_EQ(Labels(), (std::vector<std::string>{"Sunset over the bay", "Harbour", "Sunny side"}));
  const QString shot = QString(QUORVANE_SCREENSHOT_DIR) + "/quorvane_search_pane.png";
  ASSERT_EVENTUALLY_WITHIN(!pane_->model()->row(2).thumbnail.isNull(), 30000);
  EXPECT_TRUE(pane_->grab().save(shot));
}

TEST_F(SearchPaneTest, NothingFoundSaysSoAndAnEmptyTextStartsNothing) {
  Search("zebra", true, true, true);
  EXPECT_EQ(pane_->model()->rowCount(), 0);
  EXPECT_EQ(pane_->empty_text(), "No matches found");

  pane_->look_for()->clear();
  QTest::mouseClick(pane_->search_button(), Qt::LeftButton);
  EXPECT_EQ(pane_->search_button()->text(), "Search");
  EXPECT_EQ(pane_->empty_text(), "No matches found");
}

TEST_F(SearchPaneTest, OpenAlbumsAreSearchedAsTheyAreNowWithTheirUnsavedChanges) {
  std::unique_ptr<album::Album> open = Load(beach_);
  open->photos()[1].title = "Sundown, not yet saved";
  std::unique_ptr<album::Album> untitled = Load(MakeAlbum(library_, "Other", 1));
  untitled->set_title("");
  pane_->SetOpenAlbums({{beach_.string(), open.get()}, {"elsewhere", untitled.get()}});
  ASSERT_EQ(pane_->look_in()->count(), 3);  // an album without a title gets no item
  EXPECT_EQ(pane_->look_in()->itemText(1), "All Currently Open Albums");
  EXPECT_EQ(pane_->look_in()->itemText(2), "Beach");
  pane_->look_in()->setCurrentIndex(2);

  Search("sundown", true, false, false);
  EXPECT_EQ(Labels(), std::vector<std::string>{"Sundown, not yet saved"});

  // Refilled with the same albums, the choice stays; with none open it falls back.
  pane_->SetOpenAlbums({{beach_.string(), open.get()}, {"elsewhere", untitled.get()}});
  EXPECT_EQ(pane_->look_in()->currentIndex(), 2);
  pane_->SetOpenAlbums({});
  EXPECT_EQ(pane_->look_in()->count(), 1);
  EXPECT_EQ(pane_->look_in()->currentIndex(), 0);
}

TEST_F(SearchPaneTest, ResultsLeaveAsTheirReferenceByDragAndByCopy) {
  Search("sun", true, false, false);
  ASSERT_EQ(pane_->model()->rowCount(), 2);
  const QByteArray first = QByteArray::fromStdString((beach_ / "0").string());
  const QByteArray last = QByteArray::fromStdString((beach_ / "2").string());
  std::unique_ptr<QMimeData> dragged(
      pane_->model()->mimeData({pane_->model()->index(1), pane_->model()->index(0)}));
  ASSERT_NE(dragged, nullptr);
  EXPECT_EQ(dragged->data("Quorvane_SearchResultItemRef"), first + "\n" + last);
  EXPECT_EQ(dragged->text().toUtf8(), first + "\n" + last);

  pane_->results()->setCurrentIndex(pane_->model()->index(1));
  pane_->results()->setFocus();
  QTest::keyClick(pane_->results(), Qt::Key_C, Qt::ControlModifier);
  const QMimeData* copied = QApplication::clipboard()->mimeData();
  ASSERT_NE(copied, nullptr);
  EXPECT_EQ(copied->data("Quorvane_SearchResultItemRef"), last);
}

TEST_F(SearchPaneTest, TheResultListIsKeptInItsFileAndComesBackWithItsDetails) {
  Search("sun", true, true, true);
  ASSERT_EQ(pane_->model()->rowCount(), 3);
  QString error;
  ASSERT_TRUE(pane_->SaveResults(&error)) << error.toStdString();
  const std::vector<search::SearchResultRow> saved = pane_->model()->Rows();
  std::vector<search::SearchResultRow> read;
  std::string reason;
  ASSERT_TRUE(search::LoadSearchResults(dir_ / "data" / "searchresults.xml", &read, &reason))
      << reason;
  EXPECT_EQ(read, saved);

  SearchPane again(SearchPaneFolders{library_, dir_ / "data"});
  QSignalSpy loaded(&again, &SearchPane::ResultsLoaded);
  again.LoadResults();
  ASSERT_TRUE(loaded.wait(30000));
  EXPECT_EQ(again.model()->Rows(), saved);
  // A kept row names only its album and index; the album's index gives the rest.
  ASSERT_EVENTUALLY_WITHIN(!again.model()->row(2).thumbnail.isNull(), 30000);
  EXPECT_TRUE(again.model()
                  ->index(2)
                  .data(Qt::ToolTipRole)
                  .toString()
                  .startsWith("In Album: Beach<br>Type: "));
  EXPECT_TRUE(again.model()
                  ->index(2)
                  .data(Qt::ToolTipRole)
                  .toString()
                  .endsWith("<br><br>&quot;Breakfast&quot;"));

  // Saving stops a running search first, and keeps what it had found.
  pane_->look_for()->setText("harbour");
  QTest::mouseClick(pane_->search_button(), Qt::LeftButton);
  ASSERT_TRUE(pane_->searching());
  ASSERT_TRUE(pane_->SaveResults(&error)) << error.toStdString();
  EXPECT_FALSE(pane_->searching());
  ASSERT_TRUE(search::LoadSearchResults(dir_ / "data" / "searchresults.xml", &read, &reason));
  EXPECT_EQ(read, pane_->model()->Rows());

  // A missing file leaves the list empty.
  fs::remove(dir_ / "data" / "searchresults.xml");
  SearchPane empty(SearchPaneFolders{library_, dir_ / "data"});
  QSignalSpy none(&empty, &SearchPane::ResultsLoaded);
  empty.LoadResults();
  ASSERT_TRUE(none.wait(30000));
  EXPECT_EQ(empty.model()->rowCount(), 0);
}

}  // namespace
}  // namespace quorvane::app
