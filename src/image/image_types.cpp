#include "image/image_types.h"

#include <array>

#include "platform/ascii.h"

namespace quorvane::image {
namespace {

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

}  // namespace

std::span<const ImageType> ImageTypes() { return kImageTypes; }

const ImageType* FindImageType(std::string_view path) {
  const size_t dot = path.rfind('.');
  if (dot == std::string_view::npos) return nullptr;
  const std::string_view extension = path.substr(dot + 1);
  for (const ImageType& type : kImageTypes) {
    if (platform::EqualsIgnoringAsciiCase(extension, type.extension)) return &type;
  }
  return nullptr;
}

}  // namespace quorvane::image
