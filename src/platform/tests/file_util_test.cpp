#include "platform/file_util.h"

#include <fcntl.h>
#include <set>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "testing/temp_dir.h"

namespace quorvane::platform {
namespace {

namespace fs = std::filesystem;

std::set<std::string> FilesIn(const fs::path& folder) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) {
    names.insert(entry.path().filename().string());
  }
  return names;
}

TEST(FileUtilTest, AtomicWriteCreatesReplacesAndKeepsMode) {
  testing::TempDir dir;
  const fs::path file = dir / "data.xml";
  std::string error;
  ASSERT_TRUE(WriteFileAtomically(file, "first", &error)) << error;
  ASSERT_EQ(::chmod(file.c_str(), 0600), 0);
  ASSERT_TRUE(WriteFileAtomically(file, std::string("second\0with nul", 15), &error)) << error;
  std::string bytes;
  ASSERT_TRUE(ReadWholeFile(file, &bytes, &error)) << error;
  EXPECT_EQ(bytes, std::string("second\0with nul", 15));
  struct stat st;
  ASSERT_EQ(::stat(file.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);
  // Only the target is in the folder: the temporary file was renamed, not left beside it.
  EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 1);
}

TEST(FileUtilTest, ErrorsNameThePathAndTheReason) {
  testing::TempDir dir;
  std::string error, bytes = "unchanged";
  EXPECT_FALSE(ReadWholeFile(dir / "missing", &bytes, &error));
  EXPECT_EQ(error,
            "Unable to read \"" + (dir / "missing").string() + "\": No such file or directory");
  EXPECT_EQ(bytes, "unchanged");
  EXPECT_FALSE(WriteFileAtomically(dir / "no" / "such" / "dir.txt", "x", &error));
  EXPECT_EQ(error, "Unable to write \"" + (dir / "no" / "such" / "dir.txt").string() +
                       "\": No such file or directory");
  EXPECT_FALSE(ReadWholeFile(dir.path(), &bytes, &error));  // a folder is not a file
  EXPECT_FALSE(IsRegularFile(dir.path()));
  // Flushing many files stops at the first that is not there, and names it.
  ASSERT_TRUE(WriteFileAtomically(dir / "later.jpg", "x", &error, Flush::kLater)) << error;
  EXPECT_TRUE(FlushFiles({dir / "later.jpg"}, &error)) << error;
  EXPECT_FALSE(FlushFiles({dir / "later.jpg", dir / "gone.jpg"}, &error));
  EXPECT_EQ(error,
            "Unable to write \"" + (dir / "gone.jpg").string() + "\": No such file or directory");
}

TEST(FileUtilTest, CopyIsWholeOrNothing) {
  testing::TempDir dir;
  std::string big(300000, 'x');
  for (size_t i = 0; i < big.size(); i += 7) big[i] = static_cast<char>(i % 251);
  std::string error, bytes;
  ASSERT_TRUE(WriteFileAtomically(dir / "source", big, &error)) << error;
  ASSERT_TRUE(WriteFileAtomically(dir / "target", "old", &error)) << error;
  ASSERT_TRUE(CopyFileAtomically(dir / "source", dir / "target", &error)) << error;
  ASSERT_TRUE(ReadWholeFile(dir / "target", &bytes, &error));
  EXPECT_EQ(bytes, big);

  EXPECT_FALSE(CopyFileAtomically(dir / "missing", dir / "target", &error));
  EXPECT_FALSE(CopyFileAtomically(dir.path(), dir / "target", &error));  // a folder
  ASSERT_TRUE(ReadWholeFile(dir / "target", &bytes, &error));
  EXPECT_EQ(bytes, big);
  EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 2);
}

TEST(FileUtilTest, AtomicFileReplacesOnlyOnCommitAndLeavesNothingBeside) {
  testing::TempDir dir;
  const fs::path file = dir / "trip.qvo";
  std::string error;
  ASSERT_TRUE(WriteFileAtomically(file, "old", &error)) << error;
  ASSERT_EQ(::chmod(file.c_str(), 0640), 0);
  {
    AtomicFile dropped;
    ASSERT_TRUE(dropped.Open(file, &error)) << error;
    ASSERT_TRUE(dropped.Write("never", 5, &error)) << error;
  }
  AtomicFile out;
  ASSERT_TRUE(out.Open(file, &error)) << error;
  ASSERT_TRUE(out.Write("header-and-body", 15, &error)) << error;
  EXPECT_EQ(out.Position(&error), 15);
  // Archive writers go back to fill in a header once they know the sizes.
  ASSERT_TRUE(out.Seek(0, &error)) << error;
  ASSERT_TRUE(out.Write("HEADER", 6, &error)) << error;
  EXPECT_EQ(testing::ReadTextFile(file), "old");
  ASSERT_TRUE(out.Commit(Flush::kNow, &error)) << error;
  EXPECT_FALSE(out.is_open());
  EXPECT_EQ(testing::ReadTextFile(file), "HEADER-and-body");
  struct stat st;
  ASSERT_EQ(::stat(file.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0640u);
  EXPECT_EQ(FilesIn(dir.path()), std::set<std::string>{"trip.qvo"});
}

// A writer that was killed leaves its temporary file; the next write of the same file removes
// it, but never one a live writer holds, nor those of other files.
TEST(FileUtilTest, NextWriteRemovesWhatEndedWritersLeftOnly) {
  testing::TempDir dir;
  for (const char* name :
       {".photo.jpg.qvtmp0", ".photo.jpg.qvtmp5", ".photo.jpg.qvtmp1", ".other.jpg.qvtmp0"}) {
    testing::WriteTextFile(dir / name, "half a photo");
  }
  const int held = ::open((dir / ".photo.jpg.qvtmp1").c_str(), O_RDONLY);
  ASSERT_EQ(::flock(held, LOCK_EX), 0);
  std::string error;
  ASSERT_TRUE(WriteFileAtomically(dir / "photo.jpg", "whole", &error)) << error;
  EXPECT_EQ(testing::ReadTextFile(dir / "photo.jpg"), "whole");
  EXPECT_EQ(FilesIn(dir.path()),
            (std::set<std::string>{".other.jpg.qvtmp0", ".photo.jpg.qvtmp1", "photo.jpg"}));
  ::close(held);
}

TEST(FileUtilTest, ExchangeSwapsOrMovesTheOneThatExists) {
  testing::TempDir dir;
  std::string error;
  ASSERT_TRUE(WriteFileAtomically(dir / "a", "A", &error));
  ASSERT_TRUE(WriteFileAtomically(dir / "b", "B", &error));
  ASSERT_TRUE(ExchangeFiles(dir / "a", dir / "b", &error)) << error;
  EXPECT_EQ(testing::ReadTextFile(dir / "a"), "B");
  EXPECT_EQ(testing::ReadTextFile(dir / "b"), "A");

  ASSERT_TRUE(ExchangeFiles(dir / "a", dir / "c", &error)) << error;
  EXPECT_FALSE(fs::exists(dir / "a"));
  EXPECT_EQ(testing::ReadTextFile(dir / "c"), "B");
  ASSERT_TRUE(ExchangeFiles(dir / "a", dir / "c", &error)) << error;  // and back
  EXPECT_EQ(testing::ReadTextFile(dir / "a"), "B");
  EXPECT_TRUE(ExchangeFiles(dir / "x", dir / "y", &error));  // neither: nothing to do
  EXPECT_FALSE(ExchangeFiles(dir / "a", dir / "no" / "b", &error));
  EXPECT_EQ(testing::ReadTextFile(dir / "a"), "B");
}

}  // namespace
}  // namespace quorvane::platform
