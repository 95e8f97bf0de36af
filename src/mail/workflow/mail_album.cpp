#include "mail/workflow/mail_album.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <set>
#include <system_error>
#include <thread>

#include "album/album_archive.h"
#include "album/album_index.h"
#include "album/folder_store.h"
#include "album/photo_naming.h"
#include "image/image_types.h"
#include "image/private_metadata.h"
#include "platform/file_util.h"

namespace quorvane::mail {
namespace fs = std::filesystem;
namespace {

uint64_t FileBytes(const fs::path& path) {
  std::error_code ec;
  const uintmax_t size = fs::file_size(path, ec);
  return ec ? 0 : static_cast<uint64_t>(size);
}

// Files of a temporary album need no flush: nothing survives a crash of the job anyway.
bool WriteTemporary(const fs::path& path, std::string_view bytes, std::string* error) {
  return platform::WriteFileAtomically(path, bytes, error, platform::Flush::kLater);
}

bool SaveTemporary(const image::Image& picture, const fs::path& path, image::ImageFormat format,
                   int quality, std::string* error) {
  std::vector<uint8_t> bytes;
  if (!picture.SaveToMemory(&bytes, format, quality)) {
    *error = picture.last_error();
    return false;
  }
  return WriteTemporary(
      path, std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()), error);
}

// Copies a file into the temporary album; with `strip_private`, a JPEG holding private data
// loses it without re-encoding, any other such file is decoded and saved again at its size (a
// new encoding carries no metadata).
bool CopyFile(const fs::path& source, const fs::path& target, bool strip_private,
              const PrepareOptions& options, std::string* error) {
  if (!strip_private)
    return platform::CopyFileAtomically(source, target, error, platform::Flush::kLater);
  std::string bytes;
  if (!platform::ReadWholeFile(source, &bytes, error)) return false;
  if (!image::HasPrivateMetadata(bytes)) return WriteTemporary(target, bytes, error);
  std::string stripped;
  if (image::StripJpegMetadata(bytes, &stripped)) return WriteTemporary(target, stripped, error);
  const image::ImageType* type = image::FindImageType(target.filename().string());
  const image::ImageFormat format = type != nullptr ? type->format : image::ImageFormat::kJpeg;
  image::ImageInfo info;
  image::Image picture;
  if (!image::ReadImageInfo(source, format, &info, error)) return false;
  if (!picture.LoadThumbnail(source, info.width, info.height, options.mode, format)) {
    *error = picture.last_error();
    return false;
  }
  return SaveTemporary(picture, target, format, options.jpeg_quality, error);
}

}  // namespace

std::string AttachmentFileName(const fs::path& location) {
  fs::path path = location;
  while (!path.empty() && !path.has_filename() && path.has_parent_path() &&
         path.parent_path() != path) {
    path = path.parent_path();
  }
  std::string name = path.filename().string();
  if (name.empty() || name == "." || name == "..") name = "album";
  const size_t dot = name.rfind('.');
  if (dot == std::string::npos) return name + ".qvo";
  return name.substr(0, dot + 1) + "qvo";
}

bool ListAlbumContents(album::Album& album, AlbumContents* out, std::string* error) {
  *out = {};
  album::AlbumStore& store = album.store();
  auto add = [&](const std::string& name) -> bool {
    const fs::path path = store.LocalPath(name);
    if (path.empty()) {
      *error = store.LastError().empty() ? "Unable to read \"" + name + "\"" : store.LastError();
      return false;
    }
    const uint64_t bytes = FileBytes(path);
    out->files.push_back({name, path, bytes});
    out->bytes += bytes;
    return true;
  };
  for (const std::string_view index : album::kIndexFileNames) {
    if (store.FileExists(index)) {
      if (!add(std::string(index))) return false;
      break;
    }
  }
  std::set<std::string> thumbnails;
  for (const album::AlbumPhoto& record : album.photos()) {
    if (!add(record.image_file)) return false;
    AlbumContents::Photo photo;
    photo.file = out->files.size() - 1;
    image::ImageInfo info;
    std::string ignored;
    const image::ImageType* type = image::FindImageType(record.image_file);
    if (image::ReadImageInfo(out->files.back().path,
                             type != nullptr ? type->format : image::ImageFormat::kUnknown, &info,
                             &ignored)) {
      photo.width = info.width;
      photo.height = info.height;
    } else {
      photo.width = record.width;
      photo.height = record.height;
    }
    const std::string thumbnail = album::ThumbnailName(record.image_file);
    if (store.FileExists(thumbnail) && thumbnails.insert(thumbnail).second) {
      if (!add(thumbnail)) return false;
      photo.thumbnail_bytes = out->files.back().bytes;
    }
    out->photos.push_back(photo);
  }
  return true;
}

uint64_t EstimateAlbumBytes(const AlbumContents& contents, const ResizeChoice& choice) {
  if (!choice.resizes()) return contents.bytes;
  uint64_t total = 0;
  std::vector<bool> scaled(contents.files.size(), false);
  for (const AlbumContents::Photo& photo : contents.photos) {
    if (photo.width > choice.width || photo.height > choice.height) {
      const image::FitSize fit =
          image::FitInside(photo.width, photo.height, choice.width, choice.height);
      const double kept = static_cast<double>(fit.width) * fit.height /
                          (static_cast<double>(photo.width) * photo.height);
      total += static_cast<uint64_t>(static_cast<double>(contents.files[photo.file].bytes) * kept);
      scaled[photo.file] = true;
    }
  }
  for (size_t i = 0; i < contents.files.size(); ++i) {
    if (!scaled[i]) total += contents.files[i].bytes;
  }
  return total;
}

