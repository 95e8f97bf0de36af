#include "image/image.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <random>
#include <string_view>
#include <system_error>

#include <vips/vips.h>

#include "image/internal/exif_date.h"
#include "image/internal/format_sniff.h"
#include "image/internal/vips_support.h"

namespace quorvane::image {

using internal::EnsureVips;
using internal::FormatName;
using internal::TakeVipsError;
using internal::VipsPtr;

namespace {

namespace fs = std::filesystem;

std::atomic<uint64_t> g_max_pixels{150'000'000};

constexpr int kMaxSide = 65500;  // the largest side JPEG can store; no format here goes beyond
constexpr int kMaxIconSide = 256;

std::string PathText(const fs::path& path) {
  const std::u8string utf8 = path.u8string();
  return std::string(reinterpret_cast<const char*>(utf8.data()), utf8.size());
}

bool UsesMagick(ImageFormat format) {
  return format == ImageFormat::kBmp || format == ImageFormat::kIco ||
         format == ImageFormat::kTga || format == ImageFormat::kPcx;
}

// Only containers that carry EXIF can carry a meaningful orientation; ImageMagick reports the
// TGA scan direction as an orientation it has already applied to the pixels.
bool HonoursOrientation(ImageFormat format) {
  return format == ImageFormat::kJpeg || format == ImageFormat::kTiff ||
         format == ImageFormat::kPng;
}

// Where the encoded bytes come from: a file, or memory the caller keeps alive for the call.
// A file that had to be read whole keeps its path, so errors still name it.
struct Source {
  fs::path path;  // empty for the caller's memory
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
};

std::string DescribeSource(const Source& source) {
  return source.path.empty() ? std::string("image data") : "\"" + PathText(source.path) + "\"";
}

bool ReadHead(Source& source, std::vector<uint8_t>* head, std::string* error) {
  if (source.in_memory()) {
    head->assign(source.data, source.data + std::min(source.size, internal::kSniffBytes));
    return true;
  }
  std::error_code ec;
  const bool exists = fs::exists(source.path, ec);
  std::ifstream in;
  if (fs::is_regular_file(source.path, ec)) in.open(source.path, std::ios::binary);
  if (!in.is_open()) {
    *error = "Cannot open " + DescribeSource(source) +
             (exists ? ": permission denied or not a file" : ": no such file");
    return false;
  }
  head->resize(internal::kSniffBytes);
  in.read(reinterpret_cast<char*>(head->data()), static_cast<std::streamsize>(head->size()));
  head->resize(static_cast<size_t>(in.gcount()));
  return true;
}

// BMP, ICO, TGA and PCX are read whole before the ImageMagick bridge sees them. None of them
// compresses better than to nothing, so an uncompressed 32-bit picture at the pixel ceiling
// (plus room for headers and palettes) bounds every genuine file.
uintmax_t MaxWholeFileBytes() { return g_max_pixels.load() * 4 + (1u << 20); }

bool ReadWholeFile(Source& source, std::string* error) {
  std::error_code ec;
  const uintmax_t size = fs::file_size(source.path, ec);
  if (ec || size > MaxWholeFileBytes()) {
    *error = "Cannot read " + DescribeSource(source) + (ec ? ": " + ec.message() : ": too large");
    return false;
  }
  source.owned.resize(static_cast<size_t>(size));
  std::ifstream in(source.path, std::ios::binary);
  in.read(reinterpret_cast<char*>(source.owned.data()), static_cast<std::streamsize>(size));
  if (!in) {
    *error = "Cannot read " + DescribeSource(source);
    return false;
  }
  source.data = source.owned.data();
  source.size = source.owned.size();
  return true;
}

int BitsFromBands(const VipsImage* image) {
  switch (image->Bands) {
    case 1:
      return 8;
    case 2:
      return 32;
    case 3:
      return 24;
    default:
      return image->Type == VIPS_INTERPRETATION_CMYK ? 24 : 32;
  }
}

// Opens the encoded image lazily: the header is read and checked against our limits, pixels are
// decoded later. `jpeg_shrink` (1, 2, 4 or 8) asks the JPEG decoder for a reduced image.
bool Open(Source& source, ImageFormat hint, int jpeg_shrink, Decoded* out, std::string* error) {
  std::vector<uint8_t> head;
  if (!ReadHead(source, &head, error)) return false;
  const ImageFormat format = internal::SniffFormat(head.data(), head.size(), hint);
  if (format == ImageFormat::kUnknown) {
    *error = head.empty()
                 ? "Cannot read " + DescribeSource(source) + ": it is empty"
                 : "Cannot read " + DescribeSource(source) + ": not a " +
                       (hint == ImageFormat::kUnknown ? std::string("supported image format")
                                                      : std::string(FormatName(hint)) +
                                                            " image or any other "
                                                            "supported format");
    return false;
  }
  if (UsesMagick(format) && !source.in_memory() && !ReadWholeFile(source, error)) return false;

  EnsureVips();
  VipsImage* raw = nullptr;
  const std::string file = PathText(source.path);
  const void* data = source.data;
  const size_t size = source.size;
  int failed = 0;
  switch (format) {
    case ImageFormat::kJpeg:
      failed = source.in_memory()
                   ? vips_jpegload_buffer(const_cast<void*>(data), size, &raw, "access",
                                          VIPS_ACCESS_SEQUENTIAL, "fail_on", VIPS_FAIL_ON_TRUNCATED,
                                          "shrink", jpeg_shrink, nullptr)
                   : vips_jpegload(file.c_str(), &raw, "access", VIPS_ACCESS_SEQUENTIAL, "fail_on",
                                   VIPS_FAIL_ON_TRUNCATED, "shrink", jpeg_shrink, nullptr);
      break;
    case ImageFormat::kPng:
      failed = source.in_memory()
                   ? vips_pngload_buffer(const_cast<void*>(data), size, &raw, "access",
                                         VIPS_ACCESS_SEQUENTIAL, "fail_on", VIPS_FAIL_ON_TRUNCATED,
                                         nullptr)
                   : vips_pngload(file.c_str(), &raw, "access", VIPS_ACCESS_SEQUENTIAL, "fail_on",
                                  VIPS_FAIL_ON_TRUNCATED, nullptr);
      break;
    case ImageFormat::kGif:
      failed = source.in_memory()
                   ? vips_gifload_buffer(const_cast<void*>(data), size, &raw, "access",
                                         VIPS_ACCESS_SEQUENTIAL, "fail_on", VIPS_FAIL_ON_TRUNCATED,
                                         nullptr)
                   : vips_gifload(file.c_str(), &raw, "access", VIPS_ACCESS_SEQUENTIAL, "fail_on",
                                  VIPS_FAIL_ON_TRUNCATED, nullptr);
      break;
    case ImageFormat::kTiff:
      failed = source.in_memory()
                   ? vips_tiffload_buffer(const_cast<void*>(data), size, &raw, "access",
                                          VIPS_ACCESS_SEQUENTIAL, "fail_on", VIPS_FAIL_ON_TRUNCATED,
                                          nullptr)
                   : vips_tiffload(file.c_str(), &raw, "access", VIPS_ACCESS_SEQUENTIAL, "fail_on",
                                   VIPS_FAIL_ON_TRUNCATED, nullptr);
      break;
    default:
      // ImageMagick numbers an icon's pictures in directory order; show the largest.
      failed = vips_magickload_buffer(
          const_cast<void*>(data), size, &raw, "page",
          format == ImageFormat::kIco ? internal::LargestIconEntry(source.data, source.size) : 0,
          nullptr);
      break;
  }
  VipsPtr image(raw);
  if (failed != 0 || image == nullptr) {
    *error = std::string("Cannot read ") + FormatName(format) + " image " + DescribeSource(source) +
             ": " + TakeVipsError();
    return false;
  }
  // ImageMagick picks its decoder from the bytes itself; make sure it agreed with our routing.
  if (UsesMagick(format)) {
    const char* decoder = nullptr;
    if (vips_image_get_typeof(image.get(), "magick-format") != 0 &&
        vips_image_get_string(image.get(), "magick-format", &decoder) == 0 &&
        std::string_view(decoder).substr(0, 3) !=
            std::string_view(FormatName(format)).substr(0, 3)) {
      *error = std::string("Cannot read ") + FormatName(format) + " image " +
               DescribeSource(source) + ": the data is in another format (" + decoder + ")";
      return false;
    }
  }

  const uint64_t pixels = static_cast<uint64_t>(image->Xsize) *
                          static_cast<uint64_t>(image->Ysize) * static_cast<uint64_t>(jpeg_shrink) *
                          static_cast<uint64_t>(jpeg_shrink);
  if (image->Xsize > kMaxSide || image->Ysize > kMaxSide || pixels > g_max_pixels.load()) {
    *error = "Cannot read " + DescribeSource(source) + ": the image is too large (" +
             std::to_string(image->Xsize * jpeg_shrink) + " x " +
             std::to_string(image->Ysize * jpeg_shrink) + " pixels; at most " +
             std::to_string(g_max_pixels.load() / 1'000'000) + " megapixels are accepted)";
    return false;
  }

  out->format = format;
  out->bits_per_pixel = UsesMagick(format)
                            ? internal::HeaderBitsPerPixel(format, source.data, source.size)
                            : internal::HeaderBitsPerPixel(format, head.data(), head.size());
  if (out->bits_per_pixel == 0) out->bits_per_pixel = BitsFromBands(image.get());
  int orientation = 1;
  if (HonoursOrientation(format) && vips_image_get_typeof(image.get(), "orientation") != 0 &&
      vips_image_get_int(image.get(), "orientation", &orientation) == 0 && orientation >= 1 &&
      orientation <= 8) {
    out->orientation = orientation;
  }
  const char* date = nullptr;
  if (vips_image_get_typeof(image.get(), "exif-ifd2-DateTimeOriginal") != 0 &&
      vips_image_get_string(image.get(), "exif-ifd2-DateTimeOriginal", &date) == 0) {
    out->date_taken = internal::ParseExifDateTime(date);
  }
  out->image = std::move(image);
  return true;
}

// Brings any decoded layout (grey, 16-bit, CMYK, palette expanded, extra bands) to 8-bit sRGB
// with three channels, or four when there is alpha.
bool ToRgb8(VipsPtr& image, std::string* error) {
  VipsImage* in = image.get();
  const bool alpha = vips_image_hasalpha(in) != 0;
  VipsImage* out = nullptr;
  const VipsInterpretation space = vips_image_guess_interpretation(in);
  if (space != VIPS_INTERPRETATION_sRGB || in->BandFmt != VIPS_FORMAT_UCHAR) {
    if (vips_colourspace(in, &out, VIPS_INTERPRETATION_sRGB, "source_space", space, nullptr) != 0) {
      *error = "Cannot convert the image to RGB: " + TakeVipsError();
      return false;
    }
    image.reset(out);
    in = out;
  }
  if (in->BandFmt != VIPS_FORMAT_UCHAR) {
    if (vips_cast(in, &out, VIPS_FORMAT_UCHAR, nullptr) != 0) {
      *error = "Cannot convert the image to 8 bits: " + TakeVipsError();
      return false;
    }
    image.reset(out);
    in = out;
  }
  const int colour_bands = alpha ? in->Bands - 1 : in->Bands;
  if (colour_bands == 3 && in->Bands <= 4) return true;
  VipsImage* colour = nullptr;
  if (colour_bands < 3) {
    VipsImage* grey = nullptr;
    if (vips_extract_band(in, &grey, 0, nullptr) != 0) {
      *error = TakeVipsError();
      return false;
    }
    VipsImage* parts[3] = {grey, grey, grey};
    const int failed = vips_bandjoin(parts, &colour, 3, nullptr);
    g_object_unref(grey);
    if (failed != 0) {
      *error = TakeVipsError();
      return false;
    }
  } else if (vips_extract_band(in, &colour, 0, "n", 3, nullptr) != 0) {
    *error = TakeVipsError();
    return false;
  }
  VipsPtr colour_ptr(colour);
  if (!alpha) {
    image = std::move(colour_ptr);
    return true;
  }
  VipsImage* alpha_band = nullptr;
  if (vips_extract_band(in, &alpha_band, in->Bands - 1, nullptr) != 0) {
    *error = TakeVipsError();
    return false;
  }
  VipsPtr alpha_ptr(alpha_band);
  if (vips_bandjoin2(colour, alpha_band, &out, nullptr) != 0) {
    *error = TakeVipsError();
    return false;
  }
  image.reset(out);
  return true;
}

bool Materialise(VipsPtr& image, std::string* error, const char* what);

// The GIF loader always adds an alpha channel; a fully opaque one is dropped again so a GIF
// without transparency behaves like any other true-colour picture. Needs decoded pixels.
bool DropOpaqueAlpha(VipsPtr& image, std::string* error) {
  if (image->Bands != 4) return true;
  VipsImage* alpha = nullptr;
  double lowest = 0;
  const bool ok = vips_extract_band(image.get(), &alpha, 3, nullptr) == 0 &&
                  vips_min(alpha, &lowest, nullptr) == 0;
  if (alpha != nullptr) g_object_unref(alpha);
  if (!ok) {
    *error = "Cannot read the transparency: " + TakeVipsError();
    return false;
  }
  if (lowest < 255) return true;
  VipsImage* rgb = nullptr;
  if (vips_extract_band(image.get(), &rgb, 0, "n", 3, nullptr) != 0) {
    *error = "Cannot read the transparency: " + TakeVipsError();
    return false;
  }
  VipsPtr rgb_ptr(rgb);
  if (!Materialise(rgb_ptr, error, "Cannot read the transparency")) return false;
  image = std::move(rgb_ptr);
  return true;
}

// Decodes the pixels of a lazy image into memory; this is where damaged data shows up.
bool Materialise(VipsPtr& image, std::string* error, const char* what) {
  VipsImage* memory = vips_image_copy_memory(image.get());
  if (memory == nullptr) {
    *error = std::string(what) + ": " + TakeVipsError();
    return false;
  }
  image.reset(memory);
  return true;
}

// Applies a decoded EXIF orientation to a memory image, then forgets it so that nothing saved
// later can turn the already upright pixels again.
bool MakeUpright(VipsPtr& image, int orientation, std::string* error) {
  if (orientation > 1) {
    vips_image_set_int(image.get(), "orientation", orientation);
    VipsImage* out = nullptr;
    if (vips_autorot(image.get(), &out, nullptr) != 0) {
      *error = "Cannot turn the image upright: " + TakeVipsError();
      return false;
    }
    image.reset(out);
    if (!Materialise(image, error, "Cannot turn the image upright")) return false;
  }
  vips_image_remove(image.get(), "orientation");
  return true;
}

void StripMetadata(VipsImage* image) {
  gchar** fields = vips_image_get_fields(image);
  for (gchar** field = fields; *field != nullptr; ++field) vips_image_remove(image, *field);
  g_strfreev(fields);
}

// Our own scalers start fresh images; the camera's metadata (EXIF, ICC) is carried across.
void CopyMetadata(VipsImage* from, VipsImage* to) {
  static constexpr std::string_view kBuiltIn[] = {"width",  "height",         "bands",   "format",
                                                  "coding", "interpretation", "xoffset", "yoffset",
                                                  "xres",   "yres",           "filename"};
  gchar** fields = vips_image_get_fields(from);
  for (gchar** field = fields; *field != nullptr; ++field) {
    if (std::find(std::begin(kBuiltIn), std::end(kBuiltIn), *field) != std::end(kBuiltIn)) {
      continue;
    }
    GValue value = G_VALUE_INIT;
    if (vips_image_get(from, *field, &value) == 0) {
      vips_image_set(to, *field, &value);
      g_value_unset(&value);
    }
  }
  g_strfreev(fields);
  // Setting "exif-data" makes libvips parse the blob again, which brings back fields the source
  // no longer has, the camera's orientation among them; the pixels are already upright.
  fields = vips_image_get_fields(to);
  for (gchar** field = fields; *field != nullptr; ++field) {
    if (vips_image_get_typeof(from, *field) == 0) vips_image_remove(to, *field);
  }
  g_strfreev(fields);
}

VipsKernel KernelFor(ResampleMode mode) {
  switch (mode) {
    case ResampleMode::kBilinear:
      return VIPS_KERNEL_LINEAR;
    case ResampleMode::kLanczos3:
      return VIPS_KERNEL_LANCZOS3;
    default:
      return VIPS_KERNEL_CUBIC;
  }
}

// Scales a lazy or memory image to exactly width x height. libvips rounds output sizes its own
// way, so a pixel row or column may need trimming or repeating afterwards. Alpha is
// premultiplied around the filter so transparent pixels do not bleed dark fringes.
bool ResizeExact(VipsPtr& image, int width, int height, ResampleMode mode, std::string* error) {
  VipsImage* in = image.get();
  if (in->Xsize == width && in->Ysize == height) return true;
  const bool alpha = in->Bands == 4;
  VipsPtr work;
  VipsImage* out = nullptr;
  if (alpha) {
    if (vips_premultiply(in, &out, nullptr) != 0) {
      *error = "Cannot resize the image: " + TakeVipsError();
      return false;
    }
    work.reset(out);
    in = out;
  }
  const double hscale = static_cast<double>(width) / in->Xsize;
  const double vscale = static_cast<double>(height) / in->Ysize;
  if (vips_resize(in, &out, hscale, "vscale", vscale, "kernel", KernelFor(mode), nullptr) != 0) {
    *error = "Cannot resize the image: " + TakeVipsError();
    return false;
  }
  VipsPtr resized(out);
  if (resized->Xsize != width || resized->Ysize != height) {
    if (vips_embed(resized.get(), &out, 0, 0, width, height, "extend", VIPS_EXTEND_COPY, nullptr) !=
        0) {
      *error = "Cannot resize the image: " + TakeVipsError();
      return false;
    }
    resized.reset(out);
  }
  if (alpha) {
    if (vips_unpremultiply(resized.get(), &out, nullptr) != 0) {
      *error = "Cannot resize the image: " + TakeVipsError();
      return false;
    }
    resized.reset(out);
  }
  if (resized->BandFmt != VIPS_FORMAT_UCHAR) {
    if (vips_cast(resized.get(), &out, VIPS_FORMAT_UCHAR, nullptr) != 0) {
      *error = "Cannot resize the image: " + TakeVipsError();
      return false;
    }
    resized.reset(out);
  }
  image = std::move(resized);
  return true;
}

// Nearest-neighbour scaling is done here because libvips's reducers average when shrinking,
// which is not what a "nearest" setting promises.
VipsPtr ResizeNearest(VipsImage* in, int width, int height) {
  const int channels = in->Bands;
  const size_t in_stride = VIPS_IMAGE_SIZEOF_LINE(in);
  std::vector<uint8_t> pixels(static_cast<size_t>(width) * height * channels);
  std::vector<size_t> source_offset(width);
  for (int x = 0; x < width; ++x) {
    const int64_t sx = (2 * int64_t{x} + 1) * in->Xsize / (2 * int64_t{width});
    source_offset[x] = static_cast<size_t>(sx) * channels;
  }
  const uint8_t* base = VIPS_IMAGE_ADDR(in, 0, 0);
  for (int y = 0; y < height; ++y) {
    const int64_t sy = (2 * int64_t{y} + 1) * in->Ysize / (2 * int64_t{height});
    const uint8_t* src_row = base + static_cast<size_t>(sy) * in_stride;
    uint8_t* dst = pixels.data() + static_cast<size_t>(y) * width * channels;
    for (int x = 0; x < width; ++x, dst += channels) {
      std::memcpy(dst, src_row + source_offset[x], channels);
    }
  }
  VipsImage* out = vips_image_new_from_memory_copy(pixels.data(), pixels.size(), width, height,
                                                   channels, VIPS_FORMAT_UCHAR);
  if (out != nullptr) {
    out->Type = VIPS_INTERPRETATION_sRGB;
  }
  return VipsPtr(out);
}

// Writes `bytes` beside `path` and renames the copy into place, so a failed save never leaves
// half a file where a good one was.
bool WriteFileAtomically(const fs::path& path, const void* bytes, size_t size, std::string* error) {
  std::random_device random;
  fs::path temp = path;
  temp += ".tmp" + std::to_string(random() % 1'000'000);
  {
    std::ofstream out(temp, std::ios::binary | std::ios::trunc);
    if (!out) {
      *error = "Cannot write \"" + PathText(path) + "\": " + std::strerror(errno);
      return false;
    }
    out.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(size));
    out.close();
    if (!out) {
      std::error_code ignored;
      fs::remove(temp, ignored);
      *error = "Cannot write \"" + PathText(path) + "\": the disk may be full";
      return false;
    }
  }
  std::error_code ec;
  fs::rename(temp, path, ec);
  if (ec) {
    std::error_code ignored;
    fs::remove(temp, ignored);
    *error = "Cannot write \"" + PathText(path) + "\": " + ec.message();
    return false;
  }
  return true;
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

void SetMaxImagePixels(uint64_t max_pixels) { g_max_pixels.store(max_pixels); }
uint64_t MaxImagePixels() { return g_max_pixels.load(); }

bool ReadImageInfo(const fs::path& path, ImageFormat format_hint, ImageInfo* info,
                   std::string* error) {
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
  return true;
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

Image::Impl* Image::Detach() {
  if (impl_ == nullptr) return nullptr;
  if (impl_.use_count() > 1) {
    auto copy = std::make_shared<Impl>();
    copy->bits_per_pixel = impl_->bits_per_pixel;
    copy->format = impl_->format;
    copy->date_taken = impl_->date_taken;
    VipsImage* view = nullptr;
    VipsImage* memory = nullptr;
    if (vips_copy(impl_->pixels.get(), &view, nullptr) == 0) {
      memory = vips_image_copy_memory(view);
      g_object_unref(view);
    }
    // Only an out-of-memory failure gets here; sharing is still correct, just not private.
    if (memory == nullptr) {
      vips_error_clear();
      return impl_.get();
    }
    copy->pixels.reset(memory);
    impl_ = std::move(copy);
  }
  return impl_.get();
}

bool Image::Create(int width, int height, bool with_alpha, Rgba fill) {
  if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide ||
      static_cast<uint64_t>(width) * static_cast<uint64_t>(height) > g_max_pixels.load()) {
    return Fail("Cannot create an image of " + std::to_string(width) + " x " +
                std::to_string(height) + " pixels");
  }
  EnsureVips();
  const int channels = with_alpha ? 4 : 3;
  std::vector<uint8_t> pixels(static_cast<size_t>(width) * height * channels);
  const uint8_t value[4] = {fill.r, fill.g, fill.b, fill.a};
  for (size_t i = 0; i < pixels.size(); i += channels) std::memcpy(&pixels[i], value, channels);
  VipsImage* image = vips_image_new_from_memory_copy(pixels.data(), pixels.size(), width, height,
                                                     channels, VIPS_FORMAT_UCHAR);
  if (image == nullptr) return Fail("Cannot create the image: " + TakeVipsError());
  image->Type = VIPS_INTERPRETATION_sRGB;
  auto impl = std::make_shared<Impl>();
  impl->pixels.reset(image);
  impl->bits_per_pixel = with_alpha ? 32 : 24;
  impl_ = std::move(impl);
  return true;
}

namespace {

bool DecodeWhole(Source& source, ImageFormat hint, Decoded* decoded, std::string* error) {
  if (!Open(source, hint, 1, decoded, error)) return false;
  if (!ToRgb8(decoded->image, error)) return false;
  const std::string what = std::string("Cannot read ") + FormatName(decoded->format) + " image " +
                           DescribeSource(source);
  if (!Materialise(decoded->image, error, what.c_str())) return false;
  if (decoded->format == ImageFormat::kGif && !DropOpaqueAlpha(decoded->image, error)) {
    return false;
  }
  return MakeUpright(decoded->image, decoded->orientation, error);
}

}  // namespace

bool Image::Load(const fs::path& path, ImageFormat format_hint) {
  Source source;
  source.path = path;
  Decoded decoded;
  std::string error;
  if (!DecodeWhole(source, format_hint, &decoded, &error)) return Fail(std::move(error));
  auto impl = std::make_shared<Impl>();
  impl->pixels = std::move(decoded.image);
  impl->bits_per_pixel = decoded.bits_per_pixel;
  impl->format = decoded.format;
  impl->date_taken = decoded.date_taken;
  impl_ = std::move(impl);
  return true;
}

bool Image::LoadFromMemory(const void* data, size_t size, ImageFormat format_hint) {
  if (data == nullptr || size == 0) return Fail("Cannot read image data: it is empty");
  Source source;
  source.data = static_cast<const uint8_t*>(data);
  source.size = size;
  Decoded decoded;
  std::string error;
  if (!DecodeWhole(source, format_hint, &decoded, &error)) return Fail(std::move(error));
  auto impl = std::make_shared<Impl>();
  impl->pixels = std::move(decoded.image);
  impl->bits_per_pixel = decoded.bits_per_pixel;
  impl->format = decoded.format;
  impl->date_taken = decoded.date_taken;
  impl_ = std::move(impl);
  return true;
}

bool Image::LoadThumbnail(const fs::path& path, int width, int height, ResampleMode mode,
                          ImageFormat format_hint) {
  if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide) {
    return Fail("Cannot make a thumbnail of " + std::to_string(width) + " x " +
                std::to_string(height) + " pixels");
  }
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
    }
  }
  const std::string what =
      std::string("Cannot read ") + FormatName(decoded.format) + " image " + DescribeSource(source);
  if (!ToRgb8(decoded.image, &error)) return Fail(std::move(error));
  if (decoded.format == ImageFormat::kGif && (!Materialise(decoded.image, &error, what.c_str()) ||
                                              !DropOpaqueAlpha(decoded.image, &error))) {
    return Fail(std::move(error));
  }
  if (mode == ResampleMode::kNearest) {
    // Our nearest scaler reads from memory; the reduced decode keeps this small for JPEGs.
    if (!Materialise(decoded.image, &error, what.c_str())) return Fail(std::move(error));
    VipsPtr scaled = ResizeNearest(decoded.image.get(), stored_width, stored_height);
    if (scaled == nullptr) return Fail("Cannot resize the image: " + TakeVipsError());
    decoded.image = std::move(scaled);
  } else {
    if (!ResizeExact(decoded.image, stored_width, stored_height, mode, &error)) {
      return Fail(std::move(error));
    }
    if (!Materialise(decoded.image, &error, what.c_str())) return Fail(std::move(error));
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
}

