// The HTML panes: every kind of link, the pane's history, the built-in pages and their
// placeholders, the album header, and the description editors with their Undo/Redo texts.
#include "app/html_pane.h"

#include <fstream>

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QDockWidget>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QSignalSpy>
#include <QStackedWidget>
#include <QTest>

#include "album/album_index.h"
#include "album/folder_store.h"
#include "app/album_document.h"
#include "app/album_header.h"
#include "app/album_model.h"
#include "app/album_view.h"
#include "app/command_table.h"
#include "app/description_dialog.h"
#include "app/html_resources.h"
#include "app/link_router.h"
#include "app/main_frame.h"
#include "app/photo_viewer.h"
#include "app/search_pane.h"
#include "app/tests/app_test_support.h"

namespace quorvane::app {
namespace {

// What a router did, in words, in order.
class RouterLog {
 public:
  explicit RouterLog(LinkRouter* router) {
    router->set_named_commands([](const QString& name) {
      const Command* command = FindNamedCommand(name.toStdString());
      return command ? command->id : 0;
    });
    QObject::connect(router, &LinkRouter::CommandPosted,
                     [this](int id) { log_.push_back("command " + std::to_string(id)); });
    QObject::connect(router, &LinkRouter::DescriptionRequested,
                     [this] { log_.push_back("description"); });
    QObject::connect(router, &LinkRouter::NavigateRequested,
                     [this](int step) { log_.push_back("navigate " + std::to_string(step)); });
    QObject::connect(router, &LinkRouter::Failed, [this](const QString& message) {
      log_.push_back("failed: " + message.toStdString());
    });
    QObject::connect(router, &LinkRouter::PageShown, [this, router](const QString&, const QUrl&) {
      log_.push_back("page " + router->location().toStdString());
    });
  }
  std::string Take() {
    std::string all;
    for (const std::string& entry : log_) all += (all.empty() ? "" : "; ") + entry;
    log_.clear();
    return all;
  }

