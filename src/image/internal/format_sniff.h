// Recognising an image file by its first bytes, and the colour depth its header declares.
// Pure byte inspection with no decoder behind it, so it is safe on hostile input and cheap
// enough to run before any library sees the data.
#pragma once

#include <cstddef>
#include <cstdint>

#include "image/image.h"

namespace quorvane::image::internal {

// Bytes worth reading before calling SniffFormat / HeaderBitsPerPixel.
inline constexpr size_t kSniffBytes = 128;

// The format whose signature `head` carries. TGA has no signature: its header is only accepted
// when `hint` is kTga or kUnknown and every field is plausible. kUnknown when nothing matches.
ImageFormat SniffFormat(const uint8_t* head, size_t size, ImageFormat hint);

// The depth a BMP, ICO (its largest entry), TGA, PCX, PNG or GIF header declares, normalised to 1,
// 4, 8, 24 or 32; 0 when the header does not say (JPEG, TIFF) and the caller must judge from the
// pixels.
int HeaderBitsPerPixel(ImageFormat format, const uint8_t* head, size_t size);

// The directory entry of the largest picture in an icon file (a .ico often holds 16 x 16 up to
// 256 x 256); 0 when the directory cannot be read.
int LargestIconEntry(const uint8_t* data, size_t size);

// Where the largest picture of a whole icon file lies when it is stored as a complete PNG file
// (what icon writers use for large sizes today) rather than as a headerless bitmap: true with
// its offset and length inside `data`, which the entry must lie within.
bool LargestIconPng(const uint8_t* data, size_t size, size_t* offset, size_t* length);

const char* FormatName(ImageFormat format);

}  // namespace quorvane::image::internal
