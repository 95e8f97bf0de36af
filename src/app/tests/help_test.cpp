// The Help menu and what a start shows: tips that cycle and are remembered, the first start's
// quick-start wizard making a real album with photos, the About box and release notes, and the
// update check against a loopback web server that answers, or never does. Each window is kept
// as a picture under artefacts/help for people to look at.
#include <QAbstractButton>
#include <QCheckBox>
#include <QDir>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTextBrowser>
#include <QTimer>

#include "app/album_document.h"
#include "app/command_table.h"
#include "app/help/about_dialogs.h"
#include "app/help/help_commands.h"
#include "app/help/quick_start_wizard.h"
#include "app/help/tips.h"
#include "app/help/update_check.h"
#include "app/job_runner.h"
#include "app/tests/app_test_support.h"
#include "testing/test_images.h"

namespace quorvane::app::help {
namespace {

void KeepPicture(QWidget* window, const QString& name) {
  QDir().mkpath(QUORVANE_ARTEFACT_DIR "/help");
  EXPECT_TRUE(window->grab().save(QString(QUORVANE_ARTEFACT_DIR "/help/") + name + ".png"));
}

TEST(Tips, ReadThroughTheXmlModelAndTheProgramShipsEnough) {
  const std::vector<std::string> tips = ReadTips(
      "<?xml version=\"1.0\"?><Tips><Tip>  Press\n   Ctrl+N &amp; go  </Tip>"
      "<Tip></Tip><Tip>Drag &lt;photos&gt;</Tip><Other>not a tip</Other></Tips>");
  EXPECT_EQ(tips, (std::vector<std::string>{"Press Ctrl+N & go", "Drag <photos>"}));
  const std::vector<std::string> shipped = LoadTips();
  EXPECT_GE(shipped.size(), 20u);
  EXPECT_LE(shipped.size(), 30u);
  for (const std::string& tip : shipped) EXPECT_GT(tip.size(), 40u) << tip;
}

TEST(UpdateCheck, VersionsCompareByPartAndTheStateGatesOneCheckADay) {
  struct Case {
    const char* a;
    const char* b;
    int order;
  };
  for (const Case& c : {Case{"1.10", "1.9", 1}, Case{"1.2", "1.2.0", 0}, Case{"2", "1.99.99", 1},
                        Case{"0.1.0", "0.1.1", -1}, Case{" 3.0.0.1\n", "3", 1}}) {
    std::vector<int> a, b;
    ASSERT_TRUE(ParseVersion(c.a, &a) && ParseVersion(c.b, &b)) << c.a << " " << c.b;
    EXPECT_EQ(CompareVersions(a, b), c.order) << c.a << " vs " << c.b;
    EXPECT_EQ(VersionNumber(a) <=> VersionNumber(b), c.order <=> 0) << c.a << " vs " << c.b;
  }
  std::vector<int> parts;
  for (const char* bad : {"", "1..2", "v1.2", "1.2-beta", "1.-2", "1.2.3.4.5.6.7"}) {
    EXPECT_FALSE(ParseVersion(bad, &parts)) << bad;
  }

  settings::Settings values;
  EXPECT_FALSE(UpdateCheckDue(values, 46000.0)) << "off unless turned on";
  values.options["options.updatecheck.enable"] = int32_t{1};
  EXPECT_FALSE(UpdateCheckDue(values, 46000.0)) << "no address";
  values.options["options.updatecheck.url"] = std::string("http://127.0.0.1:1/v.txt");
  EXPECT_TRUE(UpdateCheckDue(values, 46000.0));
  values.app_updatecheck = FormatUpdateCheckState({46000.25, 1002003000.0, 1});
  EXPECT_EQ(*values.app_updatecheck, "46000.250000,1002003000.000000,1");
  EXPECT_FALSE(UpdateCheckDue(values, 46001.0));
  EXPECT_TRUE(UpdateCheckDue(values, 46001.25));
  values.app_updatecheck = "46000.250000,0.000000,0";  // the server was not reached
  EXPECT_TRUE(UpdateCheckDue(values, 46000.5));
  values.app_updatecheck = "garbage";
  EXPECT_TRUE(UpdateCheckDue(values, 46000.5));
}

class HelpFrame : public FrameTest {
 protected:
  template <typename Window>
  Window* Open(int command) {
    frame_->RunCommand(command);
    Window* window = frame_->findChild<Window*>();
    EXPECT_TRUE(window && window->isVisible());
    return window;
  }
};

TEST_F(HelpFrame, TipsCycleWrapAndTheLastShownIsKept) {
  const int count = static_cast<int>(LoadTips().size());
  user_.settings.app_lasttipshown = count - 2;
  auto* tips = Open<TipDialog>(kCmdTipOfTheDay);
  ASSERT_TRUE(tips);
  EXPECT_EQ(tips->current(), count - 1);
  EXPECT_EQ(tips->tip_text().toStdString(), LoadTips().back());
  KeepPicture(tips, "tip_of_the_day");
  tips->next_button()->click();
  EXPECT_EQ(tips->current(), 0) << "wraps to the first";
  EXPECT_EQ(LoadSettings().settings.app_lasttipshown, 0);
  ASSERT_TRUE(tips->show_at_start_box()->isChecked());
  tips->show_at_start_box()->click();
  EXPECT_FALSE(ShowTipsAtStart(LoadSettings().settings));
  // A second request brings the same window forward.
  frame_->RunCommand(kCmdTipOfTheDay);
  EXPECT_EQ(frame_->findChildren<TipDialog*>().size(), 1);
}

TEST_F(HelpFrame, AStartOffersTheQuickStartFirstThenTipsUnlessTurnedOff) {
  ASSERT_TRUE(IsFirstStart(user_));
  StartHelpAtLaunch(frame_.get(), 60000);
  ASSERT_EVENTUALLY(frame_->findChild<QuickStartWizard*>());
  EXPECT_FALSE(frame_->findChild<TipDialog*>());
  EXPECT_EQ(LoadSettings().settings.app_lastrunver, ProgramVersion().toStdString());
  delete frame_->findChild<QuickStartWizard*>();

  // Every later start shows the tip after the one shown last.
  user_.settings.app_lasttipshown = 4;
  StartHelpAtLaunch(frame_.get(), 60000);
  ASSERT_EVENTUALLY(frame_->findChild<TipDialog*>());
  EXPECT_EQ(frame_->findChild<TipDialog*>()->current(), 5);
  EXPECT_FALSE(frame_->findChild<QuickStartWizard*>());
  delete frame_->findChild<TipDialog*>();

  user_.settings.options["options.tips.showatstartup"] = int32_t{0};
  StartHelpAtLaunch(frame_.get(), 60000);
  WaitUntil([] { return false; }, 200);
  EXPECT_FALSE(frame_->findChild<TipDialog*>());
}

TEST_F(HelpFrame, QuickStartMakesAnAlbumWithPhotosInTheChosenLibrary) {
  const std::filesystem::path pictures = dir_ / "camera";
  for (const char* name : {"img10.jpg", "img2.jpg", "img1.jpg"}) {
    std::filesystem::create_directories(pictures);
    ASSERT_TRUE(image::testing::Quadrants(96, 64).Save(pictures / name, image::ImageFormat::kJpeg));
  }
  testing::WriteTextFile(pictures / "notes.txt", "not a photo");

  auto* wizard = Open<QuickStartWizard>(kCmdQuickStart);
  ASSERT_TRUE(wizard);
  KeepPicture(wizard, "quick_start_1_welcome");
  wizard->next();
  EXPECT_EQ(wizard->library_edit()->text().toStdString(), user_.settings.myphotoalbums_path);
  const std::filesystem::path library = dir_ / "Albums elsewhere";
  wizard->SetLibraryFolder(QString::fromStdString(library.string()));
  EXPECT_TRUE(std::filesystem::is_directory(library));
  EXPECT_EQ(LoadSettings().settings.myphotoalbums_path, library.string());
  KeepPicture(wizard, "quick_start_2_library");
  wizard->next();
  ASSERT_EQ(wizard->currentId(), QuickStartWizard::kAlbumPage);
  EXPECT_FALSE(wizard->button(QWizard::NextButton)->isEnabled()) << "an album needs a name";
  wizard->name_edit()->setText("Beach Day");
  KeepPicture(wizard, "quick_start_3_album");
  wizard->next();
  ASSERT_EVENTUALLY_EQ(wizard->currentId(), int{QuickStartWizard::kPhotosPage});
  const std::filesystem::path folder = library / "Beach Day";
  EXPECT_EQ(wizard->album_location().toStdString(), folder.string());

  wizard->AddPhotoFolder(QString::fromStdString(pictures.string()));
  wizard->AddPhotoFiles({QString::fromStdString((pictures / "img2.jpg").string())});
  ASSERT_EQ(wizard->photo_list()->count(), 3) << "photos only, each once";
  EXPECT_EQ(wizard->photo_list()->item(1)->text(), "img2.jpg") << "in the order names read";
  KeepPicture(wizard, "quick_start_4_photos");
  wizard->button(QWizard::FinishButton)->click();

  // Added on the worker, then saved: the album reads back from its folder with the photos.
  ASSERT_EVENTUALLY_WITHIN(
      frame_->current_document() && frame_->current_document()->album().photos().size() == 3 &&
          !frame_->current_document()->album().modified() && !frame_->job_runner()->busy(),
      15000);
  frame_->RunCommand(kCmdCloseAll);
  ASSERT_EQ(frame_->document_count(), 0);
  FrameTest::Open(folder);
  EXPECT_EQ(frame_->current_document()->album().photos().size(), 3u);
}

TEST_F(HelpFrame, AboutBoxAndReleaseNotesNameThisVersion) {
  auto* about = Open<AboutBox>(kCmdAbout);
  ASSERT_TRUE(about);
  for (const char* credit : {"Qt", "libvips", "libzip", "zlib", "licence"}) {
    EXPECT_TRUE(about->text().contains(credit)) << credit;
  }
  KeepPicture(about, "about");
  auto* notes = Open<ReleaseNotesDialog>(kCmdReleaseNotes);
  ASSERT_TRUE(notes);
  EXPECT_TRUE(notes->browser()->toPlainText().startsWith("Quorvane " + ProgramVersion()));
}

// A web server on loopback that serves one version file, or takes requests and never answers.
class VersionServer : public QTcpServer {
 public:
  explicit VersionServer(QByteArray body, bool answers = true) {
    EXPECT_TRUE(listen(QHostAddress::LocalHost));
    connect(this, &QTcpServer::newConnection, this, [this, body, answers] {
      QTcpSocket* socket = nextPendingConnection();
      ++connections;
      connect(socket, &QTcpSocket::readyRead, socket, [socket, body, answers] {
        if (!socket->readAll().contains("GET /version.txt") || !answers) return;
        socket->write("HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: " +
                      QByteArray::number(body.size()) + "\r\nConnection: close\r\n\r\n" + body);
        socket->disconnectFromHost();
      });
    });
  }
  QString url() const { return QString("http://127.0.0.1:%1/version.txt").arg(serverPort()); }
  int connections = 0;
};

class UpdateCheckFrame : public HelpFrame {
 protected:
  UpdateChecker* Start(const VersionServer& server, bool on = true) {
    if (on) {
      user_.settings.options["options.updatecheck.enable"] = int32_t{1};
      user_.settings.options["options.updatecheck.url"] = server.url().toStdString();
    }
    UpdateChecker* checker = StartUpdateCheck(frame_.get(), 0);
    checker->set_timeout_ms(700);
    return checker;
  }
  QWidget* notice() const { return frame_->statusBar()->findChild<QWidget*>("UpdateNotice"); }
};

TEST_F(UpdateCheckFrame, ANewerVersionIsToldOnceADay) {
  VersionServer server("99.0.1\nhttps://example.org/get\n");
  QSignalSpy newer(Start(server), &UpdateChecker::NewerVersion);
  ASSERT_EVENTUALLY(notice());
  ASSERT_EQ(newer.count(), 1);
  EXPECT_EQ(newer[0][0].toString(), "99.0.1");
  EXPECT_TRUE(notice()->findChild<QLabel*>()->text().contains("https://example.org/get"));
  const auto state = ParseUpdateCheckState(LoadSettings().settings.app_updatecheck.value_or(""));
  ASSERT_TRUE(state);
  EXPECT_EQ(state->seen_version, 99000001000.0);
  EXPECT_EQ(state->answered, 1);
  // Later the same day no request goes out; a day later one does.
  auto* checker = frame_->findChild<UpdateChecker*>();
  EXPECT_FALSE(checker->StartIfDue(state->last_check + 0.5));
  EXPECT_TRUE(checker->StartIfDue(state->last_check + 1.01));
  ASSERT_EVENTUALLY_EQ(newer.count(), 2);
  EXPECT_EQ(server.connections, 2);
}

TEST_F(UpdateCheckFrame, TheSameVersionTellsNothing) {
  VersionServer server((ProgramVersion() + ".0\n").toUtf8());
  QSignalSpy same(Start(server), &UpdateChecker::UpToDate);
  ASSERT_EVENTUALLY_EQ(same.count(), 1);
  EXPECT_FALSE(notice());
}

TEST_F(UpdateCheckFrame, AServerThatNeverAnswersTimesOutWhileTheWindowGoesOn) {
  VersionServer server("", /*answers=*/false);
  UpdateChecker* checker = Start(server);
  QSignalSpy failed(checker, &UpdateChecker::CheckFailed);
  int ticks = 0;
  QTimer ticker;
  QObject::connect(&ticker, &QTimer::timeout, [&ticks] { ++ticks; });
  ticker.start(20);
  QElapsedTimer clock;
  clock.start();
  // Unanswered, the request would wait for ever: its end at all is the time-out's doing.
  ASSERT_EVENTUALLY_EQ_WITHIN(failed.count(), 1, 30000);
  EXPECT_GE(clock.elapsed(), 600);
  EXPECT_GE(ticks, 15) << "the event loop kept turning while the request waited";
  EXPECT_EQ(server.connections, 1);
  EXPECT_FALSE(notice());
  EXPECT_EQ(ParseUpdateCheckState(*LoadSettings().settings.app_updatecheck)->answered, 0);
}

TEST_F(UpdateCheckFrame, OffByDefaultNoRequestGoesOut) {
  VersionServer server("99.0\n");
  UpdateChecker* checker = Start(server, /*on=*/false);
  WaitUntil([] { return false; }, 300);
  EXPECT_FALSE(checker->running());
  EXPECT_EQ(server.connections, 0);
  EXPECT_FALSE(LoadSettings().settings.app_updatecheck);
}

}  // namespace
}  // namespace quorvane::app::help
