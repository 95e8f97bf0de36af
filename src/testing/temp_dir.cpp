#include "testing/temp_dir.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

namespace quorvane::testing {
namespace fs = std::filesystem;

TempDir::TempDir() {
  std::string pattern = (fs::temp_directory_path() / "quorvane-test-XXXXXX").string();
  const char* made = ::mkdtemp(pattern.data());
  if (made == nullptr) {
    ADD_FAILURE() << "mkdtemp failed";
    return;
  }
  path_ = made;
}

TempDir::~TempDir() {
  std::error_code ec;
  if (!path_.empty()) fs::remove_all(path_, ec);
}

void WriteTextFile(const fs::path& path, std::string_view bytes) {
  if (path.has_parent_path()) fs::create_directories(path.parent_path());
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  EXPECT_TRUE(out.good()) << "cannot write " << path;
}

std::string ReadTextFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  EXPECT_TRUE(in.good()) << "cannot read " << path;
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

fs::path TestDataPath(std::string_view relative) {
  const char* root = std::getenv("QUORVANE_TESTDATA");
  fs::path base = root != nullptr ? fs::path(root) : fs::path(QUORVANE_SOURCE_TESTDATA);
  return relative.empty() ? base : base / relative;
}

}  // namespace quorvane::testing
