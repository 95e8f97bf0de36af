#include "image/internal/format_sniff.h"

#include <cstring>

namespace quorvane::image::internal {
namespace {

uint16_t Le16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }
uint32_t Le32(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
         (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}

bool StartsWith(const uint8_t* head, size_t size, const char* magic, size_t magic_size) {
  return size >= magic_size && std::memcmp(head, magic, magic_size) == 0;
}

// Palette depths other than 1, 4 and 8 (2, 3, 5..7 bits) are widened as a viewer would.
int PaletteDepth(int bits) { return bits <= 1 ? 1 : bits <= 4 ? 4 : 8; }

bool LooksLikeTga(const uint8_t* head, size_t size) {
  if (size < 18) return false;
  const int colour_map_type = head[1];
  const int image_type = head[2];
  const int map_entry_bits = head[7];
  const int depth = head[16];
  const int descriptor = head[17];
  const bool palette_type = image_type == 1 || image_type == 9;
  const bool true_colour_type = image_type == 2 || image_type == 10;
  const bool grey_type = image_type == 3 || image_type == 11;
  if (!palette_type && !true_colour_type && !grey_type) return false;
  if (Le16(head + 12) == 0 || Le16(head + 14) == 0) return false;
  if ((descriptor & 0xC0) != 0) return false;  // interleaved rows: obsolete, never written
  if (palette_type) {
    return colour_map_type == 1 && depth == 8 && Le16(head + 5) > 0 &&
           (map_entry_bits == 15 || map_entry_bits == 16 || map_entry_bits == 24 ||
            map_entry_bits == 32);
  }
  if (colour_map_type > 1) return false;
  if (grey_type) return depth == 8 || depth == 16;
  return depth == 15 || depth == 16 || depth == 24 || depth == 32;
}

bool LooksLikePcx(const uint8_t* head, size_t size) {
  if (size < 128 || head[0] != 0x0A || head[1] > 5 || head[2] > 1) return false;
  const int bits = head[3];
  const int planes = head[65];
  if (bits != 1 && bits != 2 && bits != 4 && bits != 8) return false;
  if (planes < 1 || planes > 4) return false;
  return Le16(head + 8) >= Le16(head + 4) && Le16(head + 10) >= Le16(head + 6);
}

}  // namespace

ImageFormat SniffFormat(const uint8_t* head, size_t size, ImageFormat hint) {
  if (StartsWith(head, size, "\xFF\xD8\xFF", 3)) return ImageFormat::kJpeg;
  if (StartsWith(head, size, "\x89PNG\r\n\x1A\n", 8)) return ImageFormat::kPng;
  if (StartsWith(head, size, "GIF87a", 6) || StartsWith(head, size, "GIF89a", 6)) {
    return ImageFormat::kGif;
  }
  if (StartsWith(head, size, "II*\0", 4) || StartsWith(head, size, "MM\0*", 4)) {
    return ImageFormat::kTiff;
  }
  // "BM" alone also starts plenty of text; the header size pins it to a real bitmap header.
  if (StartsWith(head, size, "BM", 2) && size >= 18) {
    const uint32_t info_size = Le32(head + 14);
    if (info_size == 12 || info_size == 40 || info_size == 52 || info_size == 56 ||
        info_size == 64 || info_size == 108 || info_size == 124) {
      return ImageFormat::kBmp;
    }
  }
  if (StartsWith(head, size, "\0\0\1\0", 4) && size >= 22 && Le16(head + 4) > 0 && head[9] == 0) {
    return ImageFormat::kIco;
  }
  if (LooksLikePcx(head, size)) return ImageFormat::kPcx;
  if ((hint == ImageFormat::kTga || hint == ImageFormat::kUnknown) && LooksLikeTga(head, size)) {
    return ImageFormat::kTga;
  }
  return ImageFormat::kUnknown;
}

int HeaderBitsPerPixel(ImageFormat format, const uint8_t* head, size_t size) {
  switch (format) {
    case ImageFormat::kBmp: {
      if (size < 30) return 0;
      const int bits = Le32(head + 14) == 12 ? Le16(head + 24) : Le16(head + 28);
      if (bits == 1 || bits == 4 || bits == 8) return bits;
      return bits == 32 ? 32 : bits > 0 ? 24 : 0;
    }
    case ImageFormat::kIco: {
      if (size < 22) return 0;
      const uint8_t* entry = head + 6 + 16 * LargestIconEntry(head, size);
      const int bits = Le16(entry + 6);
      if (bits == 1 || bits == 4 || bits == 8) return bits;
      if (bits == 32) return 32;
      if (bits > 8) return 24;
      const int colours = entry[2];
      return colours == 2 ? 1 : colours == 16 ? 4 : 0;
    }
    case ImageFormat::kTga: {
      if (size < 18) return 0;
      const int type = head[2];
      if (type == 1 || type == 9 || type == 3 || type == 11) return 8;
      return head[16] == 32 ? 32 : 24;
    }
    case ImageFormat::kPcx: {
      if (size < 66) return 0;
      const int bits = head[3] * head[65];
      if (head[65] == 1) return PaletteDepth(head[3]);
      return bits >= 32 ? 32 : bits >= 24 ? 24 : PaletteDepth(bits);
    }
    case ImageFormat::kPng: {
      if (size < 26) return 0;
      const int depth = head[24];
      switch (head[25]) {
        case 3:
          return PaletteDepth(depth);
        case 0:
          return depth == 1 ? 1 : 8;
        case 2:
          return 24;
        default:  // grey or colour with alpha
          return 32;
      }
    }
    case ImageFormat::kGif: {
      if (size < 11) return 0;
      const int packed = head[10];
      return (packed & 0x80) != 0 ? PaletteDepth((packed & 7) + 1) : 8;
    }
    default:
      return 0;
  }
}

int LargestIconEntry(const uint8_t* data, size_t size) {
  if (size < 6) return 0;
  const size_t count = Le16(data + 4);
  int best = 0;
  int best_area = -1;
  int best_bits = -1;
  for (size_t i = 0; i < count && 6 + 16 * (i + 1) <= size; ++i) {
    const uint8_t* entry = data + 6 + 16 * i;
    const int side_w = entry[0] == 0 ? 256 : entry[0];
    const int side_h = entry[1] == 0 ? 256 : entry[1];
    const int area = side_w * side_h;
    const int bits = Le16(entry + 6);
    if (area > best_area || (area == best_area && bits > best_bits)) {
      best = static_cast<int>(i);
      best_area = area;
      best_bits = bits;
    }
  }
  return best;
}

bool LargestIconPng(const uint8_t* data, size_t size, size_t* offset, size_t* length) {
  const size_t index = static_cast<size_t>(LargestIconEntry(data, size));
  if (size < 6 + 16 * (index + 1)) return false;
  const uint8_t* entry = data + 6 + 16 * index;
  const size_t bytes = Le32(entry + 8);
  const size_t start = Le32(entry + 12);
  if (start > size || bytes > size - start ||
      !StartsWith(data + start, bytes, "\x89PNG\r\n\x1A\n", 8)) {
    return false;
  }
  *offset = start;
  *length = bytes;
  return true;
}

const char* FormatName(ImageFormat format) {
  switch (format) {
    case ImageFormat::kBmp:
      return "BMP";
    case ImageFormat::kGif:
      return "GIF";
    case ImageFormat::kJpeg:
      return "JPEG";
    case ImageFormat::kPng:
      return "PNG";
    case ImageFormat::kIco:
      return "ICO";
    case ImageFormat::kTiff:
      return "TIFF";
    case ImageFormat::kTga:
      return "TGA";
    case ImageFormat::kPcx:
      return "PCX";
    default:
      return "unknown";
  }
}

}  // namespace quorvane::image::internal
