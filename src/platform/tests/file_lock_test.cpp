#include "platform/file_lock.h"

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "testing/temp_dir.h"

namespace quorvane::platform {
namespace {

using std::chrono::milliseconds;

// Each path kind the program locks: a lock file (created when missing) and a folder itself.
TEST(FileLockTest, ExclusiveLocksExcludeEachOtherUntilReleased) {
  testing::TempDir dir;
  for (const std::filesystem::path& path : {dir / "settings.lock", dir.path()}) {
    SCOPED_TRACE(path.string());
    FileLock first, second;
    std::string error;
    ASSERT_TRUE(first.Acquire(path, FileLock::Mode::kExclusive, milliseconds(0), &error)) << error;
    EXPECT_FALSE(second.Acquire(path, FileLock::Mode::kExclusive, milliseconds(20), &error));
    EXPECT_EQ(error, "\"" + path.string() + "\" is in use by another program");
    EXPECT_FALSE(second.held());
    EXPECT_FALSE(second.Acquire(path, FileLock::Mode::kShared, milliseconds(0), &error));

    FileLock moved = std::move(first);  // the lock travels with the handle
    EXPECT_FALSE(first.held());
    moved.Release();
    EXPECT_TRUE(second.Acquire(path, FileLock::Mode::kExclusive, milliseconds(0), &error)) << error;
  }
}

TEST(FileLockTest, SharedLocksCoexistAndKeepWritersOut) {
  testing::TempDir dir;
  FileLock a, b, writer;
  std::string error;
  ASSERT_TRUE(a.Acquire(dir / "l", FileLock::Mode::kShared, milliseconds(0), &error)) << error;
  ASSERT_TRUE(b.Acquire(dir / "l", FileLock::Mode::kShared, milliseconds(0), &error)) << error;
  EXPECT_FALSE(writer.Acquire(dir / "l", FileLock::Mode::kExclusive, milliseconds(0), &error));
}

// A file replaced by a rename keeps the lock on the old file: the holder must be able to tell.
TEST(FileLockTest, HoldsOnlyTheFileThePathStillNames) {
  testing::TempDir dir;
  testing::WriteTextFile(dir / "album.qvo", "old");
  testing::WriteTextFile(dir / "new.qvo", "new");
  FileLock lock;
  std::string error;
  EXPECT_FALSE(lock.Holds(dir / "album.qvo"));
  ASSERT_TRUE(lock.Acquire(dir / "album.qvo", FileLock::Mode::kExclusive, milliseconds(0), &error))
      << error;
  EXPECT_TRUE(lock.Holds(dir / "album.qvo"));
  EXPECT_FALSE(lock.Holds(dir / "new.qvo"));
  std::filesystem::rename(dir / "new.qvo", dir / "album.qvo");
  EXPECT_FALSE(lock.Holds(dir / "album.qvo"));
  // The new file is free to lock while the old one is still held.
  FileLock next;
  EXPECT_TRUE(next.Acquire(dir / "album.qvo", FileLock::Mode::kExclusive, milliseconds(0), &error))
      << error;
}

// A waiting writer gets the lock as soon as another process lets go of it, and a holder that
// dies lets go without doing anything.
TEST(FileLockTest, WaiterGetsTheLockWhenAnotherProcessEnds) {
  testing::TempDir dir;
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    FileLock held;
    std::string error;
    if (!held.Acquire(dir.path(), FileLock::Mode::kExclusive, milliseconds(0), &error)) _exit(1);
    (void)!::write(ready[1], "x", 1);
    ::usleep(150 * 1000);
    _exit(0);  // no Release: the system drops the lock with the process
  }
  char byte;
  ASSERT_EQ(::read(ready[0], &byte, 1), 1);
  FileLock waiter;
  std::string error;
  EXPECT_FALSE(waiter.Acquire(dir.path(), FileLock::Mode::kExclusive, milliseconds(0), &error));
  EXPECT_TRUE(waiter.Acquire(dir.path(), FileLock::Mode::kExclusive, milliseconds(5000), &error))
      << error;
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  ::close(ready[0]);
  ::close(ready[1]);
}

}  // namespace
}  // namespace quorvane::platform
