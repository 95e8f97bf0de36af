// Test-only helpers: a fresh temporary folder per test, removed afterwards, and small file
// helpers for building fixtures by hand.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace quorvane::testing {

class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(std::string_view name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

// Writes (creating folders) or reads a whole file; test failures abort the test.
void WriteTextFile(const std::filesystem::path& path, std::string_view bytes);
std::string ReadTextFile(const std::filesystem::path& path);

// The shared read-only fixtures folder (testdata/).
std::filesystem::path TestDataPath(std::string_view relative = {});

}  // namespace quorvane::testing