 private:
  std::vector<std::string> log_;
};

struct LinkCase {
  const char* name;
  const char* link;
  const char* done;
};

class Links : public ::testing::TestWithParam<LinkCase> {};

TEST_P(Links, DoWhatTheirKindSays) {
  LinkRouter router;
  RouterLog log(&router);
  // Only a link that did something says so; going back with nothing behind does nothing.
  const std::string done = GetParam().done;
  EXPECT_EQ(router.Follow(GetParam().link), !done.empty() && done.rfind("failed", 0) != 0);
  EXPECT_EQ(log.Take(), GetParam().done);
}

INSTANTIATE_TEST_SUITE_P(
    Pane, Links,
    ::testing::Values(
        LinkCase{"Properties", "properties", "command 32774"},
        LinkCase{"GalleryProperties", "gallery_properties", "command 32785"},
        LinkCase{"ShowDescription", "show_description", "description"},
        LinkCase{"NavigatePrev", "navigate:prev", "navigate -1"},
        LinkCase{"NavigateNext", "navigate:next", "navigate 1"},
        LinkCase{"NamedCommand", "command:save", "command 57603"},
        LinkCase{"LinkOnlyCommand", "command:search", "command 32950"},
        LinkCase{"CommandNamesAreExact", "command:Save", "failed: Unknown command Save"},
        LinkCase{"HomeResource", "res:home", "page res:#233"},
        LinkCase{"ResourceByNumber", "res:#233", "page res:#233"},
        LinkCase{"ResourceByName", "res:shortcuts", "page res:shortcuts"},
        LinkCase{"UnknownNumber", "res:#999", "failed: There is no page #999"},
        LinkCase{"UnknownName", "res:nonesuch", "failed: There is no page nonesuch"},
        LinkCase{"UnknownHistory", "history:sideways", "failed: Unknown link history:sideways"},
        LinkCase{"NothingBehind", "history:back", ""},
        LinkCase{"WebAddressesOpenNoBrowser", "https://example.com/",
                 "failed: Unknown link https://example.com/"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Pane, HomeByNameAndByNumberIsOnePageWithItsPlaceholdersFilled) {
  LinkRouter router;
  router.set_placeholders([] { return std::map<QString, QString>{{"VERSION", "9.8.7"}}; });
  ASSERT_TRUE(router.Follow("res:home"));
  const QString home = router.html();
  EXPECT_TRUE(home.contains("Quorvane 9.8.7"));
  EXPECT_TRUE(home.contains("face=\"" + DefaultGuiFont() + "\""));
  EXPECT_FALSE(home.contains("{DEFAULT_GUI_FONT}"));
  for (const char* link : {"command:new_album", "command:open_album", "command:my_albums",
                           "command:search", "command:web_pages", "command:send_email"}) {
    EXPECT_TRUE(home.contains(QString("href=\"%1\"").arg(link))) << link;
    EXPECT_NE(FindNamedCommand(QString(link).mid(8).toStdString()), nullptr) << link;
  }
  ASSERT_TRUE(router.Follow("res:#233"));
  EXPECT_EQ(router.html(), home);
  EXPECT_FALSE(router.CanGoBack());  // the same page again is not a step
}

TEST(Pane, HistoryGoesBackAndForwardAndANewPageDropsWhatWasAhead) {
  testing::TempDir dir;
  std::ofstream(dir.path() / "first page.html") << "<a href=\"second.html\">on</a>";
  std::ofstream(dir.path() / "second.html") << "<p>second</p>";
  LinkRouter router;
  RouterLog log(&router);
  const QString first = QString::fromStdString((dir.path() / "first page.html").string());
  ASSERT_TRUE(router.Follow("res:home"));
  ASSERT_TRUE(router.Follow("file:" + first));
  EXPECT_FALSE(router.Follow("second.html"));      // only "file:" links load files
  ASSERT_TRUE(router.Follow("file:second.html"));  // beside the file shown
  EXPECT_EQ(router.html(), "<p>second</p>");
  ASSERT_TRUE(router.Follow("file://" + QUrl::fromLocalFile(first).path()));
  EXPECT_FALSE(router.Follow("file:" + first + ".missing"));
  log.Take();

  ASSERT_TRUE(router.Follow("history:back"));
  ASSERT_TRUE(router.Follow("history:previous"));
  ASSERT_TRUE(router.Follow("history:previous"));
  EXPECT_FALSE(router.Follow("history:previous"));
  ASSERT_TRUE(router.Follow("history:forward"));
  ASSERT_TRUE(router.Follow("history:next"));
  const std::string second = "file:" + (dir.path() / "second.html").string();
  EXPECT_EQ(log.Take(), "page " + second + "; page file:" + first.toStdString() +
                            "; page res:#233; page file:" + first.toStdString() + "; page " +
                            second);
  ASSERT_TRUE(router.Follow("res:shortcuts"));
  EXPECT_FALSE(router.CanGoForward());
  ASSERT_TRUE(router.Follow("history:back"));
  EXPECT_EQ(router.location().toStdString(), second);
}

// Links reach the router as the page wrote them, from a real activation in the widget.
TEST(Pane, ActivatedLinksGoToTheRouterUnresolved) {
  HtmlPane pane;
  RouterLog log(pane.router());
  pane.show();
  for (const char* link : {"res:#233", "properties"}) {
    pane.setHtml(QString("<a href=\"%1\">link</a>").arg(link));
    pane.setFocus();
    QTest::keyClick(&pane, Qt::Key_Tab);
    QTest::keyClick(&pane, Qt::Key_Return);
  }
  EXPECT_EQ(log.Take(), "page res:#233; command 32774");
  EXPECT_FALSE(pane.back_action()->isEnabled());
  ASSERT_TRUE(pane.router()->Follow("res:shortcuts"));
  EXPECT_TRUE(pane.back_action()->isEnabled());
  pane.back_action()->trigger();
  EXPECT_EQ(pane.router()->location(), "res:#233");
  EXPECT_TRUE(pane.forward_action()->isEnabled());
}

TEST(AlbumHeader, ColourTitleSizeAndDescription) {
  AlbumHeaderValues values;
  values.title = "Rock & Roll";
  values.description = "Line one\nLine <two>";
  values.photo_count = 3;
  EXPECT_TRUE(AlbumHeaderHtml(values).startsWith("<body bgcolor=\"White\">"));
  values.background = QColor(10, 11, 200);
  values.size_bytes = 1572864;
  const QString html = AlbumHeaderHtml(values);
  EXPECT_TRUE(html.startsWith("<body bgcolor=\"#0a0bc8\">"));
  EXPECT_TRUE(html.contains("<b><font size=\"+2\">Rock &amp; Roll</font></b>"));
  EXPECT_LT(html.indexOf("Roll"), html.indexOf("href=\"gallery_properties\""));
  EXPECT_TRUE(html.contains("3 photos &middot; 1.5 MB"));
  EXPECT_TRUE(html.contains("href=\"show_description\""));
  EXPECT_FALSE(html.contains("Line one"));
  values.show_description = true;
  EXPECT_TRUE(AlbumHeaderHtml(values).contains("Line one<br>Line &lt;two&gt;"));
  EXPECT_FALSE(AlbumHeaderHtml(values).contains("show_description"));
}

class PaneFrame : public AppTest {
 protected:
  void SetUp() override {
    AppTest::SetUp();
    user_ = LoadSettings();
    frame_ = std::make_unique<MainFrame>(&user_);
    frame_->show();
    folder_ = MakeAlbum(dir_ / "library", "Trip", 2);
    QSignalSpy opened(frame_.get(), &MainFrame::AlbumOpened);
    frame_->OpenAlbum(QString::fromStdString(folder_.string()));
    ASSERT_EVENTUALLY_EQ(opened.count(), 1);
  }

  QString Undo() const { return frame_->action(kCmdUndo)->text(); }
  QString Redo() const { return frame_->action(kCmdRedo)->text(); }
  album::Album& album() const { return frame_->current_document()->album(); }

  // The description editor the frame opened, filled with `title` and `description`, accepted.
  void AcceptDescription(const QString& title, const QString& description) {
    DescriptionDialog* dialog = nullptr;
    ASSERT_EVENTUALLY((dialog = frame_->findChild<DescriptionDialog*>()) != nullptr);
    dialog->title_edit()->setText(title);
    dialog->description_edit()->setPlainText(description);
    if (dialog->keywords_edit()) dialog->keywords_edit()->setText("sea sand");
    dialog->accept();
    ASSERT_EVENTUALLY(frame_->findChild<DescriptionDialog*>() == nullptr);
  }

  settings::UserSettings user_;
  std::unique_ptr<MainFrame> frame_;
  std::filesystem::path folder_;
};

TEST_F(PaneFrame, AlbumHeaderShowsTheAlbumAndItsDescriptionOnRequest) {
  AlbumHeaderPane* header = frame_->album_header();
  const QColor base = header->palette().color(QPalette::Base);
  EXPECT_TRUE(header->html().startsWith(QString::asprintf("<body bgcolor=\"#%02x%02x%02x\">",
                                                          base.red(), base.green(), base.blue())));
  EXPECT_TRUE(header->html().contains("Trip</font></b>"));
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
    if (entry.path().extension() == ".jpg") files.push_back(entry.path());
  }
  const QString size = QString::asprintf("%.1lf MB", AlbumSizeOnDisk(files) / 1048576.0);
  ASSERT_EVENTUALLY(header->html().contains("2 photos &middot; " + size));

  frame_->RunCommand(kCmdEditAlbumDescription);
  AcceptDescription("Summer trip", "Two weeks by the sea");
  EXPECT_EQ(album().title(), "Summer trip");
  EXPECT_EQ(Undo(), "&Undo Edit Album Description");
  EXPECT_EQ(frame_->windowTitle(), "Quorvane - Summer trip *");
  ASSERT_EVENTUALLY(header->html().contains("Summer trip</font></b>"));
  EXPECT_FALSE(header->html().contains("Two weeks"));
  header->router()->Follow("show_description");
  EXPECT_TRUE(header->html().contains("Two weeks by the sea"));
  EXPECT_TRUE(frame_->action(kCmdAlbumDescription)->isChecked());
  frame_->action(kCmdAlbumDescription)->trigger();  // and the menu hides it again
  EXPECT_FALSE(header->html().contains("Two weeks by the sea"));

  frame_->RunCommand(kCmdUndo);
  EXPECT_EQ(album().title(), "Trip");
  EXPECT_EQ(album().description(), "");
  EXPECT_EQ(Redo(), "&Redo Edit Album Description");
  ASSERT_EVENTUALLY(header->html().contains("Trip</font></b>"));
  frame_->RunCommand(kCmdRedo);
  EXPECT_EQ(album().description(), "Two weeks by the sea");
}

TEST_F(PaneFrame, PhotoDescriptionFromTheHeaderLinkAndCaptionInPlaceUndoAndRedo) {
  AlbumView* view = frame_->album_view();
  // The editor commits when it loses the focus: the frame must hold it, whatever ran before.
  QApplication::setActiveWindow(frame_.get());
  view->setFocus();
  view->setCurrentIndex(frame_->album_model()->index(1));
  QTest::keyClick(view, Qt::Key_F2);
  auto* editor = view->findChild<QLineEdit*>();
  ASSERT_NE(editor, nullptr);
  // Typed while the thumbnails still arrive: they must not put the old caption back.
  editor->selectAll();
  QTest::keyClicks(editor, "Harbour");
  QTest::keyClick(editor, Qt::Key_Return);
  ASSERT_EVENTUALLY_EQ(Undo(), QString("&Undo Edit Caption"));
  EXPECT_EQ(album().photos()[1].title, "Harbour");
  ASSERT_EVENTUALLY_EQ(frame_->album_model()->index(1).data().toString(), QString("Harbour"));

  // The photo window's "properties" link edits its photo's description.
  view->setCurrentIndex(frame_->album_model()->index(1));
  QTest::keyClick(view, Qt::Key_Return);
  PhotoViewer* viewer = frame_->photo_viewer();
  ASSERT_NE(viewer, nullptr);
  ASSERT_EVENTUALLY(viewer->header().contains("Photo 2 of 2"));
  viewer->findChild<HtmlPane*>()->router()->Follow("properties");
  AcceptDescription("Harbour at dawn", "Boats");
  const album::AlbumPhoto& photo = album().photos()[1];
  EXPECT_EQ(photo.title, "Harbour at dawn");
  EXPECT_EQ(photo.keywords, "sea sand");
  EXPECT_EQ(Undo(), "&Undo Edit Description");
  frame_->RunCommand(kCmdUndo);
  EXPECT_EQ(album().photos()[1].title, "Harbour");
  EXPECT_EQ(album().photos()[1].keywords, "");
  EXPECT_EQ(Undo(), "&Undo Edit Caption");
  EXPECT_EQ(Redo(), "&Redo Edit Description");
  frame_->RunCommand(kCmdUndo);
  EXPECT_EQ(album().photos()[1].title, "");
  frame_->RunCommand(kCmdRedo);
  frame_->RunCommand(kCmdRedo);
  EXPECT_EQ(album().photos()[1].description, "Boats");
  // The header link walks the photos too.
  viewer->findChild<HtmlPane*>()->router()->Follow("navigate:prev");
  ASSERT_EVENTUALLY(viewer->header().contains("Photo 1 of 2"));
}

TEST_F(PaneFrame, HomePageMenuAndItsCommandLinks) {
  auto* stack = frame_->findChild<QStackedWidget*>();
  EXPECT_FALSE(frame_->home_shown());
  EXPECT_FALSE(frame_->action(kCmdPreviousPage)->isEnabled());
  frame_->action(kCmdHomePage)->trigger();
  EXPECT_TRUE(frame_->home_shown());
  EXPECT_EQ(stack->currentIndex(), 0);
  EXPECT_TRUE(frame_->home_pane()->router()->html().contains("One photo album is open."));

  HtmlPane* home = frame_->home_pane();
  home->router()->Follow("res:shortcuts");
  EXPECT_TRUE(frame_->action(kCmdPreviousPage)->isEnabled());
  frame_->action(kCmdPreviousPage)->trigger();
  EXPECT_EQ(home->router()->location(), "res:#233");
  frame_->action(kCmdNextPage)->trigger();
  EXPECT_EQ(home->router()->location(), "res:shortcuts");

  // Posted commands run after the click, as the menu entry would.
  frame_->findChild<SearchPane*>()->parentWidget()->hide();
  home->router()->Follow("command:search");
  ASSERT_EVENTUALLY(frame_->findChild<SearchPane*>()->isVisible());
  home->router()->Follow("command:close_album");
  ASSERT_EVENTUALLY_EQ(frame_->document_count(), 0);
  EXPECT_EQ(stack->currentIndex(), 0);
}

}  // namespace
}  // namespace quorvane::app
