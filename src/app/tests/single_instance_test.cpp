#include "app/single_instance.h"

#include <future>

#include <gtest/gtest.h>

#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include "app/tests/app_test_support.h"
#include "settings/layout.h"
#include "testing/temp_dir.h"

namespace quorvane::app {
namespace {

class SingleInstance : public AppTest {};

TEST_F(SingleInstance, HandOverCarriesTheCopyDataBlock) {
  const QByteArray path = HandOverMessage(std::string("/a b"));
  EXPECT_EQ(path, QByteArray("\0\0\0\0\5\0\0\0/a b\0", 13));
  EXPECT_EQ(HandOverMessage(std::nullopt), QByteArray(8, '\0'));
}

TEST_F(SingleInstance, ServerReceivesPathsAndBareActivations) {
  const QString name = InstanceSocketName();
  InstanceServer server;
  ASSERT_TRUE(server.Listen(name));
  QSignalSpy opened(&server, &InstanceServer::OpenRequested);
  QSignalSpy activated(&server, &InstanceServer::ActivateRequested);
  // The client blocks until the server answers, so it runs beside the event loop.
  auto client = std::async(std::launch::async, [&] {
    return HandOverToRunningInstance(name, std::string("/albums/Trip ä"));
  });
  ASSERT_EVENTUALLY_EQ(opened.count(), 1);
  EXPECT_EQ(opened[0][0].toString(), QString("/albums/Trip ä"));
  EXPECT_TRUE(client.get());
  client =
      std::async(std::launch::async, [&] { return HandOverToRunningInstance(name, std::nullopt); });
  ASSERT_EVENTUALLY_EQ(activated.count(), 1);
  EXPECT_TRUE(client.get());
  EXPECT_EQ(opened.count(), 1);

  // While this instance listens, no other may take the name.
  InstanceServer second;
  EXPECT_FALSE(second.Listen(name));
}

TEST_F(SingleInstance, ASocketLeftByACrashDoesNotBlockTheNextStart) {
  const QString name = InstanceSocketName();
  testing::WriteTextFile(name.toStdString(), "");
  EXPECT_FALSE(HandOverToRunningInstance(name, std::nullopt, 200));
  InstanceServer server;
  EXPECT_TRUE(server.Listen(name));
}

TEST_F(SingleInstance, ASecondProgramHandsItsAlbumToTheFirstAndEnds) {
  const std::filesystem::path album = MakeAlbum(dir_ / "library", "Handed Over", 1);
  QProcess first;
  first.setProgram(ProgramPath());
  first.setProcessChannelMode(QProcess::ForwardedErrorChannel);
  first.start();
  ASSERT_TRUE(first.waitForStarted());
  // Up once it answers a bare hand-over.
  const QString name = InstanceSocketName();
  ASSERT_EVENTUALLY_WITHIN(HandOverToRunningInstance(name, std::nullopt, 500), 30000);

  QProcess second;
  second.start(ProgramPath(), {QString::fromStdString(album.string())});
  ASSERT_TRUE(second.waitForFinished(30000));
  EXPECT_EQ(second.exitStatus(), QProcess::NormalExit);
  EXPECT_EQ(second.exitCode(), 0);

  // The first program opened it: it leads the recent albums it keeps in the settings.
  auto recent = [this] {
    settings::UserSettings user = LoadSettings();
    return settings::LoadRecentDocuments(*user.backend);
  };
  ASSERT_EVENTUALLY_WITHIN(!recent().empty(), 30000);
  EXPECT_EQ(recent().front(), album.string());
  first.terminate();
  EXPECT_TRUE(first.waitForFinished(30000));
}

}  // namespace
}  // namespace quorvane::app
