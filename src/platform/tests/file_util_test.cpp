#include "platform/file_util.h"

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "testing/temp_dir.h"

namespace quorvane::platform {
namespace {

namespace fs = std::filesystem;

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
