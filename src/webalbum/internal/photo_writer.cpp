#include "webalbum/internal/photo_writer.h"

#include <system_error>
#include <vector>

#include "image/image.h"
#include "image/image_types.h"
#include "image/private_metadata.h"
#include "platform/file_util.h"
#include "webalbum/expansion.h"

namespace quorvane::webalbum::internal {
namespace fs = std::filesystem;

namespace {

// Output files are written whole and renamed into place, but not flushed one by one: a web
// album can always be made again, and the manifest's sizes catch a file a crash cut short.
// `exif`, when given, is an EXIF segment the new file carries.
bool SaveJpeg(const image::Image& picture, const fs::path& path, int quality, std::string* error,
              std::string_view exif = {}) {
  std::vector<uint8_t> bytes;
  if (!picture.SaveToMemory(&bytes, image::ImageFormat::kJpeg, quality)) {
    *error = picture.last_error();
    return false;
  }
  const std::string_view encoded(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  std::string with_exif;
  if (!exif.empty() && image::InsertJpegSegment(encoded, exif, &with_exif)) {
    return platform::WriteFileAtomically(path, with_exif, error, platform::Flush::kLater);
  }
  return platform::WriteFileAtomically(path, encoded, error, platform::Flush::kLater);
}

uint64_t SizeOf(const fs::path& path) {
  std::error_code ec;
  const uintmax_t size = fs::file_size(path, ec);
  return ec ? 0 : size;
}

}  // namespace

PhotoResult PlannedNames(const PhotoJob& job, bool copied) {
  PhotoResult names;
  names.image_file = copied ? CopiedPhotoFileName(job.output_stem, job.source_name)
                            : ReencodedPhotoFileName(job.output_stem);
  if (job.thumb_width != -1 && job.thumb_height != -1) {
    names.thumb_file = ThumbnailFileName(job.output_stem);
  }
  return names;
}

std::string JobParameters(const PhotoJob& job) {
  return job.output_stem + " " + std::to_string(job.thumb_width) + "x" +
         std::to_string(job.thumb_height) + " " + (job.resize ? "resize " : "copy ") +
         std::to_string(job.max_width) + "x" + std::to_string(job.max_height) +
         (job.keep_aspect ? " aspect" : " stretch") + (job.only_larger ? " larger" : " always") +
         " q" + std::to_string(job.jpeg_quality) + (job.strip_private ? " private" : "");
}

bool WritePhoto(const PhotoJob& job, const fs::path& folder, platform::ProgressSink& progress,
                PhotoResult* result, std::string* error) {
  progress.SetText("Loading...");
  const image::ImageType* type = image::FindImageType(job.source_name);
  const image::ImageFormat hint = type != nullptr ? type->format : image::ImageFormat::kUnknown;
  image::ImageInfo info;
  if (!image::ReadImageInfo(job.source, hint, &info, error)) return false;

  bool copy = !job.resize ||
              (job.only_larger && info.width <= job.max_width && info.height <= job.max_height);
  // Bytes for a copy that must lose private data; empty for a plain copy.
  std::string stripped;
  if (copy && job.strip_private) {
    std::string bytes;
    if (!platform::ReadWholeFile(job.source, &bytes, error)) return false;
    if (image::HasPrivateMetadata(bytes)) {
      copy = info.format == image::ImageFormat::kJpeg && image::StripJpegMetadata(bytes, &stripped);
    }
  }
  *result = PlannedNames(job, copy);
  const bool thumbnail = !result->thumb_file.empty();
  image::FitSize thumb_size;
  if (thumbnail)
    thumb_size = image::FitInside(info.width, info.height, job.thumb_width, job.thumb_height);
  image::Image picture;
  if (copy) {
    result->width = info.width;
    result->height = info.height;
    if (thumbnail) {
      progress.SetText("Creating thumbnail...");
      if (!picture.LoadThumbnail(job.source, thumb_size.width, thumb_size.height,
                                 image::ResampleMode::kBicubic, hint)) {
        *error = picture.last_error();
        return false;
      }
      if (!SaveJpeg(picture, folder / result->thumb_file, job.jpeg_quality, error)) return false;
    }
    progress.SetText("Extracting image...");
    if (!stripped.empty() ? !platform::WriteFileAtomically(folder / result->image_file, stripped,
                                                           error, platform::Flush::kLater)
                          : !platform::CopyFileAtomically(job.source, folder / result->image_file,
                                                          error, platform::Flush::kLater)) {
      return false;
    }
  } else {
    image::FitSize size{job.max_width, job.max_height};
    if (!job.resize ||
        (job.only_larger && info.width <= job.max_width && info.height <= job.max_height)) {
      // A copy that holds private data and cannot lose it in place: re-encoded at its size,
      // and a re-encoded picture carries no metadata.
      size = {info.width, info.height};
    } else if (job.keep_aspect) {
      size = job.only_larger
                 ? image::FitInside(info.width, info.height, job.max_width, job.max_height)
                 : image::FitProportionally(info.width, info.height, job.max_width, job.max_height);
    }
    // One decode, at no more than the photo's output size, serves both files.
    if (!picture.LoadThumbnail(job.source, size.width, size.height, image::ResampleMode::kBicubic,
                               hint)) {
      *error = picture.last_error();
      return false;
    }
    result->width = picture.width();
    result->height = picture.height();
    if (thumbnail) {
      progress.SetText("Creating thumbnail...");
      image::Image thumb = picture;
      if (!thumb.Resample(thumb_size.width, thumb_size.height, image::ResampleMode::kBicubic)) {
        *error = thumb.last_error();
        return false;
      }
      if (!SaveJpeg(thumb, folder / result->thumb_file, job.jpeg_quality, error)) return false;
    }
    progress.SetText("Resizing image...");
    // The capture date outlives re-encoding, private data or not.
    std::string source;
    if (!platform::ReadWholeFile(job.source, &source, error)) return false;
    if (!SaveJpeg(picture, folder / result->image_file, job.jpeg_quality, error,
                  image::CaptureDateExif(source))) {
      return false;
    }
  }
  if (thumbnail) {
    result->thumb_width = thumb_size.width;
    result->thumb_height = thumb_size.height;
    result->thumb_size = SizeOf(folder / result->thumb_file);
  }
  result->file_size = SizeOf(folder / result->image_file);
  return true;
}

}  // namespace quorvane::webalbum::internal
