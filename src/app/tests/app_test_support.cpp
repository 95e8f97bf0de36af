#include "app/tests/app_test_support.h"

#include <vector>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QMessageBox>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include "album/album_library.h"
#include "album/batch_operations.h"
#include "image/image.h"
#include "testing/cli_runner.h"

namespace quorvane::app {

std::filesystem::path MakeAlbum(const std::filesystem::path& library, const std::string& title,
                                int photos) {
  std::filesystem::path folder;
  std::string error;
  album::NewAlbumValues values;
  values.name = title;
  std::unique_ptr<album::Album> made = album::CreateAlbum(library, values, &folder, &error);
  EXPECT_TRUE(made) << error;
  if (!made) return {};
  std::vector<std::filesystem::path> sources;
  for (int i = 0; i < photos; ++i) {
    image::Image picture;
    const auto shade = static_cast<uint8_t>(40 + 50 * i);
    EXPECT_TRUE(picture.Create(64, 48, false, {shade, 90, static_cast<uint8_t>(200 - shade), 255}));
    // A light left edge, so flips and rotations change the picture.
    for (int y = 0; y < 48; ++y) {
      for (int x = 0; x < 16; ++x) picture.SetPixel(x, y, {250, 250, 250, 255});
    }
    sources.push_back(library / ("photo" + std::to_string(i + 1) + ".jpg"));
    EXPECT_TRUE(picture.Save(sources.back(), image::ImageFormat::kJpeg));
  }
  album::BatchResult added = album::AddImages(*made, sources, -1, platform::NoProgress());
  EXPECT_EQ(added.done, photos);
  EXPECT_TRUE(album::SaveAlbum(*made)) << made->last_error();
  for (const auto& source : sources) std::filesystem::remove(source);
  return folder;
}

QString ProgramPath() { return QString::fromUtf8(QUORVANE_APP_PATH); }

void AppTest::SetUp() {
  testing::PointUserFoldersInto(dir_.path());
  // The single-instance socket lives in the runtime folder: each test has its own.
  std::filesystem::create_directories(dir_ / "runtime");
  qputenv("XDG_RUNTIME_DIR", QByteArray::fromStdString((dir_ / "runtime").string()));
}

settings::UserSettings AppTest::LoadSettings() const {
  return settings::LoadUserSettings(settings::ProcessEnvironment());
}

void FrameTest::SetUp() {
  AppTest::SetUp();
  user_ = LoadSettings();
  frame_ = std::make_unique<MainFrame>(&user_);
  frame_->resize(900, 600);
  frame_->show();
  ASSERT_TRUE(QTest::qWaitForWindowExposed(frame_.get()));
}

void FrameTest::TearDown() {
  frame_->set_save_question([](const QString&) { return int(QMessageBox::No); });
  frame_.reset();
}

void FrameTest::Open(const std::filesystem::path& location) {
  QSignalSpy opened(frame_.get(), &MainFrame::AlbumOpened);
  frame_->OpenAlbum(QString::fromStdString(location.string()));
  ASSERT_EVENTUALLY_EQ(opened.count(), 1);
}

bool WaitUntil(const std::function<bool()>& done, int timeout_ms) {
  QDeadlineTimer deadline(timeout_ms);
  while (!done()) {
    if (deadline.hasExpired()) return false;
    QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QThread::msleep(5);
  }
  return true;
}

}  // namespace quorvane::app
