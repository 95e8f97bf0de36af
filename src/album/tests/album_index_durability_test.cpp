// Saving never loses an album: a write that fails half-way and a process killed while it
// saves both leave the previous index readable. Both use real processes and the kernel's own
// failures (a file-size limit, SIGKILL), not a mocked store.
#include <chrono>
#include <random>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "album/album_index.h"
#include "album/folder_store.h"
#include "testing/temp_dir.h"

namespace quorvane::album {
namespace {

namespace fs = std::filesystem;

constexpr int kPhotos = 400;  // an index of about 40 KB

std::unique_ptr<Album> MakeAlbum(const fs::path& folder, const std::string& title) {
  auto album = std::make_unique<Album>(std::make_unique<FolderStore>(folder));
  album->set_title(title);
  for (int i = 0; i < kPhotos; ++i) {
    AlbumPhoto photo;
    photo.image_file = "photo" + std::to_string(i) + ".jpg";
    photo.title = "Caption number " + std::to_string(i);
    photo.description = std::string(40, 'd');
    album->photos().push_back(photo);
  }
  return album;
}

void CreatePhotoFiles(const fs::path& folder) {
  for (int i = 0; i < kPhotos; ++i) {
    testing::WriteTextFile(folder / ("photo" + std::to_string(i) + ".jpg"), "x");
  }
}

// Runs `body` in a child process and returns its exit status (or -signal).
template <typename Body>
int InChild(Body body) {
  const pid_t pid = ::fork();
  if (pid == 0) ::_exit(body());
  int status = 0;
  ::waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

std::vector<std::string> FolderNames(const fs::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (entry.path().extension() != ".jpg") names.push_back(entry.path().filename().string());
  }
  return names;
}

TEST(AlbumIndexDurabilityTest, WriteFailingHalfWayKeepsPreviousIndex) {
  testing::TempDir dir;
  const fs::path folder = dir / "album";
  CreatePhotoFiles(folder);
  auto original = MakeAlbum(folder, "Original");
  ASSERT_TRUE(AlbumIndex::SaveIndex(*original)) << original->last_error();
  const std::string before = testing::ReadTextFile(folder / "index.quorvane");
  ASSERT_GT(before.size(), 16384u);

  // The child may write at most 8 KB per file: the save runs out of room in the middle.
  const int result = InChild([&] {
    ::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{8192, 8192};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    auto changed = MakeAlbum(folder, "Changed");
    if (AlbumIndex::SaveIndex(*changed)) return 10;
    return changed->last_error().find("File too large") != std::string::npos ? 0 : 11;
  });
  ASSERT_EQ(result, 0);

  EXPECT_EQ(testing::ReadTextFile(folder / "index.quorvane"), before);
  EXPECT_EQ(FolderNames(folder), std::vector<std::string>{"index.quorvane"});  // no temp file left
  auto reloaded = std::make_unique<Album>(std::make_unique<FolderStore>(folder));
  ASSERT_TRUE(AlbumIndex::LoadIndex(*reloaded));
  EXPECT_EQ(reloaded->title(), "Original");
  EXPECT_EQ(reloaded->photos().size(), static_cast<size_t>(kPhotos));
}

TEST(AlbumIndexDurabilityTest, KillDuringSaveLoopAlwaysLeavesALoadableIndex) {
  testing::TempDir dir;
  const fs::path folder = dir / "album";
  CreatePhotoFiles(folder);
  auto first = MakeAlbum(folder, "A");
  ASSERT_TRUE(AlbumIndex::SaveIndex(*first));

  std::mt19937 random(12345);
  std::uniform_int_distribution<int> delay_us(0, 30000);
  for (int round = 0; round < 25; ++round) {
    // The child says when its first save is done, so that every kill lands among saves however
    // slow a loaded machine makes the start.
    int saved[2];
    ASSERT_EQ(::pipe(saved), 0);
    const pid_t pid = ::fork();
    if (pid == 0) {
      auto album = MakeAlbum(folder, "A");
      for (int i = 0;; ++i) {
        album->set_title(i % 2 ? "A" : "B");
        if (!AlbumIndex::SaveIndex(*album)) ::_exit(1);
        if (i == 0 && ::write(saved[1], "s", 1) != 1) ::_exit(2);
      }
    }
    char byte = 0;
    const bool child_saved = ::read(saved[0], &byte, 1) == 1;
    ::close(saved[0]);
    ::close(saved[1]);
    std::this_thread::sleep_for(std::chrono::microseconds(delay_us(random)));
    ::kill(pid, SIGKILL);
    int status = 0;
    ::waitpid(pid, &status, 0);
    ASSERT_TRUE(child_saved && WIFSIGNALED(status)) << "the saving child stopped by itself";

    auto loaded = std::make_unique<Album>(std::make_unique<FolderStore>(folder));
    ASSERT_TRUE(AlbumIndex::LoadIndex(*loaded))
        << "round " << round << ": " << loaded->last_error();
    EXPECT_TRUE(loaded->title() == "A" || loaded->title() == "B") << loaded->title();
    ASSERT_EQ(loaded->photos().size(), static_cast<size_t>(kPhotos)) << "round " << round;
  }
}

}  // namespace
}  // namespace quorvane::album
