// The browser's thumbnail worker on real folders: what is made, cached and remade, where the
// thumbnail sits in its cell, the order of work, and cancelling; and a folder's cells handed
// over in listing order.
#include "thumbnails/thumbnail_worker.h"

#include <atomic>
#include <condition_variable>
#include <map>
#include <mutex>

#include <gtest/gtest.h>

#include "image/image_types.h"
#include "testing/recording_progress.h"
#include "testing/temp_dir.h"
#include "thumbnails/folder_thumbnails.h"
#include "thumbnails/image_files.h"
#include "thumbnails/thumbnail_cache.h"

namespace quorvane::thumbnails {
namespace {

namespace fs = std::filesystem;
using image::Image;
using testing::TempDir;

void WritePhoto(const fs::path& path, int width, int height, image::Rgba colour) {
  Image photo;
  ASSERT_TRUE(photo.Create(width, height, false, colour));
  ASSERT_TRUE(photo.Save(path, image::ImageFormat::kJpeg));
}

// Shows the folder and collects every cell by file name.
std::map<std::string, ThumbnailCell> Show(ThumbnailWorker& worker, const fs::path& folder,
                                          int width, int height) {
  std::mutex mutex;
  std::map<std::string, ThumbnailCell> cells;
  EXPECT_TRUE(worker.ShowFolder(folder, width, height, [&](ThumbnailCell&& cell) {
    std::lock_guard lock(mutex);
    cells[cell.path.filename().string()] = std::move(cell);
  })) << worker.last_error();
  worker.Wait();
  return cells;
}

// "name:outcome" for every cell, in name order.
std::string Outcomes(const std::map<std::string, ThumbnailCell>& cells) {
  std::string text;
  for (const auto& [name, cell] : cells) {
    text += (text.empty() ? "" : " ") + name + ":" + std::string(CellOutcomeName(cell.outcome));
  }
  return text;
}

bool White(const Image& image, int x, int y) {
  return image.GetPixel(x, y) == image::Rgba{255, 255, 255, 255};
}

TEST(ImageFilesTest, ListsTheTypeTableExtensionsInAnyCase) {
  for (const char* name : {"a.jpg", "b.JPEG", "c.Bmp", "d.gif", "e.tif", "f.TIFF", "g.png", "h.tga",
                           "i.pcx", "j.ico", "x.y.JPG"}) {
    EXPECT_TRUE(image::IsImageFileName(name)) << name;
  }
  for (const char* name : {"jpg", "a.jpg.txt", "a.webp", "a.", "a.jp"}) {
    EXPECT_FALSE(image::IsImageFileName(name)) << name;
  }
  std::vector<fs::path> files;
  std::string error;
  EXPECT_FALSE(ListImageFiles("/nonexistent/folder", &files, &error));
  EXPECT_NE(error.find("Unable to read \"/nonexistent/folder\""), std::string::npos) << error;
}

class ThumbnailWorkerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(photos_);
    WritePhoto(photos_ / "a.jpg", 1600, 1200, {200, 30, 30, 255});
    WritePhoto(photos_ / "b.JPG", 400, 300, {30, 200, 30, 255});
    WritePhoto(photos_ / "small.jpg", 50, 40, {30, 30, 200, 255});
    testing::WriteTextFile(photos_ / "broken.png", "not a picture");
    testing::WriteTextFile(photos_ / "notes.txt", "not listed");
    fs::create_directories(photos_ / "sub.jpg");  // a folder: not listed
    ASSERT_TRUE(cache_.Open(dir_ / "cache"));
  }

  TempDir dir_;
  fs::path photos_ = dir_ / "photos";
  ThumbnailCache cache_;
};

