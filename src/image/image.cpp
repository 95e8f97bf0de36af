#include "image/image.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string_view>

#include <vips/vips.h>

#include "image/internal/decode.h"
#include "image/internal/format_sniff.h"
#include "image/internal/jpeg_reduced.h"
#include "image/internal/resize.h"
#include "image/internal/vips_support.h"
#include "platform/file_util.h"

namespace quorvane::image {

using internal::CopyMetadata;
using internal::Decoded;
using internal::DecodeWhole;
using internal::DescribeSource;
using internal::DropOpaqueAlpha;
using internal::EnsureVips;
using internal::FormatName;
using internal::kMaxIconSide;
using internal::kMaxSide;
using internal::LineBytes;
using internal::MakeUpright;
using internal::Materialise;
using internal::Open;
using internal::PathText;
using internal::PixelAddress;
using internal::ResizeExact;
using internal::ResizeNearest;
using internal::Source;
using internal::StripMetadata;
using internal::TakeVipsError;
using internal::ToRgb8;
using internal::Vips;
using internal::VipsPtr;

namespace fs = std::filesystem;

namespace {

// An uncompressed true-colour TGA whose rows run from the top, as its header says: the
// ImageMagick writer stores the top row first but marks the file as starting at the bottom, so
// every other program would show its files upside down. `image` is 8-bit RGB(A) in memory.
void EncodeTga(const VipsImage* image, std::vector<uint8_t>* out) {
  const int bands = image->Bands;
  const uint8_t header[18] = {0,
                              0,
                              2,
                              0,
                              0,
                              0,
                              0,
                              0,
                              0,
                              0,
                              0,
                              0,
                              static_cast<uint8_t>(image->Xsize),
                              static_cast<uint8_t>(image->Xsize >> 8),
                              static_cast<uint8_t>(image->Ysize),
                              static_cast<uint8_t>(image->Ysize >> 8),
                              static_cast<uint8_t>(8 * bands),
                              static_cast<uint8_t>(0x20 | (bands == 4 ? 8 : 0))};
  out->assign(std::begin(header), std::end(header));
  out->resize(sizeof header + static_cast<size_t>(image->Xsize) * image->Ysize * bands);
  uint8_t* to = out->data() + sizeof header;
  for (int y = 0; y < image->Ysize; ++y) {
    const uint8_t* from = PixelAddress(image, 0, y);
    for (int x = 0; x < image->Xsize; ++x, from += bands, to += bands) {
      to[0] = from[2];  // stored blue, green, red(, alpha)
      to[1] = from[1];
      to[2] = from[0];
      if (bands == 4) to[3] = from[3];
    }
  }
}

}  // namespace

ResampleMode ResampleModeFromInt(int value) {
  switch (value) {
    case 0:
      return ResampleMode::kNearest;
    case 1:
      return ResampleMode::kBilinear;
    case 3:
      return ResampleMode::kLanczos3;
    default:
      return ResampleMode::kBicubic;
  }
}

bool ReadImageInfo(const fs::path& path, ImageFormat format_hint, ImageInfo* info,
                   std::string* error) {
  return internal::RunVipsJob([&] {
    Source source;
    source.path = path;
    Decoded decoded;
    if (!Open(source, format_hint, 1, &decoded, error)) return false;
    const bool turned = decoded.orientation >= 5;  // orientations 5..8 swap the axes
    info->format = decoded.format;
    info->width = turned ? decoded.image->Ysize : decoded.image->Xsize;
    info->height = turned ? decoded.image->Xsize : decoded.image->Ysize;
    info->bits_per_pixel = decoded.bits_per_pixel;
    info->date_taken = decoded.date_taken;
    info->decoder_bytes = internal::DecodeBytes(decoded, source, 0, 0);
    return true;
  });
}

// The pixels are one memory VipsImage of 8-bit sRGB in 3 or 4 bands. Its metadata (EXIF, ICC)
// travels with it through every operation, so a saved copy keeps the camera's data.
struct Image::Impl {
  VipsPtr pixels;
  int bits_per_pixel = 24;
  ImageFormat format = ImageFormat::kUnknown;
  std::optional<PhotoDateTime> date_taken;
};

Image::Image() = default;
Image::~Image() = default;
Image::Image(const Image& other) = default;
Image& Image::operator=(const Image& other) = default;
Image::Image(Image&& other) noexcept = default;
Image& Image::operator=(Image&& other) noexcept = default;

bool Image::Fail(std::string text) const {
  last_error_ = std::move(text);
  return false;
}

bool Image::RunGuarded(bool (*call)(void* body), void* body) const {
  std::string previous = last_error_;
  if (!internal::RunVipsJob(call, body)) return false;
  last_error_ = std::move(previous);
  return true;
}

Image::Impl* Image::Detach() {
  if (impl_ == nullptr) return nullptr;
  if (impl_.use_count() > 1) {
    auto copy = std::make_shared<Impl>();
    copy->bits_per_pixel = impl_->bits_per_pixel;
    copy->format = impl_->format;
    copy->date_taken = impl_->date_taken;
    VipsImage* source = impl_->pixels.get();
    VipsImage* memory = nullptr;
    (void)internal::RunVipsJob([&] {
      if (source->data != nullptr) {
        // Already in memory: one plain copy of the bytes, not a run of the threaded pipeline.
        memory = Vips().image_new_from_memory_copy(PixelAddress(source, 0, 0),
                                                   LineBytes(source) * source->Ysize, source->Xsize,
                                                   source->Ysize, source->Bands, source->BandFmt);
        if (memory != nullptr) {
          memory->Type = source->Type;
          memory->Xres = source->Xres;
          memory->Yres = source->Yres;
          CopyMetadata(source, memory);
        }
      } else {
        VipsImage* view = nullptr;
        if (Vips().copy(source, &view, nullptr) == 0) {
          memory = Vips().image_copy_memory(view);
          Vips().object_unref(view);
        }
      }
      return memory != nullptr;
    });
    // Only running out of memory gets here; sharing is still correct, just not private.
    if (memory == nullptr) return impl_.get();
    copy->pixels.reset(memory);
    impl_ = std::move(copy);
  }
  return impl_.get();
}

void Image::UnshareFields() {
  if (impl_ == nullptr || impl_.use_count() == 1) return;
  auto own = std::make_shared<Impl>();
  own->bits_per_pixel = impl_->bits_per_pixel;
  own->format = impl_->format;
  own->date_taken = impl_->date_taken;
  impl_ = std::move(own);
}

bool Image::Create(int width, int height, bool with_alpha, Rgba fill) {
  if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide ||
      static_cast<uint64_t>(width) * static_cast<uint64_t>(height) > MaxImagePixels()) {
    return Fail("Cannot create an image of " + std::to_string(width) + " x " +
                std::to_string(height) + " pixels");
  }
  return Guarded([&] {
    std::string error;
    if (!EnsureVips(&error)) return Fail(std::move(error));
    const int channels = with_alpha ? 4 : 3;
    const uint8_t value[4] = {fill.r, fill.g, fill.b, fill.a};
    // One row filled pixel by pixel, then copied: cells and canvases are made often.
    const size_t row_bytes = static_cast<size_t>(width) * channels;
    std::vector<uint8_t> pixels(row_bytes * height);
    for (size_t i = 0; i < row_bytes; i += channels) std::memcpy(&pixels[i], value, channels);
    for (int y = 1; y < height; ++y) std::memcpy(&pixels[row_bytes * y], pixels.data(), row_bytes);
    VipsImage* image = Vips().image_new_from_memory_copy(pixels.data(), pixels.size(), width,
                                                         height, channels, VIPS_FORMAT_UCHAR);
    if (image == nullptr) return Fail("Cannot create the image: " + TakeVipsError());
    image->Type = VIPS_INTERPRETATION_sRGB;
    auto impl = std::make_shared<Impl>();
    impl->pixels.reset(image);
    impl->bits_per_pixel = with_alpha ? 32 : 24;
    impl_ = std::move(impl);
    return true;
  });
}

