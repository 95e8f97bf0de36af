#include "album/batch_operations.h"

#include "album/photo_naming.h"

namespace quorvane::album {
namespace fs = std::filesystem;
namespace {

// Each photo's share of the progress bar, in units fine enough to follow its steps.
constexpr int64_t kPhotoUnits = 100;

// Shows the batch text of the k-th of `total` photos.
void Report(platform::ProgressSink& progress, const std::string& text, int k, int total) {
  progress.SetText(text);
  progress.SetPosition(int64_t{k} * kPhotoUnits, int64_t{total} * kPhotoUnits);
}

// The steps of the k-th photo move the bar within its share; the batch text stays in view.
platform::NestedProgress PhotoSteps(platform::ProgressSink& progress, int k, int total) {
  return platform::NestedProgress(progress, int64_t{k} * kPhotoUnits, kPhotoUnits,
                                  int64_t{total} * kPhotoUnits,
                                  platform::NestedProgress::Texts::kDrop);
}

std::string Quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

void AddFailure(BatchResult* result, std::string_view name, const std::string& error) {
  result->failures.push_back(std::string(name) + ": " + error);
}

// Copies the photos of `album` at `positions` one by one with `copy_one(index, file name,
// steps)`, whose failures leave their reason in the last error of `errors`: the batch text
// "Copying "name" (image k of n) ..." for each, a cancel between photos, going on after a
// failure.
template <typename CopyOne>
BatchResult CopyEach(const Album& album, std::span<const size_t> positions,
                     platform::ProgressSink& progress, const Album& errors, CopyOne copy_one) {
  BatchResult result;
  const int total = static_cast<int>(positions.size());
  for (int k = 0; k < total; ++k) {
    if (progress.Cancelled()) {
      result.cancelled = true;
      break;
    }
    const size_t index = positions[static_cast<size_t>(k)];
    if (index >= album.photos().size()) {
      result.failures.push_back("There is no photo " + std::to_string(index + 1));
      continue;
    }
    const std::string name = album.photos()[index].image_file;
    Report(progress, BatchProgressText("Copying", Quoted(name), k + 1, total), k, total);
    platform::NestedProgress steps = PhotoSteps(progress, k, total);
    if (copy_one(index, name, steps)) {
      ++result.done;
    } else {
      AddFailure(&result, name, errors.last_error());
    }
  }
  if (!result.cancelled)
    progress.SetPosition(int64_t{total} * kPhotoUnits, int64_t{total} * kPhotoUnits);
  return result;
}

}  // namespace

std::string BatchProgressText(std::string_view verb, std::string_view label, int number,
                              int total) {
  return std::string(verb) + " " + std::string(label) + " (image " + std::to_string(number) +
         " of " + std::to_string(total) + ") ...";
}

std::string PhotoLabel(const AlbumPhoto& photo) {
  return photo.title.empty() ? photo.image_file : Quoted(photo.title);
}

BatchResult AddImages(Album& album, std::span<const fs::path> sources, int position,
                      platform::ProgressSink& progress, std::vector<size_t>* added) {
  BatchResult result;
  if (!album.CheckWritable()) {
    result.failures.push_back(album.last_error());
    return result;
  }
  const int total = static_cast<int>(sources.size());
  for (int k = 0; k < total; ++k) {
    if (progress.Cancelled()) {
      result.cancelled = true;
      break;
    }
    const fs::path& source = sources[static_cast<size_t>(k)];
    const std::string file_name = source.filename().string();
    Report(progress, BatchProgressText("Adding", Quoted(file_name), k + 1, total), k, total);
    const std::string name = MakeUniqueName(album, AlbumFileName(file_name));
    const size_t count = album.photos().size();
    const size_t at =
        position < 0
            ? count
            : std::min(count, static_cast<size_t>(position) + static_cast<size_t>(result.done));
    platform::NestedProgress steps = PhotoSteps(progress, k, total);
    if (AddImageFromDisk(album, source, name, static_cast<int>(at), steps)) {
      ++result.done;
      if (added != nullptr) added->push_back(at);
      continue;
    }
    AddFailure(&result, file_name, album.last_error());
    // A record whose file never arrived would name a missing file; one that only lacks its
    // thumbnail is a photo all the same. The record holds the name the file took.
    auto& photos = album.photos();
    if (photos.size() > count && !album.store().FileExists(photos[at].image_file)) {
      photos.erase(photos.begin() + static_cast<std::ptrdiff_t>(at));
    } else if (photos.size() > count) {
      ++result.done;
      if (added != nullptr) added->push_back(at);
    }
  }
  if (!result.cancelled)
    progress.SetPosition(int64_t{total} * kPhotoUnits, int64_t{total} * kPhotoUnits);
  return result;
}

BatchResult CopyImages(Album& album, std::span<const size_t> positions,
                       const fs::path& target_folder, const std::optional<FitSize>& fit,
                       platform::ProgressSink& progress) {
  return CopyEach(album, positions, progress, album,
                  [&](size_t index, const std::string& name, platform::ProgressSink& steps) {
                    return CopyImageOut(album, index, target_folder / name, fit, steps);
                  });
}

BatchResult CopyPhotosToAlbum(Album& from, std::span<const size_t> positions, Album& to,
                              platform::ProgressSink& progress) {
  if (!to.CheckWritable()) return {.failures = {to.last_error()}};
  return CopyEach(from, positions, progress, to,
                  [&](size_t index, const std::string&, platform::ProgressSink& steps) {
                    return CopyPhotoToAlbum(from, index, to, -1, steps);
                  });
}

BatchResult DeletePhotos(Album& album, std::span<const size_t> positions,
                         platform::ProgressSink& progress, std::vector<RemovedPhoto>* removed) {
  BatchResult result;
  const int total = static_cast<int>(positions.size());
  auto& photos = album.photos();
  // Checked whole first: a wrong list changes nothing.
  for (size_t i = 0; i < positions.size(); ++i) {
    if (positions[i] >= photos.size() || (i > 0 && positions[i] <= positions[i - 1])) {
      result.failures.push_back(
          "The photos to delete must be given in ascending order, each "
          "once, from 1 to " +
          std::to_string(photos.size()));
      return result;
    }
  }
  for (int k = 0; k < total; ++k) {
    if (progress.Cancelled()) {
      result.cancelled = true;
      break;
    }
    // Every earlier removal moved the later photos down by one.
    const size_t at = positions[static_cast<size_t>(k)] - static_cast<size_t>(k);
    Report(progress, BatchProgressText("Deleting", PhotoLabel(photos[at]), k + 1, total), k, total);
    AlbumPhoto photo = std::move(photos[at]);
    photos.erase(photos.begin() + static_cast<std::ptrdiff_t>(at));
    album.RetainFile(photo.image_file);
    album.RetainFile(ThumbnailName(photo.image_file));
    album.set_modified(true);
    if (removed != nullptr) removed->push_back({at, std::move(photo)});
    ++result.done;
  }
  if (!result.cancelled)
    progress.SetPosition(int64_t{total} * kPhotoUnits, int64_t{total} * kPhotoUnits);
  return result;
}

}  // namespace quorvane::album