TEST_F(ThumbnailWorkerTest, MakesCachesAndRemakesExactlyWhatChanged) {
  ThumbnailWorker worker(&cache_, {.threads = 2});
  auto cells = Show(worker, photos_, 120, 90);
  EXPECT_EQ(Outcomes(cells), "a.jpg:made b.JPG:made broken.png:failed small.jpg:made");
  EXPECT_FALSE(cells["broken.png"].error.empty());
  EXPECT_FALSE(cells["broken.png"].image.IsValid());

  // 1600 x 1200 fits 118 x 88 as 117 x 88, drawn at (1, 1); 50 x 40 stays whole, centred.
  const Image& a = cells["a.jpg"].image;
  ASSERT_EQ(a.width(), 120);
  ASSERT_EQ(a.height(), 90);
  EXPECT_TRUE(White(a, 0, 45) && White(a, 60, 0) && White(a, 118, 45) && White(a, 60, 89));
  EXPECT_TRUE(!White(a, 1, 1) && !White(a, 117, 88));
  const Image& small = cells["small.jpg"].image;
  EXPECT_TRUE(White(small, 34, 24) && !White(small, 35, 25));
  EXPECT_TRUE(!White(small, 84, 64) && White(small, 85, 65));
  EXPECT_EQ(cache_.Lookup((photos_ / "a.jpg").string()).value().cx, 1600);
  EXPECT_EQ(cells["a.jpg"].source_width, 1600);
  EXPECT_EQ(cells["a.jpg"].source_height, 1200);

  // Cached cells know the photo's size from the cache alone.
  cells = Show(worker, photos_, 120, 90);
  EXPECT_EQ(Outcomes(cells), "a.jpg:cached b.JPG:cached broken.png:failed small.jpg:cached");
  EXPECT_EQ(cells["b.JPG"].source_width, 400);
  EXPECT_EQ(cells["b.JPG"].source_height, 300);

  // A new cell size remakes everything; the cells have the new size.
  cells = Show(worker, photos_, 80, 60);
  EXPECT_EQ(Outcomes(cells), "a.jpg:remade b.JPG:remade broken.png:failed small.jpg:remade");
  EXPECT_EQ(cells["a.jpg"].image.width(), 80);

  // Touching one file remakes only its thumbnail.
  fs::last_write_time(photos_ / "b.JPG",
                      fs::last_write_time(photos_ / "b.JPG") + std::chrono::seconds(1));
  EXPECT_EQ(Outcomes(Show(worker, photos_, 80, 60)),
            "a.jpg:cached b.JPG:remade broken.png:failed small.jpg:cached");

  // A source that breaks after it was cached falls back to its older thumbnail.
  testing::WriteTextFile(photos_ / "a.jpg", "broken now");
  cells = Show(worker, photos_, 80, 60);
  EXPECT_EQ(cells["a.jpg"].outcome, CellOutcome::kCached);
  EXPECT_TRUE(cells["a.jpg"].image.IsValid());
}

// One thread, held inside the first callback while the test re-orders or cancels.
class HeldWorkerTest : public ThumbnailWorkerTest {
 protected:
  void SetUp() override {
    ThumbnailWorkerTest::SetUp();
    for (int i = 0; i < 8; ++i) {
      WritePhoto(photos_ / ("p" + std::to_string(i) + ".jpg"), 64, 48, {90, 90, 90, 255});
    }
  }
  void Start(ThumbnailWorker& worker) {
    ASSERT_TRUE(worker.ShowFolder(photos_, 40, 30, [this](ThumbnailCell&& cell) {
      std::unique_lock lock(mutex_);
      order_.push_back(cell.path.filename().string());
      changed_.notify_all();
      changed_.wait(lock, [&] { return released_; });
    }));
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return !order_.empty(); });
  }
  void Release() {
    std::lock_guard lock(mutex_);
    released_ = true;
    changed_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> order_;
  bool released_ = false;
};

TEST_F(HeldWorkerTest, PrioritisedCellsComeNextInOrder) {
  ThumbnailWorker worker(&cache_, {.threads = 1});
  Start(worker);
  // Listing: a.jpg b.JPG broken.png p0..p7 small.jpg; a.jpg is being delivered.
  ASSERT_EQ(worker.files().size(), 12u);
  worker.Prioritise(9, 2);  // p6, p7
  Release();
  worker.Wait();
  ASSERT_EQ(order_.size(), 12u);
  EXPECT_EQ(order_[0], "a.jpg");
  EXPECT_EQ(order_[1], "p6.jpg");
  EXPECT_EQ(order_[2], "p7.jpg");
  EXPECT_EQ(order_[3], "b.JPG");
}

