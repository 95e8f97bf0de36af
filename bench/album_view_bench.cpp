// The album view on a big album, in the real main window: from the open command to the first
// screen of thumbnails, then the window thread's longest stall while the view scrolls from top
// to bottom and jumps back (an event-loop watchdog: a 1 ms timer on the window thread whose
// longest gap between two ticks is the longest time the thread was kept from its events).
// A measurement, never a test.
//   Usage: album_view_bench PHOTOS_DIR WORK_DIR [COUNT=5000] [RUNS=5]
// WORK_DIR gets an album of COUNT photos (hard links to the photos, cycled) with their
// thumbnails beside them (made once per photo the album's way, then hard-linked), unless an
// album of that size is already there; and the settings of the runs.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <time.h>
#include <vector>

#include <QApplication>
#include <QElapsedTimer>
#include <QScrollBar>
#include <QTimer>

#include "album/album.h"
#include "album/album_index.h"
#include "album/folder_store.h"
#include "album/photo_naming.h"
#include "album/photo_operations.h"
#include "app/album_model.h"
#include "app/album_view.h"
#include "app/main_frame.h"
#include "event_loop_wait.h"
#include "settings/settings.h"

namespace {

namespace fs = std::filesystem;
using quorvane::album::Album;
using quorvane::album::FolderStore;
using quorvane::bench::Median;
using quorvane::bench::Until;

// The album of `count` photos; false when it cannot be made.
bool MakeAlbum(const std::vector<fs::path>& photos, const fs::path& work, int count,
               fs::path* made) {
  const fs::path folder = work / "album";
  *made = folder;
  {
    Album existing(std::make_unique<FolderStore>(folder));
    if (quorvane::album::AlbumIndex::LoadIndex(existing) &&
        existing.photos().size() == static_cast<size_t>(count)) {
      return true;
    }
  }
  std::fprintf(stderr, "making an album of %d photos in %s\n", count, folder.c_str());
  const fs::path seed_folder = work / "seed";
  fs::remove_all(seed_folder);
  fs::remove_all(folder);
  fs::create_directories(seed_folder);
  fs::create_directories(folder);
  Album seed(std::make_unique<FolderStore>(seed_folder));
  for (const fs::path& photo : photos) {
    if (!quorvane::album::AddImageFromDisk(seed, photo, photo.filename().string(), -1)) {
      std::fprintf(stderr, "cannot add %s: %s\n", photo.c_str(), seed.last_error().c_str());
      return false;
    }
  }
  Album album(std::make_unique<FolderStore>(folder));
  album.set_title("Five thousand");
  for (int i = 0; i < count; ++i) {
    const size_t which = static_cast<size_t>(i) % photos.size();
    quorvane::album::AlbumPhoto photo = seed.photos()[which];
    char prefix[16];
    std::snprintf(prefix, sizeof prefix, "%05d_", i);
    photo.image_file = prefix + photo.image_file;
    fs::create_hard_link(photos[which], folder / photo.image_file);
    fs::create_hard_link(
        seed_folder / quorvane::album::ThumbnailName(seed.photos()[which].image_file),
        folder / quorvane::album::ThumbnailName(photo.image_file));
    album.photos().push_back(std::move(photo));
  }
  if (!quorvane::album::AlbumIndex::SaveIndex(album)) {
    std::fprintf(stderr, "cannot save the album: %s\n", album.last_error().c_str());
    return false;
  }
  return true;
}

struct Times {
  double first_screen_ms = 0;
  int cells = 0;
  double scroll_stall_ms = 0;  // longest gap between watchdog ticks while scrolling
  double scroll_busy_ms = 0;   // the window thread's own processor time in its longest stretch
  int scroll_over_16 = 0;      // gaps longer than 16 ms
  double jump_stall_ms = 0;    // the same for a jump from the end to the middle
  double jump_busy_ms = 0;
  int scroll_steps = 0;
};

// True when every cell in view has its thumbnail; counts them in *cells.
bool FirstScreenDone(quorvane::app::AlbumView* view, int* cells) {
  const QAbstractItemModel* model = view->model();
  return quorvane::bench::CellsInSightReady(
      view, [&](int row) { return !model->index(row, 0).data(Qt::DecorationRole).isNull(); },
      cells);
}

// The window thread's processor time so far, in ms.
double ThreadCpuMs() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

// Records the longest gap between ticks of a 1 ms timer on the window thread, and how much
// of the longest gaps the thread itself spent computing: on a loaded machine a gap can be the
// system giving the processor to others, which no program can prevent.
class Watchdog {
 public:
  Watchdog() {
    timer_.setTimerType(Qt::PreciseTimer);
    timer_.setInterval(1);
    QObject::connect(&timer_, &QTimer::timeout, [this] {
      const double now = static_cast<double>(clock_.nsecsElapsed()) / 1e6;
      const double cpu = ThreadCpuMs();
      longest_ = std::max(longest_, now - last_);
      busiest_ = std::max(busiest_, cpu - last_cpu_);
      if (now - last_ > 16) ++over_16_;
      last_ = now;
      last_cpu_ = cpu;
    });
  }
  void Start() {
    clock_.start();
    last_ = 0;
    last_cpu_ = ThreadCpuMs();
    longest_ = busiest_ = 0;
    over_16_ = 0;
    timer_.start();
  }
  void Stop() { timer_.stop(); }
  double longest() const { return longest_; }  // wall time, ms
  double busiest() const { return busiest_; }  // the thread's own processor time, ms
  int over_16() const { return over_16_; }

