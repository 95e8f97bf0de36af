#include "thumbnails/image_files.h"

#include <algorithm>
#include <system_error>

#include "image/image_types.h"

namespace quorvane::thumbnails {

bool ListImageFiles(const std::filesystem::path& folder, std::vector<std::filesystem::path>* files,
                    std::string* error) {
  files->clear();
  std::error_code ec;
  std::filesystem::directory_iterator it(folder, ec);
  for (; !ec && it != std::filesystem::directory_iterator(); it.increment(ec)) {
    std::error_code ignored;
    if (it->is_regular_file(ignored) && image::IsImageFileName(it->path().filename().string())) {
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

}  // namespace quorvane::thumbnails