TEST_F(HeldWorkerTest, NoCallbackOfACancelledJobAfterCancelReturns) {
  ThumbnailWorker worker(&cache_, {.threads = 1});
  Start(worker);
  std::thread releaser([&] { Release(); });
  worker.Cancel();
  releaser.join();
  size_t delivered;
  {
    std::lock_guard lock(mutex_);
    delivered = order_.size();
  }
  EXPECT_LT(delivered, 12u);
  // The next job's cells are the only ones that arrive from now on.
  auto cells = Show(worker, dir_ / "photos", 40, 30);
  std::lock_guard lock(mutex_);
  EXPECT_EQ(order_.size(), delivered);
  EXPECT_EQ(cells.size(), 12u);
}

// The first file's cell is held on its worker until a later one has been made, so the cells
// surely arrive out of order.
TEST_F(ThumbnailWorkerTest, InOrderDeliveryFollowsTheListingWhateverFinishesFirst) {
  ThumbnailWorker worker(&cache_, {.threads = 2});
  std::mutex mutex;
  std::condition_variable made;
  bool later_made = false;
  std::vector<std::string> order;
  FolderTally tally;
  std::string error;
  const platform::ResultCode result = ShowFolderInOrder(
      worker, photos_, 120, 90,
      [&](ThumbnailCell& cell) {
        std::unique_lock lock(mutex);
        if (cell.index == 0) {
          made.wait(lock, [&] { return later_made; });
        } else {
          later_made = true;
          made.notify_all();
        }
        // Work done here is what the ordered delivery reports.
        if (cell.path.filename() == "b.JPG") {
          cell.outcome = CellOutcome::kFailed;
          cell.error = "could not write it out";
        }
      },
      [&](const ThumbnailCell& cell) {
        order.push_back(cell.path.filename().string() + ":" +
                        std::string(CellOutcomeName(cell.outcome)));
      },
      platform::NoProgress(), &tally, &error);
  ASSERT_EQ(result, platform::kOk) << error;
  EXPECT_EQ(order, (std::vector<std::string>{"a.jpg:made", "b.JPG:failed", "broken.png:failed",
                                             "small.jpg:made"}));
  EXPECT_EQ(tally.files, 4u);
  EXPECT_EQ(tally.count(CellOutcome::kMade), 2u);
  EXPECT_EQ(tally.count(CellOutcome::kFailed), 2u);

  EXPECT_EQ(ShowFolderInOrder(
                worker, dir_ / "missing", 120, 90, {}, [](const ThumbnailCell&) {},
                platform::NoProgress(), &tally, &error),
            platform::kFailed);
  EXPECT_NE(error.find("Unable to read"), std::string::npos) << error;
}

TEST_F(HeldWorkerTest, CancelStopsInOrderDeliveryAndNoCallbackRunsAfter) {
  ThumbnailWorker worker(&cache_, {.threads = 2});
  testing::RecordingProgress progress;
  std::atomic<int> made_after_return{0};
  std::atomic<bool> returned{false};
  std::vector<std::string> order;
  FolderTally tally;
  std::string error;
  const platform::ResultCode result = ShowFolderInOrder(
      worker, photos_, 40, 30,
      [&](ThumbnailCell&) {
        if (returned) ++made_after_return;
      },
      [&](const ThumbnailCell& cell) {
        order.push_back(cell.path.filename().string());
        if (order.size() == 2) progress.Cancel();
      },
      progress, &tally, &error);
  returned = true;
  EXPECT_EQ(result, platform::kCancelled);
  EXPECT_EQ(order, (std::vector<std::string>{"a.jpg", "b.JPG"}));
  EXPECT_EQ(progress.position(), (std::pair<int64_t, int64_t>{2, 12}));
  worker.Wait();
  EXPECT_EQ(made_after_return, 0);
}

}  // namespace
}  // namespace quorvane::thumbnails
