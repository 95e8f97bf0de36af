#include "browser/image_files.h"

#include <algorithm>
#include <system_error>

namespace quorvane::browser {
namespace {

constexpr std::string_view kImageExtensions[] = {"JPG",  "JPEG", "BMP", "GIF", "TIF",
                                                 "TIFF", "PNG",  "TGA", "PCX", "ICO"};

bool SameLetters(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    const char c = a[i] >= 'a' && a[i] <= 'z' ? static_cast<char>(a[i] - 'a' + 'A') : a[i];
    if (c != b[i]) return false;
  }
  return true;
}

}  // namespace

bool IsImageFileName(std::string_view name) {
  const size_t dot = name.rfind('.');
  if (dot == std::string_view::npos) return false;
  const std::string_view extension = name.substr(dot + 1);
  return std::any_of(std::begin(kImageExtensions), std::end(kImageExtensions),
                     [&](std::string_view known) { return SameLetters(extension, known); });
}

bool ListImageFiles(const std::filesystem::path& folder, std::vector<std::filesystem::path>* files,
                    std::string* error) {
  files->clear();
  std::error_code ec;
  std::filesystem::directory_iterator it(folder, ec);
  for (; !ec && it != std::filesystem::directory_iterator(); it.increment(ec)) {
    std::error_code ignored;
    if (it->is_regular_file(ignored) && IsImageFileName(it->path().filename().string())) {
      files->push_back(it->path());
    }
  }
  if (ec) {
    *error = "Unable to read \"" + folder.string() + "\": " + ec.message();
    files->clear();
    return false;
  }
  std::sort(files->begin(), files->end(), [](const auto& a, const auto& b) {
    return a.filename().string() < b.filename().string();
  });
  return true;
}

}  // namespace quorvane::browser
