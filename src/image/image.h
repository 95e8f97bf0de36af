// Image: the in-memory picture every album, edit and web-album job works on. Decoding,
// encoding and resampling come from libvips (kept out of this header); pixels are 8-bit RGB or
// RGBA rows, top row first, so the edit filters can walk them directly. Copies are cheap: the
// pixels are shared until one copy is changed, and copies may live on different threads.
//
// Example:
//   Image image;
//   if (!image.Load(path, ImageFormat::kJpeg)) return Fail(image.last_error());
//   image.Resample(800, 600, ResampleMode::kBicubic);
//   image.Save(out_path, ImageFormat::kJpeg, 85);
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace quorvane::image {

namespace internal {
struct Source;
struct Decoded;
}  // namespace internal

// File formats, numbered as the album index and the settings store record them.
enum class ImageFormat : int {
  kUnknown = 0,
  kBmp = 1,
  kGif = 2,
  kJpeg = 3,
  kPng = 4,
  kIco = 5,
  kTiff = 6,
  kTga = 7,
  kPcx = 8,
};

// The filter used when an image changes size. The numbers are what the settings store keeps;
// ResampleModeFromInt maps anything unknown to kBicubic.
enum class ResampleMode : int {
  kNearest = 0,   // pixel replication: fast, blocky; right for icons and pixel art
  kBilinear = 1,  // smooth, a little soft
  kBicubic = 2,   // the default for photos
  kLanczos3 = 3,  // sharpest downsizing, slowest
};
ResampleMode ResampleModeFromInt(int value);

// When a photo was taken, as the camera wrote it (EXIF DateTimeOriginal, local time of the
// camera, no time zone). Fields are calendar values: month 1..12, day 1..31, hour 0..23.
struct PhotoDateTime {
  int year = 0;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
  friend bool operator==(const PhotoDateTime&, const PhotoDateTime&) = default;
};

// One pixel. Images without alpha read back a = 255 and ignore a on write.
struct Rgba {
  uint8_t r = 0;
  uint8_t g = 0;
  uint8_t b = 0;
  uint8_t a = 255;
  friend bool operator==(const Rgba&, const Rgba&) = default;
};

// What can be learned about an image file without decoding its pixels.
struct ImageInfo {
  ImageFormat format = ImageFormat::kUnknown;  // from the content, not the file name
  int width = 0;                               // as displayed: EXIF orientation applied
  int height = 0;
  int bits_per_pixel = 0;  // as stored in the file (8 for a palette image)
  std::optional<PhotoDateTime> date_taken;
  // What the decoder holds besides the picture while it decodes (a progressive JPEG keeps
  // every coefficient): what makes one photo heavier than another on a shared budget.
  uint64_t decoder_bytes = 0;
};

// Reads the header of `path` (a few KB at most; pixels are not decoded). `format_hint` is used
// only when the content has no recognisable signature (TGA files have none). On failure returns
// false and leaves a user-readable text in `*error`. Thread-safe.
[[nodiscard]] bool ReadImageInfo(const std::filesystem::path& path, ImageFormat format_hint,
                                 ImageInfo* info, std::string* error);

// Pixel-count ceiling for every decode in this process (default 150 megapixels). Images that
// claim more are refused before any pixel memory is taken. Thread-safe.
void SetMaxImagePixels(uint64_t max_pixels);
uint64_t MaxImagePixels();

// How much memory decoding may take. All decodes running at once share `budget` (default
// 1 GiB): each holds what it will need while it runs and waits while the rest is held, first
// come first served, so parallel work never needs more than the budget; one that needs more than
// the whole budget waits until nothing else decodes and runs alone. A decode that would need
// more than `ceiling` (default: the machine's physical memory) is refused before it starts,
// with a message saying how much it needs. What a decode needs is estimated from the header:
// its result (the picture, or the reduced picture a thumbnail is made from) and what the
// decoder keeps besides it. Pictures already decoded are not counted. Thread-safe.
struct DecodeMemory {
  uint64_t budget = 0;
  uint64_t ceiling = 0;
};
void SetDecodeMemory(const DecodeMemory& limits);
DecodeMemory GetDecodeMemory();

// Opens the image library now rather than at the first picture, e.g. on a worker while a
// window is being built, so the first thumbnails do not wait for it. False with the reason in
// *error when the library cannot be opened. Thread-safe; later calls return at once.
bool OpenImageLibrary(std::string* error);

// How many threads a batch of photos (a web album, a resized copy) is best decoded on: one per
// core and one more, because each decode waits between its steps on the image library's own
// threads, and the extra worker keeps the cores busy through those waits.
int PhotoWorkerCount();

inline constexpr int kDefaultJpegQuality = 90;

// A size that fits `width` x `height` inside `max_width` x `max_height` with the aspect kept and
// never enlarged; sizes truncate toward zero. An image that already fits keeps its size. The
// height binds when max_height / height <= max_width / width. Sizes below 1 become 1.
struct FitSize {
  int width = 0;
  int height = 0;
};
FitSize FitInside(int width, int height, int max_width, int max_height);
// The same fit without the early return: an image that fits is enlarged to the bound side.
FitSize FitProportionally(int width, int height, int max_width, int max_height);

// How LoadThumbnailToFit got its pixels, fastest first; for measurements and tests.
enum class ThumbnailDecode {
  kExifPreview,   // the JPEG's embedded EXIF preview covered the size
  kFirstScans,    // a progressive JPEG decoded only as far as its DC scans, at 1/8 scale
  kReducedScale,  // a JPEG decoded at the smallest scale n/8 that covers the size (8/8: whole)
  kGeneric,       // any other format, or a JPEG the fast path declined: libvips
};

// What LoadThumbnailToFit learned about the source.
struct ThumbnailSource {
  int width = 0;  // the photo's upright size
  int height = 0;
  ThumbnailDecode decode = ThumbnailDecode::kGeneric;
};

class Image {
 public:
  Image();  // an empty image: IsValid() is false
  ~Image();
  Image(const Image& other);
  Image& operator=(const Image& other);
  Image(Image&& other) noexcept;
  Image& operator=(Image&& other) noexcept;

  // A new image filled with `fill`; 4 channels when `with_alpha`. Fails (false) on sizes
  // below 1 or above the pixel ceiling.
  [[nodiscard]] bool Create(int width, int height, bool with_alpha, Rgba fill = {});

  // Decodes a whole file, EXIF orientation applied. The format is taken from the content, so a
  // PNG named .jpg still loads; `format_hint` decides only for content without a signature.
  // On failure the image is left as it was and last_error() says why, in the decoder's own
  // words for this call even when other threads fail at the same time. Safe to call from any
  // thread on distinct Image objects; it may wait for its share of the decode memory budget.
  //
  // Damaged files, one rule for every load (this, the thumbnails, and so every caller): a file
  // whose decoder cannot deliver every pixel is refused with the decoder's reason, whether its
  // data ends early (a JPEG before its end-of-image marker) or the decoder gives up; damage a
  // decoder repairs by itself (a corrupt JPEG segment) is accepted by every path alike.
  [[nodiscard]] bool Load(const std::filesystem::path& path,
                          ImageFormat format_hint = ImageFormat::kUnknown);
  // The same from bytes in memory (e.g. a file read from an archive).
  [[nodiscard]] bool LoadFromMemory(const void* data, size_t size,
                                    ImageFormat format_hint = ImageFormat::kUnknown);

  // Loads `path` scaled to exactly `width` x `height` (the upright size; the caller chooses the
  // aspect), decoding JPEGs at a reduced size so a large photo never sits in memory at full
  // size. The result is true colour and carries no metadata. Failure as for Load.
  [[nodiscard]] bool LoadThumbnail(const std::filesystem::path& path, int width, int height,
                                   ResampleMode mode,
                                   ImageFormat format_hint = ImageFormat::kUnknown);

  // Loads `path` shrunk to FitInside(upright width, height, max_width, max_height), or whole
  // when it already fits. JPEGs decode no more than that size needs (first scans of a
  // progressive file, reduced-scale decode); the result looks like a full decode scaled down
  // with `mode`. With `use_exif_preview`, a JPEG's embedded preview is taken when it covers the
  // size and has the photo's shape: much faster, but previews are small, often low-quality
  // JPEGs made by another program, so the result may differ visibly. EXIF orientation is
  // applied. `*source` (optional) receives the photo's size and how it was decoded. Failure as
  // for Load. Thread-safe on distinct images.
  [[nodiscard]] bool LoadThumbnailToFit(const std::filesystem::path& path, int max_width,
                                        int max_height, ResampleMode mode,
                                        ThumbnailSource* source = nullptr,
                                        bool use_exif_preview = false);

  // Encodes into `path` (through platform::WriteFileAtomically: the old file stays whole until
  // the new one is on the disk) or into `*out`.
  // JPEG uses `jpeg_quality` (1..100) and drops alpha; ICO is limited to 256 x 256. EXIF from
  // the source is kept (orientation excluded: the pixels are already upright). Refuses, before
  // writing anything, a picture that opening again in `format` would need more memory for than
  // the decode ceiling allows (SetDecodeMemory).
  [[nodiscard]] bool Save(const std::filesystem::path& path, ImageFormat format,
                          int jpeg_quality = kDefaultJpegQuality) const;
  [[nodiscard]] bool SaveToMemory(std::vector<uint8_t>* out, ImageFormat format,
                                  int jpeg_quality = kDefaultJpegQuality) const;

  bool IsValid() const { return impl_ != nullptr; }
  int width() const;
  int height() const;
  // Depth as the source had it (1, 4, 8, 24 or 32); pixels in memory are always 8-bit RGB(A).
  int bits_per_pixel() const;
  ImageFormat format() const;  // the format the image was decoded from; kUnknown if created
  bool has_alpha() const;
  std::optional<PhotoDateTime> date_taken() const;

  // Raises the recorded depth to 24 (true colour) or 32 (adds an opaque alpha channel).
  // Fails when `bits` is lower than the current depth or is neither 24 nor 32.
  [[nodiscard]] bool IncreaseBpp(int bits);

  // Scales to exactly `width` x `height` (each 1 .. 65500).
  [[nodiscard]] bool Resample(int width, int height, ResampleMode mode);
  // Quarter turns and free rotation. Rotate() turns clockwise by `degrees`, enlarging the
  // canvas to hold the whole picture; the new corners get `background` (transparent when the
  // image has alpha). Like every operation here, it fails before computing anything when the
  // result would be larger than a picture the program opens (65500 pixels a side,
  // MaxImagePixels()), leaving the image as it was.
  [[nodiscard]] bool RotateRight();
  [[nodiscard]] bool RotateLeft();
  [[nodiscard]] bool Rotate180();
  [[nodiscard]] bool Rotate(double degrees, Rgba background = {});
  [[nodiscard]] bool Flip();    // top row becomes the bottom row
  [[nodiscard]] bool Mirror();  // left column becomes the right column
  // Keeps the pixels in [left, right) x [top, bottom), clipped to the image. Fails when
  // nothing is left.
  [[nodiscard]] bool Crop(int left, int top, int right, int bottom);

  // Draws one line of plain `text` in `color`, in the system's sans-serif font at about
  // `pixel_height` pixels, centred on the image and clipped to it. Fails (image unchanged)
  // when the text cannot be laid out.
  [[nodiscard]] bool DrawCenteredText(std::string_view text, Rgba color, int pixel_height);

  // Pixel access. Coordinates outside the image read as {0,0,0,0} and are ignored on write.
  Rgba GetPixel(int x, int y) const;
  void SetPixel(int x, int y, Rgba color);

  // Raw rows for filters: channels() bytes per pixel (R, G, B[, A]), stride() bytes per row,
  // row 0 at the top. A mutable row un-shares the pixels first; pointers stay valid until the
  // next operation that changes the image's size or shape, and a mutable one must not be
  // written through once the image has been copied (the copy shares those pixels). Null on an
  // empty image or a row outside it.
  int channels() const;
  size_t stride() const;
  const uint8_t* Row(int y) const;
  uint8_t* MutableRow(int y);
  // Row 0 of pixels this image owns alone, for a filter that will write every byte of every
  // row: a shared image gets fresh pixels whose content is undefined (the old ones are not
  // copied; other copies keep them). Rows follow each other `stride()` bytes apart. Null on an
  // empty image or when memory runs out.
  uint8_t* PixelsForOverwrite();

  // Why the last failing call on this object failed; unchanged by successful calls.
  const std::string& last_error() const { return last_error_; }

 private:
  struct Impl;

  bool Fail(std::string text) const;
  // Runs `body` as one job of the image library (see internal/vips_support.h: a failure is run
  // again alone so that its text is its own), keeping last_error() unchanged when the call
  // succeeds in the end.
  template <typename Body>
  bool Guarded(Body&& body) const {
    return RunGuarded([](void* b) { return (*static_cast<std::remove_reference_t<Body>*>(b))(); },
                      &body);
  }
  bool RunGuarded(bool (*call)(void* body), void* body) const;
  Impl* Detach();
  // Before new pixels are installed: a shared image takes its own copy of the fields only
  // (its pixels are left null for the caller to set), so the old pixels are never copied.
  void UnshareFields();
  // Decodes a whole image from `source` and makes it this image's.
  bool LoadFrom(internal::Source& source, ImageFormat format_hint);
  // Makes decoded pixels (8-bit sRGB, upright, in memory) this image's.
  void Install(internal::Decoded& decoded);

  std::shared_ptr<Impl> impl_;
  mutable std::string last_error_;
};

// True when both images have the same size, channels and pixel bytes (undo must restore a
// picture exactly; this is how that is checked).
bool SamePixels(const Image& a, const Image& b);

}  // namespace quorvane::image
