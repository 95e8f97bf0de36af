#include "imaging/album_edit.h"

#include "album/album.h"
#include "album/batch_operations.h"

namespace quorvane::imaging {
namespace {

// Each photo's share of the progress bar, in units fine enough to follow its rows.
constexpr int64_t kPhotoUnits = 1000;

}  // namespace

bool ImageOperationRecord::ExchangeAll(album::Album& album) {
  bool ok = true;
  for (album::PhotoVersion& item : items_) ok = album::ExchangePhotoVersion(album, item) && ok;
  return ok;
}

AlbumEditResult RunAlbumEdit(album::Album& album, album::AlbumHistory& history,
                             const ImageFilter& filter, std::span<const size_t> positions,
                             platform::ProgressSink& progress) {
  AlbumEditResult result;
  auto record = platform::MakeRef<ImageOperationRecord>(filter.RecordName());
  const std::string label = filter.OperationLabel();
  const int total = static_cast<int>(positions.size());
  for (int k = 0; k < total && !progress.Cancelled(); ++k) {
    const size_t index = positions[static_cast<size_t>(k)];
    if (index >= album.photos().size()) {
      result.failures.push_back("There is no photo " + std::to_string(index + 1));
      continue;
    }
    const std::string name = album.photos()[index].image_file;
    progress.SetText(
        album::BatchProgressText(label, album::PhotoLabel(album.photos()[index]), k + 1, total));
    progress.SetPosition(int64_t{k} * kPhotoUnits, int64_t{total} * kPhotoUnits);
    image::Image image;
    if (!album::LoadAlbumImage(album, index, &image)) {
      result.failures.push_back(name + ": " + album.last_error());
      continue;
    }
    // The filter's rows fill this photo's share of the bar; the text stays the photo's.
    platform::NestedProgress photo_progress(progress, int64_t{k} * kPhotoUnits, kPhotoUnits,
                                            int64_t{total} * kPhotoUnits,
                                            platform::NestedProgress::Texts::kDrop);
    FilterRun run{&photo_progress};
    const ResultCode code = filter.Apply(image, run);
    if (code == kCancelled || progress.Cancelled()) break;
    if (code == kNothingToDo) continue;
    if (code != kOk) {
      // The image operation's own words say why (a result too large to open, say); the photo
      // is left as it was.
      result.failures.push_back(
          name + ": " +
          (image.last_error().empty() ? platform::ResultCodeText(code) : image.last_error()));
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
  if (progress.Cancelled()) {
    // A cancelled operation leaves no photo changed.
    if (record->HasChanges()) record->Undo(album);
    result.code = kCancelled;
    return result;
  }
  if (record->HasChanges()) history.Push(record);
  return result;
}

}  // namespace quorvane::imaging