bool Image::LoadFrom(Source& source, ImageFormat format_hint) {
  return Guarded([&] {
    Decoded decoded;
    std::string error;
    if (!DecodeWhole(source, format_hint, &decoded, &error)) return Fail(std::move(error));
    Install(decoded);
    return true;
  });
}

void Image::Install(Decoded& decoded) {
  auto impl = std::make_shared<Impl>();
  impl->pixels = std::move(decoded.image);
  impl->bits_per_pixel = decoded.bits_per_pixel;
  impl->format = decoded.format;
  impl->date_taken = decoded.date_taken;
  impl_ = std::move(impl);
}

bool Image::Load(const fs::path& path, ImageFormat format_hint) {
  Source source;
  source.path = path;
  return LoadFrom(source, format_hint);
}

bool Image::LoadFromMemory(const void* data, size_t size, ImageFormat format_hint) {
  if (data == nullptr || size == 0) return Fail("Cannot read image data: it is empty");
  Source source;
  source.data = static_cast<const uint8_t*>(data);
  source.size = size;
  return LoadFrom(source, format_hint);
}

bool Image::LoadThumbnail(const fs::path& path, int width, int height, ResampleMode mode,
                          ImageFormat format_hint) {
  if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide) {
    return Fail("Cannot make a thumbnail of " + std::to_string(width) + " x " +
                std::to_string(height) + " pixels");
  }
  return Guarded([&] {
    Source source;
    source.path = path;
    Decoded decoded;
    std::string error;
    if (!Open(source, format_hint, 1, &decoded, &error)) return Fail(std::move(error));
    // The size is asked for upright; before turning, the stored image has the other shape.
    const bool turned = decoded.orientation >= 5;
    const int stored_width = turned ? height : width;
    const int stored_height = turned ? width : height;
    if (decoded.format == ImageFormat::kJpeg) {
      // The decoder's own downscaling (1/2, 1/4, 1/8) is both the speed and the memory win;
      // keep the reduced image at least as large as the target so the filter still decides.
      int shrink = 1;
      while (shrink < 8 && decoded.image->Xsize / (shrink * 2) >= stored_width &&
             decoded.image->Ysize / (shrink * 2) >= stored_height) {
        shrink *= 2;
      }
      if (shrink > 1) {
        Decoded reduced;
        if (!Open(source, format_hint, shrink, &reduced, &error)) return Fail(std::move(error));
        reduced.orientation = decoded.orientation;
        reduced.bits_per_pixel = decoded.bits_per_pixel;
        decoded = std::move(reduced);
        // Decoding at a reduced scale, libjpeg may stop short of where a file cut short ends;
        // such a file must fail here as it fails a whole decode.
        internal::JpegInput input;
        input.path = path;
        if (!internal::JpegReachesEnd(input)) {
          return Fail("Cannot read JPEG image " + DescribeSource(source) + ": " +
                      internal::kJpegCutShort);
        }
      }
    }
    const std::string what = std::string("Cannot read ") + FormatName(decoded.format) + " image " +
                             DescribeSource(source);
    // The reduced decode, or the thumbnail when it is larger, is the largest picture held.
    internal::DecodeBudget::Hold hold;
    if (!internal::HoldDecodeMemory(
            decoded, source,
            std::max<uint64_t>(static_cast<uint64_t>(decoded.image->Xsize), stored_width),
            std::max<uint64_t>(static_cast<uint64_t>(decoded.image->Ysize), stored_height), &hold,
            &error)) {
      return Fail(std::move(error));
    }
    if (!ToRgb8(decoded.image, &error)) return Fail(std::move(error));
    if (decoded.format == ImageFormat::kGif &&
        (!Materialise(decoded.image, &error, what.c_str(), internal::kDamagedData) ||
         !DropOpaqueAlpha(decoded.image, &error))) {
      return Fail(std::move(error));
    }
    if (mode == ResampleMode::kNearest) {
      // Our nearest scaler reads from memory; the reduced decode keeps this small for JPEGs.
      if (!Materialise(decoded.image, &error, what.c_str(), internal::kDamagedData))
        return Fail(std::move(error));
      VipsPtr scaled = ResizeNearest(decoded.image.get(), stored_width, stored_height);
      if (scaled == nullptr) return Fail("Cannot resize the image: " + TakeVipsError());
      decoded.image = std::move(scaled);
    } else {
      if (!ResizeExact(decoded.image, stored_width, stored_height, mode, &error)) {
        return Fail(std::move(error));
      }
      if (!Materialise(decoded.image, &error, what.c_str(), internal::kDamagedData))
        return Fail(std::move(error));
    }
    if (!MakeUpright(decoded.image, decoded.orientation, &error)) return Fail(std::move(error));
    StripMetadata(decoded.image.get());
    auto impl = std::make_shared<Impl>();
    impl->pixels = std::move(decoded.image);
    impl->bits_per_pixel = impl->pixels->Bands == 4 ? 32 : 24;
    impl->format = decoded.format;
    impl->date_taken = decoded.date_taken;
    impl_ = std::move(impl);
    return true;
  });
}

