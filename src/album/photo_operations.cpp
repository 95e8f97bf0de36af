#include "album/photo_operations.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <system_error>
#include <utility>
#include <vector>

#include "album/album_index.h"
#include "album/album_merge.h"
#include "album/photo_naming.h"
#include "platform/file_lock.h"
#include "platform/file_util.h"

namespace quorvane::album {
namespace fs = std::filesystem;
namespace {

using image::Image;

void Report(platform::ProgressSink& progress, std::string_view text, int step, int steps) {
  progress.SetText(text);
  progress.SetPosition(step, steps);
}

bool Fail(Album& album, std::string text) {
  album.set_last_error(std::move(text));
  return false;
}

// The size FitImage gives; nullopt when the image stays as it is.
std::optional<FitSize> FittedSize(int width, int height, int max_width, int max_height,
                                  bool keep_proportions, bool only_shrink) {
  if (only_shrink && width <= max_width && height <= max_height) return std::nullopt;
  if (!keep_proportions) return FitSize{max_width, max_height};
  return image::FitProportionally(width, height, max_width, max_height);
}

// When the photo was taken: the camera's date when the file has one, else the file's time.
platform::OleDate PhotoDate(const fs::path& source,
                            const std::optional<image::PhotoDateTime>& taken) {
  platform::OleDate date = platform::kNoDate;
  if (taken) {
    const platform::CivilTime civil{taken->year, taken->month,  taken->day,
                                    taken->hour, taken->minute, taken->second};
    if (platform::OleDateFromCivil(civil, &date)) return date;
  }
  std::error_code ec;
  const auto written = fs::last_write_time(source, ec);
  if (ec) return platform::kNoDate;
  const auto system_time = std::chrono::file_clock::to_sys(written);
  const std::time_t seconds = std::chrono::system_clock::to_time_t(system_time);
  std::tm local{};
#ifdef _WIN32
  if (localtime_s(&local, &seconds) != 0) return platform::kNoDate;
#else
  if (localtime_r(&seconds, &local) == nullptr) return platform::kNoDate;
#endif
  const platform::CivilTime civil{local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
                                  local.tm_hour,        local.tm_min,     local.tm_sec};
  return platform::OleDateFromCivil(civil, &date) ? date : platform::kNoDate;
}

// `is_new`: no index names the thumbnail yet, so it may reach the disk at the next save.
bool WriteThumbnail(Album& album, const Image& thumbnail, std::string_view name, bool is_new) {
  std::vector<uint8_t> bytes;
  if (!thumbnail.SaveToMemory(&bytes, image::ImageFormat::kJpeg,
                              album.thumbnail_options().jpeg_quality)) {
    return Fail(album, thumbnail.last_error());
  }
  const std::string_view view(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (!(is_new ? album.store().WriteNewFile(name, view) : album.store().WriteFile(name, view))) {
    return Fail(album, album.store().LastError());
  }
  return true;
}

std::optional<size_t> FindPhoto(const Album& album, std::string_view image_file) {
  const auto& photos = album.photos();
  for (size_t i = 0; i < photos.size(); ++i) {
    if (photos[i].image_file == image_file) return i;
  }
  return std::nullopt;
}

bool CheckIndex(Album& album, size_t index) {
  if (index < album.photos().size()) return true;
  return Fail(album, "There is no photo " + std::to_string(index + 1) + " in the album");
}

bool CheckTargetIsFree(Album& album, const fs::path& target) {
  std::error_code ec;
  if (!fs::exists(fs::symlink_status(target, ec))) return true;
  return Fail(album, "\"" + target.string() + "\" already exists");
}

// Copies `source` into the album as *name, or, when the album or another program holding it
// open has a file of that name (made since the name was chosen), under the next free name
// made from `wanted`; *name receives the name the file took.
bool ImportUnderFreeName(Album& album, const fs::path& source, const std::string& wanted,
                         std::string* name) {
  constexpr int kNameAttempts = 100;
  for (int attempt = 1; !album.store().ImportFile(source, *name); ++attempt) {
    if (!album.store().FileExists(*name) || attempt == kNameAttempts) {
      return Fail(album, album.store().LastError());
    }
    *name = MakeUniqueName(album, wanted);
  }
  return true;
}

// The thumbnail of the image file `source` for this album, decoded at no more than the
// thumbnail's size, so a large photo never sits in memory whole.
bool LoadThumbnailOf(Album& album, const fs::path& source, const ImageType& type,
                     const image::ImageInfo& info, Image* thumbnail) {
  // JPEGs decode no more than the thumbnail needs; other types shrink while loading.
  const int max_width = album.thumbnail_cell_width() - 2;
  const int max_height = album.thumbnail_cell_height() - 2;
  const FitSize size = image::FitInside(info.width, info.height, max_width, max_height);
  const bool made = type.format == image::ImageFormat::kJpeg
                        ? thumbnail->LoadThumbnailToFit(source, max_width, max_height,
                                                        album.thumbnail_options().mode)
                        : thumbnail->LoadThumbnail(source, size.width, size.height,
                                                   album.thumbnail_options().mode, type.format);
  return made || Fail(album, thumbnail->last_error());
}

}  // namespace

bool LoadImageFile(Album& album, Image* image, const fs::path& path) {
  // A store that could not make the file available by path said why.
  if (path.empty()) return Fail(album, album.store().LastError());
  const ImageType* type = FindImageType(path.filename().string());
  if (type == nullptr) return Fail(album, "Unable to determine image format");
  if (!image->Load(path, type->format)) return Fail(album, image->last_error());
  return true;
}

bool FitImage(Image& image, int max_width, int max_height, bool keep_proportions, bool only_shrink,
              image::ResampleMode mode) {
  const auto size = FittedSize(image.width(), image.height(), max_width, max_height,
                               keep_proportions, only_shrink);
  return !size || image.Resample(size->width, size->height, mode);
}

bool MakeThumbnail(Album& album, const Image& image, Image* thumbnail) {
  *thumbnail = image;
  if (thumbnail->bits_per_pixel() < 24 && !thumbnail->IncreaseBpp(24)) {
    return Fail(album, thumbnail->last_error());
  }
  if (!FitImage(*thumbnail, album.thumbnail_cell_width() - 2, album.thumbnail_cell_height() - 2,
                true, true, album.thumbnail_options().mode)) {
    return Fail(album, thumbnail->last_error());
  }
  return true;
}

bool AddImageFromDisk(Album& album, const fs::path& source, std::string_view file_name,
                      int position, platform::ProgressSink& progress) {
  if (!album.CheckWritable()) return false;
  const std::string wanted = AlbumFileName(file_name);
  if (!IsPlainFileName(wanted)) return Fail(album, "Invalid file name \"" + wanted + "\"");

  // The photo's size and date come from the header; its pixels are decoded only at the
  // thumbnail's size, so a large photo never sits in memory whole.
  Report(progress, "Loading image from disk...", 0, 3);
  const ImageType* type = FindImageType(source.filename().string());
  if (type == nullptr) return Fail(album, "Unable to determine image format");
  image::ImageInfo info;
  std::string error;
  if (!image::ReadImageInfo(source, type->format, &info, &error)) return Fail(album, error);

  AlbumPhoto photo;
  photo.image_file = wanted;
  photo.width = info.width;
  photo.height = info.height;
  photo.date = PhotoDate(source, info.date_taken);
  photo.format = std::string(type->type_name);

  Report(progress, "Creating thumbnail...", 1, 3);
  Image thumbnail;
  if (!LoadThumbnailOf(album, source, *type, info, &thumbnail)) return false;

  Report(progress, "Adding image to album...", 2, 3);
  auto& photos = album.photos();
  const size_t at =
      position < 0 ? photos.size() : std::min(photos.size(), static_cast<size_t>(position));
  photos.insert(photos.begin() + static_cast<std::ptrdiff_t>(at), std::move(photo));

  // The thumbnail follows the name the file took.
  std::string& name = photos[at].image_file;
  if (!ImportUnderFreeName(album, source, wanted, &name)) return false;
  if (!WriteThumbnail(album, thumbnail, ThumbnailName(name), true)) return false;
  album.set_modified(true);
  return true;
}

bool CopyPhotoToAlbum(Album& from, size_t index, Album& to, int position,
                      platform::ProgressSink& progress) {
  if (!to.CheckWritable()) return false;
  if (index >= from.photos().size()) {
    return Fail(to, "There is no photo " + std::to_string(index + 1) + " in the album");
  }
  AlbumPhoto photo = from.photos()[index];
  const fs::path source = from.store().LocalPath(photo.image_file);
  if (source.empty()) return Fail(to, from.store().LastError());

  Report(progress, "Copying image...", 0, 2);
  const std::string wanted = AlbumFileName(photo.image_file);
  std::string name = MakeUniqueName(to, wanted);
  if (!ImportUnderFreeName(to, source, wanted, &name)) return false;

  Report(progress, "Copying thumbnail...", 1, 2);
  std::string bytes;
  bool copied = false;
  if (from.store().ReadFile(ThumbnailName(photo.image_file), &bytes)) {
    copied =
        to.store().WriteNewFile(ThumbnailName(name), bytes) || Fail(to, to.store().LastError());
  } else {
    // An album made by hand may lack thumbnails; the copy gets one all the same.
    const ImageType* type = FindImageType(photo.image_file);
    image::ImageInfo info;
    std::string error;
    Image thumbnail;
    copied = type == nullptr ? Fail(to, "Unable to determine image format")
             : !image::ReadImageInfo(source, type->format, &info, &error)
                 ? Fail(to, error)
                 : LoadThumbnailOf(to, source, *type, info, &thumbnail) &&
                       WriteThumbnail(to, thumbnail, ThumbnailName(name), true);
  }
  if (!copied) {
    // Nothing names the file yet; one that will not go costs space, never a photo.
    (void)to.store().RemoveFile(name);
    return false;
  }
  photo.image_file = std::move(name);
  auto& photos = to.photos();
  const size_t at =
      position < 0 ? photos.size() : std::min(photos.size(), static_cast<size_t>(position));
  photos.insert(photos.begin() + static_cast<std::ptrdiff_t>(at), std::move(photo));
  to.set_modified(true);
  return true;
}

bool LoadAlbumImage(Album& album, size_t index, Image* image, platform::ProgressSink& progress) {
  if (!CheckIndex(album, index)) return false;
  Report(progress, "Loading image from album...", 0, 1);
  return LoadImageFile(album, image, album.store().LocalPath(album.photos()[index].image_file));
}

bool ReplacePhotoImage(Album& album, size_t index, const Image& image, PhotoVersion* kept,
                       platform::ProgressSink& progress) {
  if (!album.CheckWritable() || !CheckIndex(album, index)) return false;
  const AlbumPhoto& photo = album.photos()[index];
  const ImageType* type = FindImageType(photo.image_file);
  if (type == nullptr) return Fail(album, "Unable to determine image format");

  // The new version is written under names of its own first; one exchange then puts it in
  // place, and the names keep the version it replaced.
  Report(progress, "Creating thumbnail...", 0, 3);
  Image thumbnail;
  if (!MakeThumbnail(album, image, &thumbnail)) return false;

  Report(progress, "Replacing image in album...", 1, 3);
  PhotoVersion version;
  version.photo_file = photo.image_file;
  version.image_file = MakeUniqueName(album, "~" + photo.image_file);
  std::vector<uint8_t> bytes;
  if (!image.SaveToMemory(&bytes, type->format)) return Fail(album, image.last_error());
  if (!album.store().WriteFile(
          version.image_file,
          std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()))) {
    return Fail(album, album.store().LastError());
  }
  bytes = {};
  album.RetainFile(version.image_file);