platform::ResultCode WriteMailAlbum(album::Album& album, const AlbumContents& contents,
                                    const PrepareOptions& options, const fs::path& folder,
                                    platform::ProgressSink& progress, std::string* error) {
  const std::vector<album::AlbumPhoto>& records = album.photos();
  const int64_t count = static_cast<int64_t>(contents.photos.size());
  std::vector<album::AlbumPhoto> written = records;
  std::atomic<size_t> next{0};
  std::atomic<int64_t> done{0};
  std::atomic<bool> failed{false};
  std::mutex error_mutex;
  auto fail = [&](const std::string& name, const std::string& why) {
    std::lock_guard lock(error_mutex);
    if (!failed.exchange(true)) *error = name + ": " + why;
  };
  const ResizeChoice& box = options.resize;
  auto worker = [&] {
    while (!failed.load() && !progress.Cancelled()) {
      const size_t i = next.fetch_add(1);
      if (i >= contents.photos.size()) return;
      const AlbumContents::Photo& photo = contents.photos[i];
      const AlbumFile& file = contents.files[photo.file];
      const fs::path target = folder / file.name;
      std::string why;
      progress.SetText(kLoadingPhotoText);
      if (box.resizes() && (photo.width > box.width || photo.height > box.height)) {
        const image::ImageType* type = image::FindImageType(file.name);
        const image::ImageFormat format =
            type != nullptr ? type->format : image::ImageFormat::kJpeg;
        const image::FitSize fit =
            image::FitInside(photo.width, photo.height, box.width, box.height);
        // One decode at no more than the new size: a JPEG is read at a reduced scale.
        image::Image picture;
        if (!picture.LoadThumbnail(file.path, fit.width, fit.height, options.mode, format)) {
          fail(file.name, picture.last_error());
          return;
        }
        progress.SetText(kResizingText);
        if (picture.bits_per_pixel() < 24 && !picture.IncreaseBpp(24)) {
          fail(file.name, picture.last_error());
          return;
        }
        progress.SetText(kSavingPhotoText);
        if (!SaveTemporary(picture, target, format, options.jpeg_quality, &why)) {
          fail(file.name, why);
          return;
        }
        written[i].width = picture.width();
        written[i].height = picture.height();
      } else {
        progress.SetText(kSavingPhotoText);
        if (!CopyFile(file.path, target, options.strip_private, options, &why)) {
          fail(file.name, why);
          return;
        }
        if (photo.width > 0) {
          written[i].width = photo.width;
          written[i].height = photo.height;
        }
      }
      progress.SetPosition(++done, count);
    }
  };
  const int threads = std::clamp(options.threads > 0 ? options.threads : image::PhotoWorkerCount(),
                                 1, std::max(1, static_cast<int>(count)));
  {
    std::vector<std::jthread> pool;
    for (int t = 1; t < threads; ++t) pool.emplace_back(worker);
    worker();
  }
  if (failed) return platform::kFailed;
  if (progress.Cancelled()) return platform::kCancelled;

  // Thumbnails and anything else that is not a photo, except the index, which is written anew.
  std::vector<bool> is_photo(contents.files.size(), false);
  for (const auto& photo : contents.photos) is_photo[photo.file] = true;
  for (size_t i = 0; i < contents.files.size(); ++i) {
    const AlbumFile& file = contents.files[i];
    if (is_photo[i] ||
        std::find(std::begin(album::kIndexFileNames), std::end(album::kIndexFileNames),
                  file.name) != std::end(album::kIndexFileNames)) {
      continue;
    }
    if (!CopyFile(file.path, folder / file.name, options.strip_private, options, error)) {
      return platform::kFailed;
    }
  }

  album::Album copy(std::make_unique<album::FolderStore>(folder));
  album::AlbumRecord record = album.record();
  record.photos = std::move(written);
  copy.set_record(std::move(record));
  if (!album::AlbumIndex::SaveIndex(copy)) {
    *error = copy.last_error();
    return platform::kFailed;
  }
  return platform::kOk;
}

platform::ResultCode PackMailArchive(const std::vector<AlbumFile>& files, const fs::path& archive,
                                     platform::ProgressSink& progress, std::string* error) {
  std::vector<album::ArchiveItem> items;
  for (const AlbumFile& file : files) items.push_back({file.name, file.path, nullptr});
  album::PackOptions options;
  options.progress = &progress;
  platform::AtomicFile out;
  std::string reason;
  if (out.Open(archive, &reason) &&
      album::WriteArchive(out, std::move(items), nullptr, options, &reason) &&
      out.Commit(platform::Flush::kLater, &reason)) {
    return platform::kOk;
  }
  if (progress.Cancelled()) return platform::kCancelled;
  *error = "Unable to pack the album into \"" + archive.filename().string() + "\": " + reason;
  return platform::kFailed;
}

}  // namespace quorvane::mail
