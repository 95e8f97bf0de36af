// The fast JPEG thumbnail decoder: libjpeg straight, decoding no more than a thumbnail needs
// (the embedded EXIF preview, the DC scans of a progressive file, or a reduced-scale IDCT).
// Internal to src/image; libjpeg stays inside the .cpp. Hostile input fails cleanly.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string_view>
#include <vector>

#include "image/image.h"

namespace quorvane::image::internal {

// Where the decoder found its pieces in an EXIF block (the TIFF data after "Exif\0\0").
struct ExifLayout {
  int orientation = 1;          // 1..8; 1 when absent or out of range
  uint32_t preview_offset = 0;  // IFD1 JPEGInterchangeFormat, from the TIFF header
  uint32_t preview_length = 0;  // 0: no preview
};

// Reads the orientation and the preview's place from `tiff`; every offset is checked against
// its size, so any bytes are safe. Returns false when it is not TIFF data.
bool ParseExifLayout(std::string_view tiff, ExifLayout* layout);

// A file, or bytes in memory that the caller keeps alive for the call.
struct JpegInput {
  std::filesystem::path path;
  const uint8_t* data = nullptr;
  size_t size = 0;
};

struct ReducedJpeg {
  std::vector<uint8_t> rgb;  // width * height * 3 bytes, rows top first, as stored (not upright)
  int width = 0;
  int height = 0;
  int source_width = 0;  // the whole photo as stored
  int source_height = 0;
  int orientation = 1;
  ThumbnailDecode decode = ThumbnailDecode::kReducedScale;
};

// What the full decoder says of a JPEG whose data ends before its end-of-image marker (libjpeg's
// words), and so what every path says.
inline constexpr const char* kJpegCutShort = "Premature end of input file";

enum class ReducedDecode {
  kDone,
  kDeclined,  // not a JPEG this decoder takes (CMYK, over the pixel ceiling) or one libjpeg
              // gave up on: the general path decides, and reports errors in its own words
  kCutShort,  // the data ends before the end-of-image marker: refused, as the full decoder
              // refuses it, even on the paths that never decode that far (kJpegCutShort)
};

// Decodes the JPEG in `input` to at least the stored-orientation size that
// FitInside(upright size, max_width, max_height) asks for (whole when the photo already fits),
// from the EXIF preview when allowed and it fits.
ReducedDecode DecodeJpegReduced(const JpegInput& input, int max_width, int max_height,
                                bool use_exif_preview, ReducedJpeg* out);

// True when the JPEG's data runs on to its end-of-image marker, as a full decode needs it to;
// found by walking the segments and skipping over scan data without decoding it. False for a
// file cut short or one that cannot be read.
bool JpegReachesEnd(const JpegInput& input);

}  // namespace quorvane::image::internal