bool Image::SaveToMemory(std::vector<uint8_t>* out, ImageFormat format, int jpeg_quality) const {
  return Guarded([&] {
    if (impl_ == nullptr) return Fail("There is no image to save");
    VipsImage* image = impl_->pixels.get();
    if (format == ImageFormat::kIco &&
        (image->Xsize > kMaxIconSide || image->Ysize > kMaxIconSide)) {
      return Fail("Cannot save as ICO: icons can be at most 256 x 256 pixels");
    }
    // Never write what this program will not open again.
    const uint64_t reopen =
        internal::ReopenBytes(format, static_cast<uint64_t>(image->Xsize),
                              static_cast<uint64_t>(image->Ysize), image->Bands);
    const uint64_t ceiling = internal::DecodeBudget::Shared().ceiling();
    if (reopen > ceiling) {
      return Fail(std::string("Cannot save the image as ") + FormatName(format) +
                  ": opening it again would need " + internal::Megabytes(reopen) +
                  " of memory; at most " + internal::Megabytes(ceiling) +
                  " are allowed for one image");
    }
    VipsPtr opaque;
    // JPEG and PCX have no alpha; CxImage-style savers simply drop it, keeping the colour.
    if ((format == ImageFormat::kJpeg || format == ImageFormat::kPcx) && image->Bands == 4) {
      VipsImage* rgb = nullptr;
      if (Vips().extract_band(image, &rgb, 0, "n", 3, nullptr) != 0) {
        return Fail("Cannot save the image: " + TakeVipsError());
      }
      opaque.reset(rgb);
      image = rgb;
    }
    void* buffer = nullptr;
    size_t size = 0;
    int failed = 0;
    switch (format) {
      case ImageFormat::kJpeg:
        failed = Vips().jpegsave_buffer(image, &buffer, &size, "Q",
                                        std::clamp(jpeg_quality, 1, 100), nullptr);
        break;
      case ImageFormat::kPng:
        failed = Vips().pngsave_buffer(image, &buffer, &size, "compression", 6, nullptr);
        break;
      case ImageFormat::kGif:
        failed = Vips().gifsave_buffer(image, &buffer, &size, nullptr);
        break;
      case ImageFormat::kTiff:
        failed = Vips().tiffsave_buffer(image, &buffer, &size, "compression",
                                        VIPS_FOREIGN_TIFF_COMPRESSION_LZW, nullptr);
        break;
      case ImageFormat::kBmp:
        // Version 3 bitmaps open everywhere; only alpha needs the newer header.
        failed =
            Vips().magicksave_buffer(image, &buffer, &size, "format",
                                     image->Bands == 4 ? "BMP" : "BMP3", "strip", TRUE, nullptr);
        break;
      case ImageFormat::kTga:
        EncodeTga(image, out);
        return true;
      case ImageFormat::kIco:
      case ImageFormat::kPcx:
        failed = Vips().magicksave_buffer(image, &buffer, &size, "format", FormatName(format),
                                          "strip", TRUE, nullptr);
        break;
      default:
        return Fail("Cannot save the image: unknown format " +
                    std::to_string(static_cast<int>(format)));
    }
    if (failed != 0 || buffer == nullptr) {
      Vips().free(buffer);
      return Fail(std::string("Cannot save the image as ") + FormatName(format) + ": " +
                  TakeVipsError());
    }
    const uint8_t* bytes = static_cast<const uint8_t*>(buffer);
    out->assign(bytes, bytes + size);
    Vips().free(buffer);
    return true;
  });
}

