// Thumbnails fitted into a box: the fast JPEG decoder where it applies, libvips otherwise.
#include <algorithm>
#include <string>
#include <thread>

#include <vips/vips.h>

#include "image/image.h"
#include "image/internal/decode.h"
#include "image/internal/jpeg_reduced.h"
#include "image/internal/resize.h"
#include "image/internal/vips_support.h"

namespace quorvane::image {

bool OpenImageLibrary(std::string* error) { return internal::EnsureVips(error); }

int PhotoWorkerCount() {
  return static_cast<int>(std::max(1u, std::thread::hardware_concurrency())) + 1;
}

FitSize FitInside(int width, int height, int max_width, int max_height) {
  if (width <= max_width && height <= max_height) return {width, height};
  return FitProportionally(width, height, max_width, max_height);
}

FitSize FitProportionally(int width, int height, int max_width, int max_height) {
  const double ratio = static_cast<double>(width) / height;
  const double sx = static_cast<double>(max_width) / width;
  const double sy = static_cast<double>(max_height) / height;
  FitSize fit;
  if (sy <= sx) {
    fit.width = static_cast<int>(max_height * ratio);
    fit.height = max_height;
  } else {
    fit.width = max_width;
    fit.height = static_cast<int>(max_width / ratio);
  }
  fit.width = std::max(fit.width, 1);
  fit.height = std::max(fit.height, 1);
  return fit;
}

bool Image::LoadThumbnailToFit(const std::filesystem::path& path, int max_width, int max_height,
                               ResampleMode mode, ThumbnailSource* source_info,
                               bool use_exif_preview) {
  if (max_width < 1 || max_height < 1 || max_width > internal::kMaxSide ||
      max_height > internal::kMaxSide) {
    return Fail("Cannot make a thumbnail of " + std::to_string(max_width) + " x " +
                std::to_string(max_height) + " pixels");
  }
  return Guarded([&] {
    internal::JpegInput input;
    input.path = path;
    internal::ReducedJpeg reduced;
    const internal::ReducedDecode fast =
        internal::DecodeJpegReduced(input, max_width, max_height, use_exif_preview, &reduced);
    if (fast == internal::ReducedDecode::kCutShort) {
      return Fail("Cannot read JPEG image \"" + internal::PathText(path) +
                  "\": " + internal::kJpegCutShort);
    }
    if (fast == internal::ReducedDecode::kDone) {
      const bool turned = reduced.orientation >= 5;
      const int upright_width = turned ? reduced.source_height : reduced.source_width;
      const int upright_height = turned ? reduced.source_width : reduced.source_height;
      const FitSize fit = FitInside(upright_width, upright_height, max_width, max_height);
      std::string error;
      if (!internal::EnsureVips(&error)) return Fail(std::move(error));
      internal::Decoded decoded;
      decoded.image.reset(internal::Vips().image_new_from_memory_copy(
          reduced.rgb.data(), reduced.rgb.size(), reduced.width, reduced.height, 3,
          VIPS_FORMAT_UCHAR));
      if (decoded.image == nullptr) {
        return Fail("Cannot read JPEG image \"" + internal::PathText(path) +
                    "\": " + internal::TakeVipsError());
      }
      decoded.image->Type = VIPS_INTERPRETATION_sRGB;
      const int stored_width = turned ? fit.height : fit.width;
      const int stored_height = turned ? fit.width : fit.height;
      if (mode == ResampleMode::kNearest) {
        internal::VipsPtr scaled =
            internal::ResizeNearest(decoded.image.get(), stored_width, stored_height);
        if (scaled == nullptr) return Fail("Cannot resize the image: " + internal::TakeVipsError());
        decoded.image = std::move(scaled);
      } else if (!internal::ResizeExact(decoded.image, stored_width, stored_height, mode, &error) ||
                 !internal::Materialise(decoded.image, &error, "Cannot resize the image")) {
        return Fail(std::move(error));
      }
      if (!internal::MakeUpright(decoded.image, reduced.orientation, &error)) {
        return Fail(std::move(error));
      }
      decoded.format = ImageFormat::kJpeg;
      decoded.bits_per_pixel = 24;
      Install(decoded);
      if (source_info != nullptr) *source_info = {upright_width, upright_height, reduced.decode};
      return true;
    }

    ImageInfo info;
    std::string error;
    if (!ReadImageInfo(path, ImageFormat::kUnknown, &info, &error)) return Fail(std::move(error));
    const FitSize fit = FitInside(info.width, info.height, max_width, max_height);
    const bool fits = fit.width == info.width && fit.height == info.height;
    if (fits ? !Load(path) : !LoadThumbnail(path, fit.width, fit.height, mode)) return false;
    if (source_info != nullptr) *source_info = {info.width, info.height, ThumbnailDecode::kGeneric};
    return true;
  });
}

}  // namespace quorvane::image
