// The web albums of the built-in designs, checked by an HTML5 validator (html-validate) and
// opened in headless Chromium by browser/check_album.mjs (playwright-core); both installed by
// scripts/setup.sh. Screenshots of every design are kept in the build tree
// (QUORVANE_BROWSER_ARTEFACTS) for people to look at.
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "cli_test_fixture.h"
#include "image/image.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;
using testing::RunCli;

constexpr int kPhotos = 14;

fs::path NodeFolder() {
  if (const char* dir = std::getenv("QUORVANE_NODE_DIR"); dir != nullptr && *dir != '\0')
    return dir;
  if (const char* cache = std::getenv("XDG_CACHE_HOME"); cache != nullptr && *cache != '\0') {
    return fs::path(cache) / "quorvane/node";
  }
  const char* home = std::getenv("HOME");
  return fs::path(home != nullptr ? home : ".") / ".cache/quorvane/node";
}

// Runs a shell command; its exit status, with stdout and stderr in *output.
int RunShell(const std::string& command, std::string* output) {
  FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return -1;
  char buffer[4096];
  while (size_t got = fread(buffer, 1, sizeof buffer, pipe)) output->append(buffer, got);
  return pclose(pipe);
}

class CliWebBrowserTest : public testing::CliTest,
                          public ::testing::WithParamInterface<const char*> {
 protected:
  // Read before the fixture points HOME into the test's folder.
  static void SetUpTestSuite() { node_folder_ = NodeFolder(); }
  static inline fs::path node_folder_;
};

TEST_P(CliWebBrowserTest, EveryPageIsValidAndEveryLinkAndImageResolves) {
  const fs::path validator = node_folder_ / "node_modules/html-validate/bin/html-validate.mjs";
  ASSERT_TRUE(fs::exists(validator) && fs::exists(node_folder_ / "node_modules/playwright-core"))
      << "html-validate or playwright-core is missing from " << node_folder_
      << ": run scripts/setup.sh";

  const fs::path album = dir_ / "album";
  ASSERT_EQ(RunCli({"album", "create", album.string(), "--title", "Coast walk"}).exit_code, 0);
  std::vector<std::string> add = {"album", "add", album.string()};
  for (int i = 0; i < kPhotos; ++i) {
    image::Image picture;
    const bool tall = i % 4 == 3;
    ASSERT_TRUE(picture.Create(tall ? 900 : 1200, tall ? 1200 : 900, false,
                               {static_cast<uint8_t>(40 + 13 * i), static_cast<uint8_t>(90 + 7 * i),
                                static_cast<uint8_t>(160 - 9 * i), 255}));
    ASSERT_TRUE(
        picture.DrawCenteredText("Photo " + std::to_string(i + 1), {255, 255, 255, 255}, 120));
    const fs::path file =
        dir_ / ("Shore " + std::to_string(i + 1) + (i % 5 == 2 ? ".png" : ".jpg"));
    ASSERT_TRUE(
        picture.Save(file, i % 5 == 2 ? image::ImageFormat::kPng : image::ImageFormat::kJpeg));
    add.push_back(file.string());
  }
  const auto added = RunCli(add);
  ASSERT_EQ(added.exit_code, 0) << added.err;

  const std::string design = GetParam();
  const fs::path out = dir_ / "web";
  const auto built = RunCli({"web", "build", album.string(), out.string(), "--template", design});
  ASSERT_EQ(built.exit_code, 0) << built.err;

  std::string report;
  EXPECT_EQ(RunShell("node '" + validator.string() + "' --config '" +
                         QUORVANE_HTML_VALIDATE_CONFIG + "' '" + out.string() + "'/*.html",
                     &report),
            0)
      << report;

  const fs::path chromium = "/usr/bin/chromium";
  if (!fs::exists(chromium)) GTEST_SKIP() << "no browser at " << chromium << "; not opened";
  const fs::path artefacts = QUORVANE_BROWSER_ARTEFACTS;
  fs::create_directories(artefacts);
  std::string output;
  EXPECT_EQ(
      RunShell("QUORVANE_NODE_DIR='" + node_folder_.string() + "' node '" +
                   QUORVANE_BROWSER_SCRIPT + "' '" + chromium.string() + "' '" + out.string() +
                   "' " + std::to_string(kPhotos) + " '" + (artefacts / design).string() + "'",
               &output),
      0)
      << output;
  EXPECT_TRUE(fs::exists(artefacts / (design + "-index.png")));
  EXPECT_TRUE(fs::exists(artefacts / (design + "-photo.png")));
}

INSTANTIATE_TEST_SUITE_P(Designs, CliWebBrowserTest,
                         ::testing::Values("classic", "modern", "dark"));

}  // namespace
}  // namespace quorvane