bool Image::Save(const fs::path& path, ImageFormat format, int jpeg_quality) const {
  std::vector<uint8_t> bytes;
  if (!SaveToMemory(&bytes, format, jpeg_quality)) return false;
  // Through the platform's one durable write: a photo replaced in place must never be lost
  // to a crash half-way, nor leave a stray file a later save or an archive would pick up.
  std::string error;
  if (!platform::WriteFileAtomically(
          path, std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()),
          &error)) {
    return Fail(error);
  }
  return true;
}

int Image::width() const { return impl_ ? impl_->pixels->Xsize : 0; }
int Image::height() const { return impl_ ? impl_->pixels->Ysize : 0; }
int Image::bits_per_pixel() const { return impl_ ? impl_->bits_per_pixel : 0; }
ImageFormat Image::format() const { return impl_ ? impl_->format : ImageFormat::kUnknown; }
bool Image::has_alpha() const { return impl_ && impl_->pixels->Bands == 4; }
std::optional<PhotoDateTime> Image::date_taken() const {
  return impl_ ? impl_->date_taken : std::nullopt;
}
int Image::channels() const { return impl_ ? impl_->pixels->Bands : 0; }
size_t Image::stride() const { return impl_ ? LineBytes(impl_->pixels.get()) : 0; }

const uint8_t* Image::Row(int y) const {
  if (!impl_ || y < 0 || y >= impl_->pixels->Ysize) return nullptr;
  return PixelAddress(impl_->pixels.get(), 0, y);
}

