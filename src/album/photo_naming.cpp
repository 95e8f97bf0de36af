#include "album/photo_naming.h"

#include <array>

#include "album/album.h"
#include "album/index_check.h"

namespace quorvane::album {
namespace {

using image::ImageFormat;

constexpr std::array<ImageType, 10> kImageTypes = {{
    {"JPG", "JPEG", ImageFormat::kJpeg},
    {"JPEG", "JPEG", ImageFormat::kJpeg},
    {"BMP", "Bitmap", ImageFormat::kBmp},
    {"GIF", "GIF", ImageFormat::kGif},
    {"TIF", "TIFF", ImageFormat::kTiff},
    {"TIFF", "TIFF", ImageFormat::kTiff},
    {"PNG", "PNG", ImageFormat::kPng},
    {"TGA", "Targa", ImageFormat::kTga},
    {"PCX", "PCX", ImageFormat::kPcx},
    {"ICO", "Icon", ImageFormat::kIco},
}};

char AsciiUpper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

bool EqualsIgnoringCase(std::string_view a, std::string_view upper) {
  if (a.size() != upper.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (AsciiUpper(a[i]) != upper[i]) return false;
  }
  return true;
}

bool StartsWithIgnoringCase(std::string_view text, std::string_view lower_prefix) {
  if (text.size() < lower_prefix.size()) return false;
  for (size_t i = 0; i < lower_prefix.size(); ++i) {
    const char c =
        text[i] >= 'A' && text[i] <= 'Z' ? static_cast<char>(text[i] - 'A' + 'a') : text[i];
    if (c != lower_prefix[i]) return false;
  }
  return true;
}

}  // namespace

std::span<const ImageType> ImageTypes() { return kImageTypes; }

const ImageType* FindImageType(std::string_view path) {
  const size_t dot = path.rfind('.');
  if (dot == std::string_view::npos) return nullptr;
  const std::string_view extension = path.substr(dot + 1);
  for (const ImageType& type : kImageTypes) {
    if (EqualsIgnoringCase(extension, type.extension)) return &type;
  }
  return nullptr;
}

std::string ThumbnailName(std::string_view image_file_name) {
  return "_thumb_" + std::string(image_file_name.substr(0, image_file_name.rfind('.'))) + ".jpg";
}

bool IsUrl(std::string_view path) {
  return StartsWithIgnoringCase(path, "http://") || StartsWithIgnoringCase(path, "https://") ||
         StartsWithIgnoringCase(path, "ftp://");
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