  Report(progress, "Replacing thumbnail in album...", 2, 3);
  version.thumbnail_file = MakeUniqueName(album, "~" + ThumbnailName(photo.image_file));
  // Written through at once: the exchange below puts it under the name the index uses.
  if (!WriteThumbnail(album, thumbnail, version.thumbnail_file, false)) return false;
  album.RetainFile(version.thumbnail_file);
  version.width = image.width();
  version.height = image.height();

  if (!ExchangePhotoVersion(album, version)) return false;
  album.set_modified(true);
  *kept = std::move(version);
  return true;
}

bool ExchangePhotoVersion(Album& album, PhotoVersion& version) {
  if (!album.CheckWritable()) return false;
  const auto index = FindPhoto(album, version.photo_file);
  if (!index) return Fail(album, "The album no longer has \"" + version.photo_file + "\"");
  AlbumStore& store = album.store();
  if (!store.ExchangeFiles(version.photo_file, version.image_file)) {
    return Fail(album, store.LastError());
  }
  if (!store.ExchangeFiles(ThumbnailName(version.photo_file), version.thumbnail_file)) {
    std::string error = store.LastError();
    if (!store.ExchangeFiles(version.photo_file, version.image_file)) {
      error += "; " + store.LastError();
    }
    return Fail(album, std::move(error));
  }
  AlbumPhoto& photo = album.photos()[*index];
  std::swap(photo.width, version.width);
  std::swap(photo.height, version.height);
  album.set_modified(true);
  return true;
}

bool CopyImageOut(Album& album, size_t index, const fs::path& target,
                  const std::optional<FitSize>& fit, platform::ProgressSink& progress) {
  if (!CheckIndex(album, index) || !CheckTargetIsFree(album, target)) return false;
  const AlbumPhoto& photo = album.photos()[index];
  const fs::path source = album.store().LocalPath(photo.image_file);
  if (source.empty()) return Fail(album, album.store().LastError());
  if (!fit) {
    Report(progress, "Copying image...", 0, 1);
    std::string error;
    return platform::CopyFileAtomically(source, target, &error) || Fail(album, error);
  }
  const ImageType* type = FindImageType(photo.image_file);
  if (type == nullptr) return Fail(album, "Unable to determine image format");
  Report(progress, "Loading image from album...", 0, 3);
  image::ImageInfo info;
  std::string error;
  if (!image::ReadImageInfo(source, type->format, &info, &error)) return Fail(album, error);
  Image copy;
  Report(progress, "Resizing image...", 1, 3);
  if (const auto size = FittedSize(info.width, info.height, fit->width, fit->height, true, true)) {
    // Shrinks while decoding, as thumbnails do.
    if (!copy.LoadThumbnail(source, size->width, size->height, album.thumbnail_options().mode,
                            type->format)) {
      return Fail(album, copy.last_error());
    }
  } else if (!copy.Load(source, type->format)) {
    return Fail(album, copy.last_error());
  }
  Report(progress, "Copying image...", 2, 3);
  return copy.Save(target, type->format) || Fail(album, copy.last_error());
}

bool CopyThumbnailOut(Album& album, size_t index, const fs::path& target,
                      platform::ProgressSink& progress) {
  if (!CheckIndex(album, index) || !CheckTargetIsFree(album, target)) return false;
  Report(progress, "Copying thumbnail...", 0, 1);
  std::string error;
  const fs::path source = album.store().LocalPath(ThumbnailName(album.photos()[index].image_file));
  if (source.empty()) return Fail(album, album.store().LastError());
  return platform::CopyFileAtomically(source, target, &error) || Fail(album, error);
}

bool SaveAlbum(Album& album) {
  if (!album.CheckWritable()) return false;
  AlbumStore& store = album.store();
  // The photos first, then the index that names them.
  if (!store.Flush()) return Fail(album, store.LastError());
  // Another program's save of the same album takes well under a second.
  constexpr std::chrono::seconds kLockWait(5);
  platform::FileLock lock;
  if (!store.LockIndex(&lock, kLockWait) || !store.CatchUp()) return Fail(album, store.LastError());
  if (!MergeChangesOnDisk(album) || !AlbumIndex::SaveIndex(album)) return false;
  if (!store.Commit(album.retained_files())) return Fail(album, store.LastError());
  return true;
}

void ReleaseRetainedFiles(Album& album) {
  std::vector<std::string> in_use;
  for (const AlbumPhoto& photo : album.photos()) in_use.push_back(photo.image_file);
  for (const std::string& name : album.saved_image_files()) in_use.push_back(name);
  const size_t images = in_use.size();
  for (size_t i = 0; i < images; ++i) in_use.push_back(ThumbnailName(in_use[i]));
  std::sort(in_use.begin(), in_use.end());
  for (const std::string& name : album.TakeRetainedFiles()) {
    if (std::binary_search(in_use.begin(), in_use.end(), name)) continue;
    // A file that will not go is left behind: it costs space, never a photo.
    (void)album.store().RemoveFile(name);
  }
}

}  // namespace quorvane::album