uint8_t* Image::MutableRow(int y) {
  if (!impl_ || y < 0 || y >= impl_->pixels->Ysize) return nullptr;
  return PixelAddress(Detach()->pixels.get(), 0, y);
}

bool Image::DrawCenteredText(std::string_view text, Rgba color, int pixel_height) {
  return Guarded([&] {
    if (!impl_) return Fail("There is no image");
    if (text.empty()) return true;
    // The renderer reads Pango markup; plain text must not be taken for it.
    std::string markup;
    for (char c : text) {
      switch (c) {
        case '&':
          markup += "&amp;";
          break;
        case '<':
          markup += "&lt;";
          break;
        case '>':
          markup += "&gt;";
          break;
        default:
          markup += c;
      }
    }
    // At 72 dpi a font's size in points is its size in pixels.
    const std::string font = "sans " + std::to_string(std::clamp(pixel_height, 4, 512));
    VipsImage* raw = nullptr;
    if (Vips().text(&raw, markup.c_str(), "font", font.c_str(), "dpi", 72, nullptr) != 0) {
      return Fail("Cannot draw the text: " + TakeVipsError());
    }
    VipsPtr mask(raw);
    if (Vips().image_wio_input(mask.get()) != 0) {
      return Fail("Cannot draw the text: " + TakeVipsError());
    }
    const int mask_width = mask->Xsize, mask_height = mask->Ysize;
    const int left = (width() - mask_width) / 2, top = (height() - mask_height) / 2;
    const int bands = channels();
    for (int my = 0; my < mask_height; ++my) {
      uint8_t* row = MutableRow(top + my);
      if (row == nullptr) continue;
      const uint8_t* coverage = PixelAddress(mask.get(), 0, my);
      for (int mx = 0; mx < mask_width; ++mx) {
        const int x = left + mx;
        if (x < 0 || x >= width() || coverage[mx] == 0) continue;
        uint8_t* p = row + static_cast<size_t>(x) * bands;
        const int a = coverage[mx];
        p[0] = static_cast<uint8_t>((color.r * a + p[0] * (255 - a) + 127) / 255);
        p[1] = static_cast<uint8_t>((color.g * a + p[1] * (255 - a) + 127) / 255);
        p[2] = static_cast<uint8_t>((color.b * a + p[2] * (255 - a) + 127) / 255);
      }
    }
    return true;
  });
}

uint8_t* Image::PixelsForOverwrite() {
  if (!impl_) return nullptr;
  if (impl_.use_count() > 1) {
    VipsImage* source = impl_->pixels.get();
    VipsPtr fresh;
    const bool made = internal::RunVipsJob([&] {
      fresh.reset(Vips().image_new_memory());
      Vips().image_init_fields(fresh.get(), source->Xsize, source->Ysize, source->Bands,
                               source->BandFmt, source->Coding, source->Type, source->Xres,
                               source->Yres);
      if (Vips().image_write_prepare(fresh.get()) != 0 || fresh->data == nullptr) return false;
      CopyMetadata(source, fresh.get());
      return true;
    });
    if (!made) return nullptr;
    UnshareFields();
    impl_->pixels = std::move(fresh);
  }
  return PixelAddress(impl_->pixels.get(), 0, 0);
}

