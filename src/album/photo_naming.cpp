#include "album/photo_naming.h"

#include "album/album.h"
#include "album/index_check.h"
#include "platform/ascii.h"

namespace quorvane::album {

std::string ThumbnailName(std::string_view image_file_name) {
  return "_thumb_" + std::string(image_file_name.substr(0, image_file_name.rfind('.'))) + ".jpg";
}

bool IsUrl(std::string_view path) {
  using platform::StartsWithIgnoringAsciiCase;
  return StartsWithIgnoringAsciiCase(path, "http://") ||
         StartsWithIgnoringAsciiCase(path, "https://") ||
         StartsWithIgnoringAsciiCase(path, "ftp://");
}

std::string AlbumFileName(std::string_view name) {
  std::string result(name);
  for (char& c : result) {
    if (c == '~' || !IndexCanHoldAsIs(c)) c = '-';
  }
  return result;
}

std::string MakeUniqueName(Album& album, std::string_view wanted) {
  const size_t dot = wanted.rfind('.');
  const std::string_view base = wanted.substr(0, dot);
  const std::string_view extension = dot == std::string_view::npos ? "" : wanted.substr(dot);
  std::string candidate(wanted);
  for (int counter = 0; album.store().FileExists(candidate); ++counter) {
    candidate = std::string(base) + "-" + std::to_string(counter) + std::string(extension);
  }
  return candidate;
}

}  // namespace quorvane::album
