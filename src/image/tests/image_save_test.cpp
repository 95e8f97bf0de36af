#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <set>
#include <signal.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "image/image.h"
#include "testing/temp_dir.h"

extern char** environ;

namespace quorvane::image {
namespace {

namespace fs = std::filesystem;

uint64_t Digest(const std::string& bytes) {
  uint64_t digest = 14695981039346656037u;  // FNV-1a, as the child computes it
  for (const char c : bytes) digest = (digest ^ static_cast<uint8_t>(c)) * 1099511628211u;
  return digest;
}

// A save in a process of its own, whose output the test reads line by line.
class SavingChild {
 public:
  SavingChild(const fs::path& photo, int seed) {
    int out[2];
    EXPECT_EQ(::pipe(out), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    const std::string seed_text = std::to_string(seed);
    const char* argv[] = {
        QUORVANE_IMAGE_SAVE_CHILD, photo.c_str(), seed_text.c_str(), "1600", "1200", nullptr};
    EXPECT_EQ(::posix_spawn(&pid_, argv[0], &actions, nullptr, const_cast<char**>(argv), environ),
              0);
    posix_spawn_file_actions_destroy(&actions);
    ::close(out[1]);
    out_ = out[0];
  }
  ~SavingChild() {
    if (pid_ > 0) Kill();
    ::close(out_);
  }

  // The next line the child printed; empty at its end.
  std::string ReadLine() {
    std::string line;
    char c;
    while (::read(out_, &c, 1) == 1 && c != '\n') line += c;
    return line;
  }
  // Whether the child has a file of `folder` open (its save has begun writing); false once it
  // has ended.
  bool IsWritingIn(const fs::path& folder) {
    std::error_code ec;
    for (const auto& fd : fs::directory_iterator("/proc/" + std::to_string(pid_) + "/fd", ec)) {
      const std::string target = fs::read_symlink(fd.path(), ec).string();
      if (target.rfind(folder.string() + "/", 0) == 0) return true;
    }
    return false;
  }
  bool Ended() {
    int status;
    return ::waitpid(pid_, &status, WNOHANG) == pid_ && (pid_ = -1, true);
  }
  void Kill() {
    ::kill(pid_, SIGKILL);
    int status;
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
  }
  int Wait() {
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t pid_ = -1;
  int out_ = -1;
};

std::set<std::string> FilesIn(const fs::path& folder) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) {
    names.insert(entry.path().filename().string());
  }
  return names;
}

uint64_t SaveToTheEnd(const fs::path& photo, int seed) {
  SavingChild child(photo, seed);
  const std::string digest = child.ReadLine();
  EXPECT_EQ(child.ReadLine(), "saved");
  EXPECT_EQ(child.Wait(), 0);
  return std::strtoull(digest.c_str(), nullptr, 16);
}

// A save over a photo is killed at moments spread over its run: before it starts, as it
// encodes, as it begins writing, and deeper into the write. Each time the photo is a whole one,
// the old or the new, and a later save leaves nothing else in the folder.
TEST(ImageSaveTest, KilledSaveLeavesAWholePhotoAndNothingForALaterSaveToTripOver) {
  testing::TempDir dir;
  const fs::path photo = dir / "photo.jpg";
  uint64_t current = SaveToTheEnd(photo, 0);
  ASSERT_EQ(Digest(testing::ReadTextFile(photo)), current);

  for (int round = 0; round < 8; ++round) {
    SavingChild child(photo, round + 1);
    const int moment = round % 4;
    std::string started;
    if (moment >= 1) started = child.ReadLine();
    if (moment >= 2) {
      bool ended = false;
      while (!child.IsWritingIn(dir.path()) && !(ended = child.Ended())) {
      }
      for (int poll = 0; moment == 3 && !ended && poll < 100 * round; ++poll) {
        if (!child.IsWritingIn(dir.path())) break;
      }
    }
    child.Kill();
    if (started.empty()) started = child.ReadLine();
    const uint64_t now = Digest(testing::ReadTextFile(photo));
    EXPECT_TRUE(now == current ||
                (!started.empty() && now == std::strtoull(started.c_str(), nullptr, 16)))
        << "round " << round << ": the photo is neither the old one nor the new one";
    current = now;
  }
  Image whole;
  EXPECT_TRUE(whole.Load(photo)) << whole.last_error();

  const uint64_t last = SaveToTheEnd(photo, 99);
  EXPECT_EQ(Digest(testing::ReadTextFile(photo)), last);
  EXPECT_EQ(FilesIn(dir.path()), std::set<std::string>{"photo.jpg"});
}

}  // namespace
}  // namespace quorvane::image