 private:
  QTimer timer_;
  QElapsedTimer clock_;
  double last_ = 0;
  double last_cpu_ = 0;
  double longest_ = 0;
  double busiest_ = 0;
  int over_16_ = 0;
};

// Runs the event loop for `ms` at least.
void Spend(int ms) {
  QElapsedTimer spent;
  spent.start();
  Until([&] { return spent.elapsed() >= ms; });
}

Times RunOnce(quorvane::settings::UserSettings* user, const fs::path& album) {
  Times times;
  quorvane::app::MainFrame frame(user);
  frame.resize(1100, 760);
  frame.show();
  Until([&] { return frame.isVisible(); });
  QCoreApplication::processEvents();
  quorvane::app::AlbumView* view = frame.album_view();

  QElapsedTimer clock;
  clock.start();
  frame.OpenAlbum(QString::fromStdString(album.string()));
  Until([&] { return view->isVisible() && FirstScreenDone(view, &times.cells); });
  times.first_screen_ms = static_cast<double>(clock.nsecsElapsed()) / 1e6;
  int cells_later = 0;

  // Scrolls as Page Down held does: a page per frame, to the end.
  Watchdog watchdog;
  QScrollBar* bar = view->verticalScrollBar();
  const int step = std::max(1, bar->pageStep());
  bool scrolled = false;
  QTimer driver;
  driver.setInterval(16);
  QObject::connect(&driver, &QTimer::timeout, [&] {
    if (bar->value() >= bar->maximum()) {
      driver.stop();
      scrolled = true;
      return;
    }
    bar->setValue(bar->value() + step);
    ++times.scroll_steps;
  });
  watchdog.Start();
  driver.start();
  Until([&] { return scrolled; });
  Until([&] { return FirstScreenDone(view, &cells_later); });
  Spend(200);
  watchdog.Stop();
  times.scroll_stall_ms = watchdog.longest();
  times.scroll_busy_ms = watchdog.busiest();
  times.scroll_over_16 = watchdog.over_16();

  // A drag of the scroll bar's handle: the view lands among cells it never showed.
  watchdog.Start();
  bar->setValue(bar->maximum() / 2 + bar->pageStep() / 2);
  Until([&] { return FirstScreenDone(view, &cells_later); });
  Spend(200);
  watchdog.Stop();
  times.jump_stall_ms = watchdog.longest();
  times.jump_busy_ms = watchdog.busiest();
  return times;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s PHOTOS_DIR WORK_DIR [COUNT] [RUNS]\n", argv[0]);
    return 2;
  }
  const fs::path photos_dir = argv[1];
  const fs::path work = fs::absolute(argv[2]);
  const int count = argc > 3 ? std::atoi(argv[3]) : 5000;
  const int runs = argc > 4 ? std::atoi(argv[4]) : 5;
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");

  std::vector<fs::path> photos;
  for (const auto& entry : fs::directory_iterator(photos_dir)) {
    if (entry.path().extension() == ".jpg") photos.push_back(entry.path());
  }
  std::sort(photos.begin(), photos.end());
  if (photos.empty() || count < 1) {
    std::fprintf(stderr, "no .jpg files in %s\n", photos_dir.c_str());
    return 2;
  }
  fs::path album;
  if (!MakeAlbum(photos, work, count, &album)) return 1;

  for (const auto& [name, below] : {std::pair{"QUORVANE_CONFIG_DIR", "config"},
                                    {"QUORVANE_LIBRARY_DIR", "albums"},
                                    {"QUORVANE_THUMBNAIL_DIR", "cache"},
                                    {"QUORVANE_BROWSER_DIR", "browse"},
                                    {"QUORVANE_DATA_DIR", "data"},
                                    {"XDG_RUNTIME_DIR", "run"}}) {
    fs::create_directories(work / below);
    fs::permissions(work / below, fs::perms::owner_all);
    qputenv(name, QByteArray::fromStdString((work / below).string()));
  }
  QApplication application(argc, argv);
  std::vector<double> first;
  std::vector<double> scroll;
  std::vector<double> busy;
  std::vector<double> jump;
  Times last;
  for (int run = 0; run < runs; ++run) {
    fs::remove_all(work / "config");
    quorvane::settings::UserSettings user =
        quorvane::settings::LoadUserSettings(quorvane::settings::ProcessEnvironment());
    last = RunOnce(&user, album);
    first.push_back(last.first_screen_ms);
    scroll.push_back(last.scroll_stall_ms);
    busy.push_back(std::max(last.scroll_busy_ms, last.jump_busy_ms));
    jump.push_back(last.jump_stall_ms);
    std::printf(
        "run %d: first screen (%d cells) %.0f ms; scrolling (%d steps): longest stall %.1f ms "
        "(window thread computing %.1f ms of it), %d gaps over 16 ms; jump: longest stall "
        "%.1f ms (computing %.1f ms)\n",
        run + 1, last.cells, last.first_screen_ms, last.scroll_steps, last.scroll_stall_ms,
        last.scroll_busy_ms, last.scroll_over_16, last.jump_stall_ms, last.jump_busy_ms);
  }
  std::printf(
      "album of %d photos: first screen %.0f ms; longest stall scrolling %.1f ms, jumping "
      "%.1f ms; the window thread's longest computing stretch %.1f ms (medians of %d)\n",
      count, Median(first), Median(scroll), Median(jump), Median(busy), runs);
  return 0;
}
