#include "imaging/album_edit.h"

#include "album/album.h"
#include "album/batch_operations.h"

namespace quorvane::imaging {

bool ImageOperationRecord::ExchangeAll(album::Album& album) {
  bool ok = true;
  for (album::PhotoVersion& item : items_) ok = album::ExchangePhotoVersion(album, item) && ok;
  return ok;
}

AlbumEditResult RunAlbumEdit(album::Album& album, album::AlbumHistory& history,
                             const ImageFilter& filter, std::span<const size_t> positions,
                             FilterRun& run, const album::ProgressCallback& progress) {
  AlbumEditResult result;
  auto record = platform::MakeRef<ImageOperationRecord>(filter.RecordName());
  const std::string label = filter.OperationLabel();
  const int total = static_cast<int>(positions.size());
  for (int k = 0; k < total && !run.cancel.load(); ++k) {
    const size_t index = positions[static_cast<size_t>(k)];
    if (index >= album.photos().size()) {
      result.failures.push_back("There is no photo " + std::to_string(index + 1));
      continue;
    }
    const std::string name = album.photos()[index].image_file;
    if (progress) {
      progress(
          album::BatchProgressText(label, album::PhotoLabel(album.photos()[index]), k + 1, total),
          k, total);
    }
    image::Image image;
    if (!album::LoadAlbumImage(album, index, &image)) {
      result.failures.push_back(name + ": " + album.last_error());
      continue;
    }
    run.progress = 0;
    const uint32_t code = filter.Apply(image, run);
    if (code == kFilterCancelled || run.cancel.load()) break;
    if (code == kFilterNothingToDo) continue;
    if (code != kFilterOk) {
      // The image operation's own words say why (a result too large to open, say); the photo
      // is left as it was.
      result.failures.push_back(
          name + ": " +
          (image.last_error().empty() ? album::ErrorCodeText(code) : image.last_error()));
      continue;
    }
    album::PhotoVersion kept;
    if (!album::ReplacePhotoImage(album, index, image, &kept)) {
      result.failures.push_back(name + ": " + album.last_error());
      continue;
    }
    record->Add(std::move(kept));
    ++result.changed;
  }
  if (run.cancel.load()) {
    // A cancelled operation leaves no photo changed.
    if (record->HasChanges()) record->Undo(album);
    result.code = kFilterCancelled;
    return result;
  }
  if (record->HasChanges()) history.Push(record);
  return result;
}

}  // namespace quorvane::imaging
