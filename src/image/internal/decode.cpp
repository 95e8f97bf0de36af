#include "image/internal/decode.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <system_error>

#include "image/internal/exif_date.h"
#include "image/internal/format_sniff.h"
#include "image/internal/jpeg_reduced.h"

namespace quorvane::image {
namespace {

std::atomic<uint64_t> g_max_pixels{150'000'000};

}  // namespace

void SetMaxImagePixels(uint64_t max_pixels) { g_max_pixels.store(max_pixels); }
uint64_t MaxImagePixels() { return g_max_pixels.load(); }

namespace internal {

namespace fs = std::filesystem;

bool FitsLimits(uint64_t width, uint64_t height) {
  return width <= kMaxSide && height <= kMaxSide && width * height <= MaxImagePixels();
}

std::string TooLargeReason(uint64_t width, uint64_t height) {
  return std::to_string(width) + " x " + std::to_string(height) + " pixels; at most " +
         std::to_string(MaxImagePixels() / 1'000'000) + " megapixels are accepted";
}

std::string PathText(const fs::path& path) {
  const std::u8string utf8 = path.u8string();
  return std::string(reinterpret_cast<const char*>(utf8.data()), utf8.size());
}

static bool UsesMagick(ImageFormat format) {
  return format == ImageFormat::kBmp || format == ImageFormat::kIco ||
         format == ImageFormat::kTga || format == ImageFormat::kPcx;
}

// Containers that carry EXIF can carry a meaningful orientation. TGA's is its scan direction:
// ImageMagick hands the rows over in file order and reports where the first one belongs (most
// writers store the bottom row first), in EXIF's numbering.
static bool HonoursOrientation(ImageFormat format) {
  return format == ImageFormat::kJpeg || format == ImageFormat::kTiff ||
         format == ImageFormat::kPng || format == ImageFormat::kTga;
}

std::string DescribeSource(const Source& source) {
  return source.path.empty() ? std::string("image data") : "\"" + PathText(source.path) + "\"";
}

static bool ReadHead(Source& source, std::vector<uint8_t>* head, std::string* error) {
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
static uintmax_t MaxWholeFileBytes() { return MaxImagePixels() * 4 + (1u << 20); }

static bool ReadWholeFile(Source& source, std::string* error) {
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

static int BitsFromBands(const VipsImage* image) {
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

  if (!EnsureVips(error)) return false;
  VipsImage* raw = nullptr;
  const std::string file = PathText(source.path);
  const void* data = source.data;
  const size_t size = source.size;
  size_t png_offset = 0;
  size_t png_length = 0;
  int failed = 0;
  switch (format) {
    case ImageFormat::kJpeg:
      failed =
          source.in_memory()
              ? Vips().jpegload_buffer(const_cast<void*>(data), size, &raw, "access",
                                       VIPS_ACCESS_SEQUENTIAL, "fail_on", VIPS_FAIL_ON_TRUNCATED,
                                       "shrink", jpeg_shrink, nullptr)
              : Vips().jpegload(file.c_str(), &raw, "access", VIPS_ACCESS_SEQUENTIAL, "fail_on",
                                VIPS_FAIL_ON_TRUNCATED, "shrink", jpeg_shrink, nullptr);
      break;
    case ImageFormat::kPng:
      failed = source.in_memory()
                   ? Vips().pngload_buffer(const_cast<void*>(data), size, &raw, "access",
                                           VIPS_ACCESS_SEQUENTIAL, "fail_on",
                                           VIPS_FAIL_ON_TRUNCATED, nullptr)
                   : Vips().pngload(file.c_str(), &raw, "access", VIPS_ACCESS_SEQUENTIAL, "fail_on",
                                    VIPS_FAIL_ON_TRUNCATED, nullptr);
      break;
    case ImageFormat::kGif:
      failed = source.in_memory()
                   ? Vips().gifload_buffer(const_cast<void*>(data), size, &raw, "access",
                                           VIPS_ACCESS_SEQUENTIAL, "fail_on",
                                           VIPS_FAIL_ON_TRUNCATED, nullptr)
                   : Vips().gifload(file.c_str(), &raw, "access", VIPS_ACCESS_SEQUENTIAL, "fail_on",
                                    VIPS_FAIL_ON_TRUNCATED, nullptr);
      break;
    case ImageFormat::kTiff:
      failed = source.in_memory()
                   ? Vips().tiffload_buffer(const_cast<void*>(data), size, &raw, "access",
                                            VIPS_ACCESS_SEQUENTIAL, "fail_on",
                                            VIPS_FAIL_ON_TRUNCATED, nullptr)
                   : Vips().tiffload(file.c_str(), &raw, "access", VIPS_ACCESS_SEQUENTIAL,
                                     "fail_on", VIPS_FAIL_ON_TRUNCATED, nullptr);
      break;
    default:
      if (format == ImageFormat::kIco &&
          internal::LargestIconPng(source.data, source.size, &png_offset, &png_length)) {
        // A PNG inside an icon is a whole PNG file: our PNG decoder reads it directly.
        failed = Vips().pngload_buffer(const_cast<uint8_t*>(source.data + png_offset), png_length,
                                       &raw, "access", VIPS_ACCESS_SEQUENTIAL, "fail_on",
                                       VIPS_FAIL_ON_TRUNCATED, nullptr);
        break;
      }
      // ImageMagick numbers an icon's pictures in directory order; show the largest.
      failed = Vips().magickload_buffer(
          const_cast<void*>(data), size, &raw, "page",
          format == ImageFormat::kIco ? internal::LargestIconEntry(source.data, source.size) : 0,
          nullptr);
      break;
  }
  VipsPtr image(raw);
  if (failed != 0 || image == nullptr) {
    *error = std::string("Cannot read ") + FormatName(format) + " image " + DescribeSource(source) +
             ": " + TakeVipsError(kDamagedData);
    return false;
  }
  // ImageMagick picks its decoder from the bytes itself; make sure it agreed with our routing.
  if (UsesMagick(format) && png_length == 0) {
    const char* decoder = nullptr;
    if (Vips().image_get_typeof(image.get(), "magick-format") != 0 &&
        Vips().image_get_string(image.get(), "magick-format", &decoder) == 0 &&
        std::string_view(decoder).substr(0, 3) !=
            std::string_view(FormatName(format)).substr(0, 3)) {
      *error = std::string("Cannot read ") + FormatName(format) + " image " +
               DescribeSource(source) + ": the data is in another format (" + decoder + ")";
      return false;
    }
  }

  // ImageMagick gives a black-and-white PCX's set bits as black; the format's own program, and
  // every other reader, shows them as white.
  if (format == ImageFormat::kPcx && head.size() > 65 && head[3] == 1 && head[65] == 1) {
    VipsImage* inverted = nullptr;
    if (Vips().invert(image.get(), &inverted, nullptr) != 0) {
      *error = "Cannot read PCX image " + DescribeSource(source) + ": " + TakeVipsError();
      return false;
    }
    image.reset(inverted);
  }

  const uint64_t full_width = static_cast<uint64_t>(image->Xsize) * jpeg_shrink;
  const uint64_t full_height = static_cast<uint64_t>(image->Ysize) * jpeg_shrink;
  if (!FitsLimits(full_width, full_height)) {
    *error = "Cannot read " + DescribeSource(source) + ": the image is too large (" +
             TooLargeReason(full_width, full_height) + ")";
    return false;
  }

  out->format = format;
  out->stored_width = full_width;
  out->stored_height = full_height;
  int interlaced = 0;
  out->held_whole = Vips().image_get_typeof(image.get(), "interlaced") != 0 &&
                    Vips().image_get_int(image.get(), "interlaced", &interlaced) == 0 &&
                    interlaced != 0;
  const char* subsample = nullptr;
  out->chroma_subsampled =
      format == ImageFormat::kJpeg &&
      Vips().image_get_typeof(image.get(), "jpeg-chroma-subsample") != 0 &&
      Vips().image_get_string(image.get(), "jpeg-chroma-subsample", &subsample) == 0 &&
      subsample != nullptr && std::string_view(subsample) != "4:4:4";
  out->bits_per_pixel = UsesMagick(format)
                            ? internal::HeaderBitsPerPixel(format, source.data, source.size)
                            : internal::HeaderBitsPerPixel(format, head.data(), head.size());
  if (out->bits_per_pixel == 0) out->bits_per_pixel = BitsFromBands(image.get());
  int orientation = 1;
  if (HonoursOrientation(format) && Vips().image_get_typeof(image.get(), "orientation") != 0 &&
      Vips().image_get_int(image.get(), "orientation", &orientation) == 0 && orientation >= 1 &&
      orientation <= 8) {
    out->orientation = orientation;
  }
  const char* date = nullptr;
  if (Vips().image_get_typeof(image.get(), "exif-ifd2-DateTimeOriginal") != 0 &&
      Vips().image_get_string(image.get(), "exif-ifd2-DateTimeOriginal", &date) == 0) {
    out->date_taken = internal::ParseExifDateTime(date);
  }
  out->image = std::move(image);
  return true;
}

// Brings any decoded layout (grey, 16-bit, CMYK, palette expanded, extra bands) to 8-bit sRGB
// with three channels, or four when there is alpha.
bool ToRgb8(VipsPtr& image, std::string* error) {
  VipsImage* in = image.get();
  VipsImage* out = nullptr;
  VipsInterpretation space = Vips().image_guess_interpretation(in);
  // ImageMagick hands some grey pictures over (a grey TGA, say) as three equal bands marked
  // grey, which libvips would take for grey plus two extra bands.
  if ((space == VIPS_INTERPRETATION_B_W || space == VIPS_INTERPRETATION_GREY16) && in->Bands >= 3) {
    space = space == VIPS_INTERPRETATION_B_W ? VIPS_INTERPRETATION_sRGB : VIPS_INTERPRETATION_RGB16;
    if (Vips().copy(in, &out, "interpretation", space, nullptr) != 0) {
      *error = "Cannot convert the image to RGB: " + TakeVipsError();
      return false;
    }
    image.reset(out);
    in = out;
  }
  const bool alpha = Vips().image_hasalpha(in) != 0;
  if (space != VIPS_INTERPRETATION_sRGB || in->BandFmt != VIPS_FORMAT_UCHAR) {
    if (Vips().colourspace(in, &out, VIPS_INTERPRETATION_sRGB, "source_space", space, nullptr) !=
        0) {
      *error = "Cannot convert the image to RGB: " + TakeVipsError();
      return false;
    }
    image.reset(out);
    in = out;
  }
  if (in->BandFmt != VIPS_FORMAT_UCHAR) {
    if (Vips().cast(in, &out, VIPS_FORMAT_UCHAR, nullptr) != 0) {
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
    if (Vips().extract_band(in, &grey, 0, nullptr) != 0) {
      *error = TakeVipsError();
      return false;
    }
    VipsImage* parts[3] = {grey, grey, grey};
    const int failed = Vips().bandjoin(parts, &colour, 3, nullptr);
    Vips().object_unref(grey);
    if (failed != 0) {
      *error = TakeVipsError();
      return false;
    }
  } else if (Vips().extract_band(in, &colour, 0, "n", 3, nullptr) != 0) {
    *error = TakeVipsError();
    return false;
  }
  VipsPtr colour_ptr(colour);
  if (!alpha) {
    image = std::move(colour_ptr);
    return true;
  }
  VipsImage* alpha_band = nullptr;
  if (Vips().extract_band(in, &alpha_band, in->Bands - 1, nullptr) != 0) {
    *error = TakeVipsError();
    return false;
  }
  VipsPtr alpha_ptr(alpha_band);
  if (Vips().bandjoin2(colour, alpha_band, &out, nullptr) != 0) {
    *error = TakeVipsError();
    return false;
  }
  image.reset(out);
  return true;
}

// The GIF loader always adds an alpha channel; a fully opaque one is dropped again so a GIF
// without transparency behaves like any other true-colour picture. Needs decoded pixels.
bool DropOpaqueAlpha(VipsPtr& image, std::string* error) {
  if (image->Bands != 4) return true;
  VipsImage* alpha = nullptr;
  double lowest = 0;
  const bool ok = Vips().extract_band(image.get(), &alpha, 3, nullptr) == 0 &&
                  Vips().min(alpha, &lowest, nullptr) == 0;
  if (alpha != nullptr) Vips().object_unref(alpha);
  if (!ok) {
    *error = "Cannot read the transparency: " + TakeVipsError();
    return false;
  }
  if (lowest < 255) return true;
  VipsImage* rgb = nullptr;
  if (Vips().extract_band(image.get(), &rgb, 0, "n", 3, nullptr) != 0) {
    *error = "Cannot read the transparency: " + TakeVipsError();
    return false;
  }
  VipsPtr rgb_ptr(rgb);
  if (!Materialise(rgb_ptr, error, "Cannot read the transparency")) return false;
  image = std::move(rgb_ptr);
  return true;
}

// Decodes the pixels of a lazy image into memory; this is where damaged data shows up.
bool Materialise(VipsPtr& image, std::string* error, const char* what, const char* fallback) {
  VipsImage* memory = Vips().image_copy_memory(image.get());
  if (memory == nullptr) {
    *error = std::string(what) + ": " + TakeVipsError(fallback);
    return false;
  }
  image.reset(memory);
  return true;
}

// Applies a decoded EXIF orientation to a memory image, then forgets it so that nothing saved
// later can turn the already upright pixels again.
bool MakeUpright(VipsPtr& image, int orientation, std::string* error) {
  if (orientation > 1) {
    Vips().image_set_int(image.get(), "orientation", orientation);
    VipsImage* out = nullptr;
    if (Vips().autorot(image.get(), &out, nullptr) != 0) {
      *error = "Cannot turn the image upright: " + TakeVipsError();
      return false;
    }
    image.reset(out);
    if (!Materialise(image, error, "Cannot turn the image upright")) return false;
  }
  Vips().image_remove(image.get(), "orientation");
  return true;
}

void StripMetadata(VipsImage* image) {
  gchar** fields = Vips().image_get_fields(image);
  for (gchar** field = fields; *field != nullptr; ++field) Vips().image_remove(image, *field);
  Vips().strfreev(fields);
}

// Our own scalers start fresh images; the camera's metadata (EXIF, ICC) is carried across.
void CopyMetadata(VipsImage* from, VipsImage* to) {
  static constexpr std::string_view kBuiltIn[] = {"width",  "height",         "bands",   "format",
                                                  "coding", "interpretation", "xoffset", "yoffset",
                                                  "xres",   "yres",           "filename"};
  gchar** fields = Vips().image_get_fields(from);
  for (gchar** field = fields; *field != nullptr; ++field) {
    if (std::find(std::begin(kBuiltIn), std::end(kBuiltIn), *field) != std::end(kBuiltIn)) {
      continue;
    }
    GValue value = G_VALUE_INIT;
    if (Vips().image_get(from, *field, &value) == 0) {
      Vips().image_set(to, *field, &value);
      Vips().value_unset(&value);
    }
  }
  Vips().strfreev(fields);
  // Setting "exif-data" makes libvips parse the blob again, which brings back fields the source
  // no longer has, the camera's orientation among them; the pixels are already upright.
  fields = Vips().image_get_fields(to);
  for (gchar** field = fields; *field != nullptr; ++field) {
    if (Vips().image_get_typeof(from, *field) == 0) Vips().image_remove(to, *field);
  }
  Vips().strfreev(fields);
}

namespace {

// What a decoder keeps besides its result while it decodes a picture stored at `pixels` pixels
// of `decoded_pixel` bytes each (as the loader hands them over) in a file of `file_bytes`.
uint64_t DecoderKeeps(ImageFormat format, uint64_t pixels, uint64_t bands, uint64_t decoded_pixel,
                      bool held_whole, bool chroma_subsampled, uint64_t file_bytes) {
  switch (format) {
    case ImageFormat::kJpeg:
      // libjpeg keeps every coefficient of a progressive file, two bytes for each sample of
      // each component. Colour stored at half width (4:2:2, the largest subsampled layout)
      // takes one sample per two pixels in each of its two components.
      if (!held_whole) return 0;
      return bands == 3 && chroma_subsampled ? pixels * 4 : pixels * 2 * bands;
    case ImageFormat::kPng:
      return held_whole ? pixels * decoded_pixel : 0;
    case ImageFormat::kGif:
      return pixels * 4 * 2;  // the frame and the canvas it is drawn on
    case ImageFormat::kTiff:
      return 0;  // strips and tiles, a few rows at a time
    default:
      // ImageMagick's own pixels (four channels of 16 bits), libvips's copy of them and the
      // file read whole.
      return pixels * 8 + pixels * decoded_pixel + file_bytes;
  }
}

}  // namespace

uint64_t DecodeBytes(const Decoded& opened, const Source& source, uint64_t result_width,
                     uint64_t result_height) {
  const VipsImage* header = opened.image.get();
  const uint64_t keeps = DecoderKeeps(opened.format, opened.stored_width * opened.stored_height,
                                      static_cast<uint64_t>(header->Bands), PixelBytes(header),
                                      opened.held_whole, opened.chroma_subsampled, source.size);
  // A picture turned upright, or a GIF's dropped alpha, is one more copy of the result.
  const uint64_t copies =
      1 + (opened.orientation > 1 ? 1 : 0) + (opened.format == ImageFormat::kGif ? 1 : 0);
  return keeps + result_width * result_height * 4 * copies;
}

uint64_t ReopenBytes(ImageFormat format, uint64_t width, uint64_t height, int bands) {
  const uint64_t pixels = width * height;
  const uint64_t pixel = static_cast<uint64_t>(bands);
  // As our savers write them: baseline JPEG, PNG without interlacing, uncompressed bitmaps.
  return DecoderKeeps(format, pixels, pixel, pixel, false, false, pixels * pixel) +
         pixels * 4 * (format == ImageFormat::kGif ? 2 : 1);
}

bool HoldDecodeMemory(const Decoded& opened, const Source& source, uint64_t result_width,
                      uint64_t result_height, DecodeBudget::Hold* hold, std::string* error) {
  std::string why;
  if (DecodeBudget::Shared().Acquire(DecodeBytes(opened, source, result_width, result_height), hold,
                                     &why)) {
    return true;
  }
  *error = std::string("Cannot read ") + FormatName(opened.format) + " image " +
           DescribeSource(source) + ": " + why;
  return false;
}

bool DecodeWhole(Source& source, ImageFormat hint, Decoded* decoded, std::string* error) {
  if (!Open(source, hint, 1, decoded, error)) return false;
  // libjpeg notices a missing end only when it reads ahead for it, which depends on the data;
  // the thumbnail paths, which may never read that far, look for the end marker, and so must
  // this one, for one verdict on every path.
  if (decoded->format == ImageFormat::kJpeg) {
    JpegInput input;
    input.path = source.path;
    input.data = source.data;
    input.size = source.size;
    if (!JpegReachesEnd(input)) {
      *error = "Cannot read JPEG image " + DescribeSource(source) + ": " + kJpegCutShort;
      return false;
    }
  }
  DecodeBudget::Hold hold;
  if (!HoldDecodeMemory(*decoded, source, decoded->stored_width, decoded->stored_height, &hold,
                        error)) {
    return false;
  }
  if (!ToRgb8(decoded->image, error)) return false;
  const std::string what = std::string("Cannot read ") + FormatName(decoded->format) + " image " +
                           DescribeSource(source);
  if (!Materialise(decoded->image, error, what.c_str(), kDamagedData)) return false;
  if (decoded->format == ImageFormat::kGif && !DropOpaqueAlpha(decoded->image, error)) {
    return false;
  }
  return MakeUpright(decoded->image, decoded->orientation, error);
}

}  // namespace internal
}  // namespace quorvane::image
