#include "app/startup.h"

#include <gtest/gtest.h>

#include <QProcess>

#include "app/tests/app_test_support.h"
#include "testing/temp_dir.h"

namespace quorvane::app {
namespace {

TEST(Startup, SwitchesTakeEitherMarkAndOnlyKnownNames) {
  EXPECT_TRUE(IsSwitch("/initialize", "initialize"));
  EXPECT_TRUE(IsSwitch("-INITIALIZE", "initialize"));
  EXPECT_FALSE(IsSwitch("--initialize", "initialize"));
  EXPECT_FALSE(IsSwitch("initialize", "initialize"));
  EXPECT_FALSE(IsSwitch("/initialized", "initialize"));

  StartupRequest request = ParseArguments({"/home/me/Trip", "/initialize"});
  EXPECT_TRUE(request.initialize);
  EXPECT_EQ(request.open, "/home/me/Trip");
  request = ParseArguments({"/home/me/A", "/home/me/B.qvo"});
  EXPECT_FALSE(request.initialize);
  EXPECT_EQ(request.open, "/home/me/B.qvo");
  EXPECT_FALSE(ParseArguments({}).open);
}

TEST(Startup, DesktopEntryQuotesTheProgramPath) {
  const std::string entry = DesktopEntryText("/opt/My Apps/q$\"v%");
  EXPECT_NE(entry.find("Exec=\"/opt/My Apps/q\\$\\\"v%%\" %f\n"), std::string::npos) << entry;
  EXPECT_NE(entry.find("MimeType=application/x-quorvane-archive;"
                       "application/x-quorvane-album-index;\n"),
            std::string::npos);
}

class Initialize : public AppTest {};

TEST_F(Initialize, RegistersTheFileTypesForTheUserAndEnds) {
  const std::filesystem::path data = dir_ / "data-home";
  QProcess program;
  QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
  env.insert("XDG_DATA_HOME", QString::fromStdString(data.string()));
  program.setProcessEnvironment(env);
  program.start(ProgramPath(), {"-initialize"});
  ASSERT_TRUE(program.waitForFinished(60000));
  EXPECT_EQ(program.exitCode(), 0) << program.readAllStandardError().toStdString();

  const std::string entry = testing::ReadTextFile(data / "applications" / "quorvane.desktop");
  EXPECT_NE(entry.find("Exec=\"" + ProgramPath().toStdString() + "\" %f"), std::string::npos);
  EXPECT_TRUE(std::filesystem::exists(data / "icons/hicolor/scalable/apps/quorvane.svg"));
  const std::string package = testing::ReadTextFile(data / "mime/packages/quorvane.xml");
  EXPECT_NE(package.find("<comment>Quorvane Archive</comment>"), std::string::npos);
  EXPECT_NE(package.find("<comment>Quorvane Album Index</comment>"), std::string::npos);
  // Where the desktop's own tool is installed, it must have understood the package.
  if (std::filesystem::exists("/usr/bin/update-mime-database")) {
    const std::string globs = testing::ReadTextFile(data / "mime" / "globs2");
    EXPECT_NE(globs.find("application/x-quorvane-archive:*.qvo"), std::string::npos) << globs;
    EXPECT_NE(globs.find("application/x-quorvane-album-index:index.quorvane"), std::string::npos);
  }
}

}  // namespace
}  // namespace quorvane::app