Rgba Image::GetPixel(int x, int y) const {
  if (!impl_ || x < 0 || y < 0 || x >= width() || y >= height()) return Rgba{0, 0, 0, 0};
  const uint8_t* p = PixelAddress(impl_->pixels.get(), x, y);
  return Rgba{p[0], p[1], p[2], channels() == 4 ? p[3] : uint8_t{255}};
}

void Image::SetPixel(int x, int y, Rgba color) {
  if (!impl_ || x < 0 || y < 0 || x >= width() || y >= height()) return;
  uint8_t* p = PixelAddress(Detach()->pixels.get(), x, y);
  p[0] = color.r;
  p[1] = color.g;
  p[2] = color.b;
  if (channels() == 4) p[3] = color.a;
}

bool Image::IncreaseBpp(int bits) {
  return Guarded([&] {
    if (!impl_) return Fail("There is no image");
    if (bits != 24 && bits != 32) {
      return Fail("Cannot change the colour depth to " + std::to_string(bits) + " bits");
    }
    if (bits < impl_->bits_per_pixel) {
      return Fail("Cannot lower the colour depth from " + std::to_string(impl_->bits_per_pixel) +
                  " to " + std::to_string(bits) + " bits");
    }
    if (bits == 32 && impl_->pixels->Bands == 3) {
      VipsImage* out = nullptr;
      if (Vips().bandjoin_const1(impl_->pixels.get(), &out, 255.0, nullptr) != 0) {
        return Fail("Cannot add an alpha channel: " + TakeVipsError());
      }
      VipsPtr joined(out);
      std::string error;
      if (!Materialise(joined, &error, "Cannot add an alpha channel")) return Fail(error);
      UnshareFields();
      impl_->pixels = std::move(joined);
    } else {
      Detach();
    }
    impl_->bits_per_pixel = bits;
    return true;
  });
}

namespace {

// Runs one libvips transform on the current pixels and materialises the result. The size of
// the result is known before any pixel of it is computed: one the program would refuse to open
// is refused here, before the memory for it is taken.
template <typename Transform>
bool ApplyTransform(const VipsPtr& pixels, VipsPtr* result, std::string* error, const char* what,
                    Transform transform) {
  VipsImage* out = nullptr;
  if (transform(pixels.get(), &out) != 0) {
    *error = std::string(what) + ": " + TakeVipsError();
    return false;
  }
  VipsPtr image(out);
  if (!internal::FitsLimits(image->Xsize, image->Ysize)) {
    *error = std::string(what) + ": the result would be too large (" +
             internal::TooLargeReason(image->Xsize, image->Ysize) + ")";
    return false;
  }
  if (!Materialise(image, error, what)) return false;
  *result = std::move(image);
  return true;
}

}  // namespace

#define QUORVANE_IMAGE_TRANSFORM(what, call)                                     \
  return Guarded([&] {                                                           \
    if (!impl_) return Fail("There is no image");                                \
    VipsPtr result;                                                              \
    std::string error;                                                           \
    if (!ApplyTransform(impl_->pixels, &result, &error, what,                    \
                        [&](VipsImage* in, VipsImage** out) { return call; })) { \
      return Fail(std::move(error));                                             \
    }                                                                            \
    UnshareFields();                                                             \
    impl_->pixels = std::move(result);                                           \
    return true;                                                                 \
  })

bool Image::RotateRight() {
  QUORVANE_IMAGE_TRANSFORM("Cannot rotate the image", Vips().rot(in, out, VIPS_ANGLE_D90, nullptr));
}

bool Image::RotateLeft() {
  QUORVANE_IMAGE_TRANSFORM("Cannot rotate the image",
                           Vips().rot(in, out, VIPS_ANGLE_D270, nullptr));
}

bool Image::Rotate180() {
  QUORVANE_IMAGE_TRANSFORM("Cannot rotate the image",
                           Vips().rot(in, out, VIPS_ANGLE_D180, nullptr));
}

bool Image::Flip() {
  QUORVANE_IMAGE_TRANSFORM("Cannot flip the image",
                           Vips().flip(in, out, VIPS_DIRECTION_VERTICAL, nullptr));
}