bool Image::SaveToMemory(std::vector<uint8_t>* out, ImageFormat format, int jpeg_quality) const {
  if (impl_ == nullptr) return Fail("There is no image to save");
  VipsImage* image = impl_->pixels.get();
  if (format == ImageFormat::kIco && (image->Xsize > kMaxIconSide || image->Ysize > kMaxIconSide)) {
    return Fail("Cannot save as ICO: icons can be at most 256 x 256 pixels");
  }
  VipsPtr opaque;
  // JPEG and PCX have no alpha; CxImage-style savers simply drop it, keeping the colour.
  if ((format == ImageFormat::kJpeg || format == ImageFormat::kPcx) && image->Bands == 4) {
    VipsImage* rgb = nullptr;
    if (vips_extract_band(image, &rgb, 0, "n", 3, nullptr) != 0) {
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
      failed = vips_jpegsave_buffer(image, &buffer, &size, "Q", std::clamp(jpeg_quality, 1, 100),
                                    nullptr);
      break;
    case ImageFormat::kPng:
      failed = vips_pngsave_buffer(image, &buffer, &size, "compression", 6, nullptr);
      break;
    case ImageFormat::kGif:
      failed = vips_gifsave_buffer(image, &buffer, &size, nullptr);
      break;
    case ImageFormat::kTiff:
      failed = vips_tiffsave_buffer(image, &buffer, &size, "compression",
                                    VIPS_FOREIGN_TIFF_COMPRESSION_LZW, nullptr);
      break;
    case ImageFormat::kBmp:
      // Version 3 bitmaps open everywhere; only alpha needs the newer header.
      failed = vips_magicksave_buffer(image, &buffer, &size, "format",
                                      image->Bands == 4 ? "BMP" : "BMP3", "strip", TRUE, nullptr);
      break;
    case ImageFormat::kIco:
    case ImageFormat::kTga:
    case ImageFormat::kPcx:
      failed = vips_magicksave_buffer(image, &buffer, &size, "format", FormatName(format), "strip",
                                      TRUE, nullptr);
      break;
    default:
      return Fail("Cannot save the image: unknown format " +
                  std::to_string(static_cast<int>(format)));
  }
  if (failed != 0 || buffer == nullptr) {
    g_free(buffer);
    return Fail(std::string("Cannot save the image as ") + FormatName(format) + ": " +
                TakeVipsError());
  }
  const uint8_t* bytes = static_cast<const uint8_t*>(buffer);
  out->assign(bytes, bytes + size);
  g_free(buffer);
  return true;
}

bool Image::Save(const fs::path& path, ImageFormat format, int jpeg_quality) const {
  std::vector<uint8_t> bytes;
  if (!SaveToMemory(&bytes, format, jpeg_quality)) return false;
  std::string error;
  if (!WriteFileAtomically(path, bytes.data(), bytes.size(), &error)) return Fail(error);
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
size_t Image::stride() const { return impl_ ? VIPS_IMAGE_SIZEOF_LINE(impl_->pixels.get()) : 0; }

const uint8_t* Image::Row(int y) const {
  if (!impl_ || y < 0 || y >= impl_->pixels->Ysize) return nullptr;
  return VIPS_IMAGE_ADDR(impl_->pixels.get(), 0, y);
}

uint8_t* Image::MutableRow(int y) {
  if (!impl_ || y < 0 || y >= impl_->pixels->Ysize) return nullptr;
  return VIPS_IMAGE_ADDR(Detach()->pixels.get(), 0, y);
}

Rgba Image::GetPixel(int x, int y) const {
  if (!impl_ || x < 0 || y < 0 || x >= width() || y >= height()) return Rgba{0, 0, 0, 0};
  const uint8_t* p = VIPS_IMAGE_ADDR(impl_->pixels.get(), x, y);
  return Rgba{p[0], p[1], p[2], channels() == 4 ? p[3] : uint8_t{255}};
}

void Image::SetPixel(int x, int y, Rgba color) {
  if (!impl_ || x < 0 || y < 0 || x >= width() || y >= height()) return;
  uint8_t* p = VIPS_IMAGE_ADDR(Detach()->pixels.get(), x, y);
  p[0] = color.r;
  p[1] = color.g;
  p[2] = color.b;
  if (channels() == 4) p[3] = color.a;
}

bool Image::IncreaseBpp(int bits) {
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
    if (vips_bandjoin_const1(impl_->pixels.get(), &out, 255.0, nullptr) != 0) {
      return Fail("Cannot add an alpha channel: " + TakeVipsError());
    }
    VipsPtr joined(out);
    std::string error;
    if (!Materialise(joined, &error, "Cannot add an alpha channel")) return Fail(error);
    Detach();
    impl_->pixels = std::move(joined);
  } else {
    Detach();
  }
  impl_->bits_per_pixel = bits;
  return true;
}

namespace {

// Runs one libvips transform on the current pixels and materialises the result.
template <typename Transform>
bool ApplyTransform(const VipsPtr& pixels, VipsPtr* result, std::string* error, const char* what,
                    Transform transform) {
  VipsImage* out = nullptr;
  if (transform(pixels.get(), &out) != 0) {
    *error = std::string(what) + ": " + TakeVipsError();
    return false;
  }
  VipsPtr image(out);
  if (!Materialise(image, error, what)) return false;
  *result = std::move(image);
  return true;
}

}  // namespace

#define QUORVANE_IMAGE_TRANSFORM(what, call)                                     \
  do {                                                                           \
    if (!impl_) return Fail("There is no image");                                \
    VipsPtr result;                                                              \
    std::string error;                                                           \
    if (!ApplyTransform(impl_->pixels, &result, &error, what,                    \
                        [&](VipsImage* in, VipsImage** out) { return call; })) { \
      return Fail(std::move(error));                                             \
    }                                                                            \
    Detach();                                                                    \
    impl_->pixels = std::move(result);                                           \
    return true;                                                                 \
  } while (false)

bool Image::RotateRight() {
  QUORVANE_IMAGE_TRANSFORM("Cannot rotate the image", vips_rot(in, out, VIPS_ANGLE_D90, nullptr));
}

bool Image::RotateLeft() {
  QUORVANE_IMAGE_TRANSFORM("Cannot rotate the image", vips_rot(in, out, VIPS_ANGLE_D270, nullptr));
}

bool Image::Rotate180() {
  QUORVANE_IMAGE_TRANSFORM("Cannot rotate the image", vips_rot(in, out, VIPS_ANGLE_D180, nullptr));
}

bool Image::Flip() {
  QUORVANE_IMAGE_TRANSFORM("Cannot flip the image",
                           vips_flip(in, out, VIPS_DIRECTION_VERTICAL, nullptr));
}

bool Image::Mirror() {
  QUORVANE_IMAGE_TRANSFORM("Cannot mirror the image",
                           vips_flip(in, out, VIPS_DIRECTION_HORIZONTAL, nullptr));
}

bool Image::Rotate(double degrees, Rgba background) {
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
  VipsArrayDouble* fill_array = vips_array_double_new(fill, alpha ? 4 : 3);
  VipsInterpolate* bilinear = vips_interpolate_new("bilinear");
  VipsPtr result;
  std::string error;
  // libvips's own help calls positive angles anticlockwise, but with rows running downwards
  // they turn clockwise on screen, which is what our callers mean; the tests pin this down.
  const bool ok = ApplyTransform(impl_->pixels, &result, &error, "Cannot rotate the image",
                                 [&](VipsImage* in, VipsImage** out) {
                                   return vips_rotate(in, out, turn, "background", fill_array,
                                                      "interpolate", bilinear, nullptr);
                                 });
  vips_area_unref(VIPS_AREA(fill_array));
  g_object_unref(bilinear);
  if (!ok) return Fail(std::move(error));
  Detach();
  impl_->pixels = std::move(result);
  return true;
}

bool Image::Resample(int width, int height, ResampleMode mode) {
  if (!impl_) return Fail("There is no image");
  if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide ||
      static_cast<uint64_t>(width) * static_cast<uint64_t>(height) > g_max_pixels.load()) {
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
    g_object_ref(start);
    result.reset(start);
    std::string error;
    if (!ResizeExact(result, width, height, mode, &error)) return Fail(std::move(error));
    if (!Materialise(result, &error, "Cannot resize the image")) return Fail(std::move(error));
  }
  Detach();
  impl_->pixels = std::move(result);
  return true;
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
      vips_extract_area(in, out, left, top, right - left, bottom - top, nullptr));
}

#undef QUORVANE_IMAGE_TRANSFORM

}  // namespace quorvane::image
