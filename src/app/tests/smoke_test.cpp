// Starts the real program on a real X server (Xvfb) with an album and keeps a screenshot of
// the screen for people to look at. Runs only on the xcb platform (the CTest entry
// app_smoke_under_xvfb); elsewhere it has nothing to look at and skips.
#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QProcess>
#include <QScreen>
#include <QTest>

#include "app/single_instance.h"
#include "app/tests/app_test_support.h"
#include "settings/layout.h"

namespace quorvane::app {
namespace {

class Smoke : public AppTest {};

bool ShowsSomething(const QImage& screen) {
  const QRgb corner = screen.pixel(0, 0);
  for (int y = 0; y < screen.height(); y += 7) {
    for (int x = 0; x < screen.width(); x += 7) {
      if (screen.pixel(x, y) != corner) return true;
    }
  }
  return false;
}

TEST_F(Smoke, TheProgramShowsAnAlbumOnARealDisplay) {
  if (QGuiApplication::platformName() != "xcb") GTEST_SKIP() << "needs an X display";
  const std::filesystem::path album = MakeAlbum(dir_ / "library", "Smoke Test Album", 3);
  // The picture is of the window itself: no tip of the day over it, and no first-start wizard.
  settings::UserSettings quiet = LoadSettings();
  quiet.settings.options["options.tips.showatstartup"] = int32_t{0};
  ASSERT_TRUE(settings::SaveUserSettings(&quiet));
  QProcess program;
  program.setProcessChannelMode(QProcess::ForwardedErrorChannel);
  program.start(ProgramPath(), {QString::fromStdString(album.string())});
  ASSERT_TRUE(program.waitForStarted());
  // The album is open once the program has put it first among its recent albums.
  auto opened = [this, &album] {
    settings::UserSettings user = LoadSettings();
    const auto recent = settings::LoadRecentDocuments(*user.backend);
    return !recent.empty() && recent.front() == album.string();
  };
  ASSERT_EVENTUALLY_WITHIN(opened(), 30000);

  // Painting follows opening, and the album's thumbnails arrive from workers after that: take
  // pictures half a second apart until two in a row agree.
  QScreen* screen = QGuiApplication::primaryScreen();
  QImage previous;
  QImage shot;
  ASSERT_EVENTUALLY_WITHIN(
      (QTest::qWait(500), previous = std::exchange(shot, screen->grabWindow(0).toImage()),
       ShowsSomething(shot) && shot == previous),
      30000);
  const QString file = QString(QUORVANE_SCREENSHOT_DIR) + "/quorvane_main_window.png";
  EXPECT_TRUE(shot.save(file)) << file.toStdString();
  std::fprintf(stderr, "screenshot: %s\n", file.toUtf8().constData());

  program.terminate();
  EXPECT_TRUE(program.waitForFinished(30000));
}

}  // namespace
}  // namespace quorvane::app