bool Image::Mirror() {
  QUORVANE_IMAGE_TRANSFORM("Cannot mirror the image",
                           Vips().flip(in, out, VIPS_DIRECTION_HORIZONTAL, nullptr));
}

bool Image::Rotate(double degrees, Rgba background) {
  return Guarded([&] {
    if (!impl_) return Fail("There is no image");
    if (!std::isfinite(degrees)) return Fail("Cannot rotate the image: the angle is not a number");
    double turn = std::fmod(degrees, 360.0);
    if (turn < 0) turn += 360.0;
    // Exact quarter turns keep every pixel; the interpolating path would soften them.
    if (turn == 0.0) return true;
    if (turn == 90.0) return RotateRight();
    if (turn == 180.0) return Rotate180();
    if (turn == 270.0) return RotateLeft();
    const bool alpha = impl_->pixels->Bands == 4;
    double fill[4] = {static_cast<double>(background.r), static_cast<double>(background.g),
                      static_cast<double>(background.b), alpha ? 0.0 : 255.0};
    VipsArrayDouble* fill_array = Vips().array_double_new(fill, alpha ? 4 : 3);
    VipsInterpolate* bilinear = Vips().interpolate_new("bilinear");
    VipsPtr result;
    std::string error;
    // libvips's own help calls positive angles anticlockwise, but with rows running downwards
    // they turn clockwise on screen, which is what our callers mean; the tests pin this down.
    const bool ok = ApplyTransform(impl_->pixels, &result, &error, "Cannot rotate the image",
                                   [&](VipsImage* in, VipsImage** out) {
                                     return Vips().rotate(in, out, turn, "background", fill_array,
                                                          "interpolate", bilinear, nullptr);
                                   });
    Vips().area_unref(VIPS_AREA(fill_array));
    Vips().object_unref(bilinear);
    if (!ok) return Fail(std::move(error));
    UnshareFields();
    impl_->pixels = std::move(result);
    return true;
  });
}

bool Image::Resample(int width, int height, ResampleMode mode) {
  return Guarded([&] {
    if (!impl_) return Fail("There is no image");
    if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide ||
        static_cast<uint64_t>(width) * static_cast<uint64_t>(height) > MaxImagePixels()) {
      return Fail("Cannot resize the image to " + std::to_string(width) + " x " +
                  std::to_string(height) + " pixels");
    }
    if (width == this->width() && height == this->height()) return true;
    VipsPtr result;
    if (mode == ResampleMode::kNearest) {
      result = ResizeNearest(impl_->pixels.get(), width, height);
      if (result == nullptr) return Fail("Cannot resize the image: " + TakeVipsError());
      CopyMetadata(impl_->pixels.get(), result.get());
    } else {
      VipsImage* start = impl_->pixels.get();
      Vips().object_ref(start);
      result.reset(start);
      std::string error;
      if (!ResizeExact(result, width, height, mode, &error)) return Fail(std::move(error));
      if (!Materialise(result, &error, "Cannot resize the image")) return Fail(std::move(error));
    }
    UnshareFields();
    impl_->pixels = std::move(result);
    return true;
  });
}

bool Image::Crop(int left, int top, int right, int bottom) {
  if (!impl_) return Fail("There is no image");
  left = std::max(left, 0);
  top = std::max(top, 0);
  right = std::min(right, width());
  bottom = std::min(bottom, height());
  if (left >= right || top >= bottom) {
    return Fail("Cannot crop the image: the rectangle lies outside it or is empty");
  }
  if (left == 0 && top == 0 && right == width() && bottom == height()) return true;
  QUORVANE_IMAGE_TRANSFORM(
      "Cannot crop the image",
      Vips().extract_area(in, out, left, top, right - left, bottom - top, nullptr));
}

#undef QUORVANE_IMAGE_TRANSFORM

bool SamePixels(const Image& a, const Image& b) {
  if (a.width() != b.width() || a.height() != b.height() || a.channels() != b.channels()) {
    return false;
  }
  const size_t row_bytes = static_cast<size_t>(a.width()) * a.channels();
  for (int y = 0; y < a.height(); ++y) {
    if (std::memcmp(a.Row(y), b.Row(y), row_bytes) != 0) return false;
  }
  return true;
}

}  // namespace quorvane::image
