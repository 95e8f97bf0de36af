// The image type table: which file extensions the program takes for images, the type name an
// album records for each, and the decoder's format. The album, the file browser and the editor
// all decide by this one table.
#pragma once

#include <span>
#include <string_view>

#include "image/image.h"

namespace quorvane::image {

struct ImageType {
  std::string_view extension;  // upper case, without the dot
  std::string_view type_name;  // what a photo's "Format" field holds
  ImageFormat format;
};

// The table, in lookup order (the first matching row wins): JPG, JPEG, BMP, GIF, TIF, TIFF,
// PNG, TGA, PCX, ICO.
std::span<const ImageType> ImageTypes();

// The row for the text after the last "." of `path`, compared without regard to ASCII case;
// null when there is no "." or no row matches.
const ImageType* FindImageType(std::string_view path);

// True when FindImageType finds a row: the files the file browser shows.
inline bool IsImageFileName(std::string_view name) { return FindImageType(name) != nullptr; }

}  // namespace quorvane::image
