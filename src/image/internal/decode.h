// The decoding pipeline behind Image: where encoded bytes come from, opening them lazily
// against our limits, bringing pixels to 8-bit sRGB, turning them upright, and the metadata
// that travels with them. Internal to src/image; it may include libvips.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <vips/vips.h>

#include "image/image.h"
#include "image/internal/decode_budget.h"
#include "image/internal/vips_support.h"

namespace quorvane::image::internal {

inline constexpr int kMaxSide = 65500;  // the largest side JPEG can store; no format goes beyond
inline constexpr int kMaxIconSide = 256;

// Whether a picture of this size may be opened at all: sides up to kMaxSide, pixels up to
// MaxImagePixels(). Every decode and every operation's result keeps to it, so the program never
// makes a picture it will not open again.
bool FitsLimits(uint64_t width, uint64_t height);
// "W x H pixels; at most N megapixels are accepted", for the messages of those that do not.
std::string TooLargeReason(uint64_t width, uint64_t height);

// The path as UTF-8 text, for messages and for libvips.
std::string PathText(const std::filesystem::path& path);

// Where the encoded bytes come from: a file, or memory the caller keeps alive for the call.
// A file that had to be read whole keeps its path, so errors still name it.
struct Source {
  std::filesystem::path path;  // empty for the caller's memory
  const uint8_t* data = nullptr;
  size_t size = 0;
  std::vector<uint8_t> owned;  // a whole file read for the ImageMagick bridge
  bool in_memory() const { return data != nullptr; }
};

struct Decoded {
  VipsPtr image;  // lazy until materialised
  ImageFormat format = ImageFormat::kUnknown;
  int bits_per_pixel = 0;
  int orientation = 1;
  std::optional<PhotoDateTime> date_taken;
  // What the decoder will keep while it decodes: the stored size at full scale, and whether the
  // whole picture must be held before rows come out (a progressive JPEG, an interlaced PNG).
  uint64_t stored_width = 0;
  uint64_t stored_height = 0;
  bool held_whole = false;
  // A JPEG whose colour is stored at less than full resolution: its colour coefficients take
  // half the room or less.
  bool chroma_subsampled = false;
};

// "image data" or the quoted path, for messages.
std::string DescribeSource(const Source& source);

// Opens the encoded image lazily: the header is read and checked against our limits, pixels are
// decoded later. `jpeg_shrink` (1, 2, 4 or 8) asks the JPEG decoder for a reduced image.
bool Open(Source& source, ImageFormat hint, int jpeg_shrink, Decoded* out, std::string* error);
// What decoding `opened` down to a result of `result_width` x `result_height` (8-bit, alpha
// included) holds at its peak: the result and what the decoder keeps besides (a progressive
// JPEG's coefficients, a whole interlaced PNG, a GIF's canvas, ImageMagick's own 16-bit copy and
// the file it read).
uint64_t DecodeBytes(const Decoded& opened, const Source& source, uint64_t result_width,
                     uint64_t result_height);
// What opening again a picture of width x height with `bands` 8-bit channels, saved by us as
// `format`, will need: the same estimate, for refusing to write what could not be opened.
uint64_t ReopenBytes(ImageFormat format, uint64_t width, uint64_t height, int bands);
// Waits for DecodeBytes(...) of the shared budget (decode_budget.h); false with the reason, in
// the form "Cannot read <format> image <source>: decoding it needs ...", when it cannot fit.
bool HoldDecodeMemory(const Decoded& opened, const Source& source, uint64_t result_width,
                      uint64_t result_height, DecodeBudget::Hold* hold, std::string* error);

// Brings any band layout and depth to 8-bit sRGB with 3 or 4 bands.
bool ToRgb8(VipsPtr& image, std::string* error);
// What a decoder failure that libvips logged no reason for says.
inline constexpr const char* kDamagedData = "the data is damaged or incomplete";

// Decodes a lazy image into memory; `what` starts the message on failure, and `fallback` stands
// in for a reason libvips did not log.
bool Materialise(VipsPtr& image, std::string* error, const char* what,
                 const char* fallback = "the image library gave no reason");
// Drops an alpha band that is opaque everywhere.
bool DropOpaqueAlpha(VipsPtr& image, std::string* error);
// Applies an EXIF orientation (1..8) to the pixels.
bool MakeUpright(VipsPtr& image, int orientation, std::string* error);
// Open, normalise, decode and turn upright: a whole image ready for Image.
bool DecodeWhole(Source& source, ImageFormat hint, Decoded* decoded, std::string* error);
// Removes the orientation tag (the pixels are already upright), or copies metadata across.
void StripMetadata(VipsImage* image);
void CopyMetadata(VipsImage* from, VipsImage* to);

}  // namespace quorvane::image::internal
