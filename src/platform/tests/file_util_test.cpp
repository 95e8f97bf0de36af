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

}  // namespace
}  // namespace quorvane::platform
