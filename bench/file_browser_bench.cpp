// The file browser on a big folder, in process and offscreen: from creating the pane to the
// folder's listing, and to every cell of the first screen holding its thumbnail, with the
// thumbnail cache cold (emptied first) and warm (as the previous run left it). A measurement,
// never a test.
//   Usage: file_browser_bench PHOTOS_DIR WORK_DIR [COUNT=5000] [RUNS=3]
// WORK_DIR gets a folder of COUNT hard links to the photos (cycled), the settings and the cache.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <QApplication>
#include <QElapsedTimer>
#include <QListView>

#include "app/file_browser.h"
#include "app/file_browser_model.h"
#include "event_loop_wait.h"
#include "settings/settings.h"

namespace {

namespace fs = std::filesystem;
using quorvane::app::FileBrowser;
using quorvane::bench::Median;
using quorvane::bench::Until;

struct Times {
  double listed_ms = 0;
  double first_screen_ms = 0;
  int first_screen_cells = 0;
};

Times RunOnce(quorvane::settings::UserSettings* user) {
  Times times;
  QElapsedTimer clock;
  clock.start();
  FileBrowser browser(user);
  browser.resize(900, 760);
  browser.show();
  quorvane::app::FileBrowserModel* model = browser.model();
  if (!Until([&] { return model->rowCount() > 0; })) return times;
  times.listed_ms = static_cast<double>(clock.nsecsElapsed()) / 1e6;
  QListView* cells = browser.cells();
  auto first_screen_done = [&] {
    return quorvane::bench::CellsInSightReady(
        cells, [&](int row) { return model->HasThumbnail(row); }, &times.first_screen_cells);
  };
  if (!Until(first_screen_done)) return times;
  times.first_screen_ms = static_cast<double>(clock.nsecsElapsed()) / 1e6;
  return times;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s PHOTOS_DIR WORK_DIR [COUNT] [RUNS]\n", argv[0]);
    return 2;
  }
  const fs::path photos_dir = argv[1];
  const fs::path work = argv[2];
  const int count = argc > 3 ? std::atoi(argv[3]) : 5000;
  const int runs = argc > 4 ? std::atoi(argv[4]) : 3;
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(argc, argv);

  std::vector<fs::path> photos;
  for (const auto& entry : fs::directory_iterator(photos_dir)) {
    if (entry.path().extension() == ".jpg") photos.push_back(entry.path());
  }
  std::sort(photos.begin(), photos.end());
  if (photos.empty()) {
    std::fprintf(stderr, "no .jpg files in %s\n", photos_dir.c_str());
    return 2;
  }
  const fs::path folder = work / "folder";
  fs::remove_all(work);
  fs::create_directories(folder);
  for (int i = 0; i < count; ++i) {
    const fs::path& source = photos[static_cast<size_t>(i) % photos.size()];
    char prefix[16];
    std::snprintf(prefix, sizeof prefix, "%05d_", i);
    fs::create_hard_link(source, folder / (prefix + source.filename().string()));
  }
  for (const auto& [name, below] : {std::pair{"QUORVANE_CONFIG_DIR", "config"},
                                    {"QUORVANE_LIBRARY_DIR", "albums"},
                                    {"QUORVANE_THUMBNAIL_DIR", "cache"},
                                    {"QUORVANE_BROWSER_DIR", "folder"},
                                    {"QUORVANE_DATA_DIR", "data"}}) {
    qputenv(name, QByteArray::fromStdString((work / below).string()));
  }
  quorvane::settings::UserSettings user =
      quorvane::settings::LoadUserSettings(quorvane::settings::ProcessEnvironment());
  user.settings.filebrowser_path = folder.string();

  for (const bool warm : {false, true}) {
    std::vector<double> listed;
    std::vector<double> first;
    int cells = 0;
    for (int run = 0; run < runs; ++run) {
      if (!warm) fs::remove_all(user.settings.thumbnail_cache_path);
      if (warm && run == 0) RunOnce(&user);  // fill the cache with this screen's thumbnails
      const Times times = RunOnce(&user);
      listed.push_back(times.listed_ms);
      first.push_back(times.first_screen_ms);
      cells = times.first_screen_cells;
    }
    std::printf(
        "%s cache, %d files: listed %.0f ms, first screen (%d cells) %.0f ms (medians of %d)\n",
        warm ? "warm" : "cold", count, Median(listed), cells, Median(first), runs);
  }
  return 0;
}
