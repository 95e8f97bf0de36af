// Edits on the album's selected photos: the image-operation record ("Contrast Photo") whose
// undo and redo are one exchange of each photo's kept version, and the run that applies one
// filter photo by photo, goes on past a photo that fails, and on cancel takes back what it did.
#pragma once

#include <atomic>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "album/album_history.h"
#include "album/photo_operations.h"
#include "imaging/image_filter.h"

namespace quorvane::imaging {

// One album-level image operation: per changed photo, the version it replaced. Undo and Redo
// are the same exchange, item by item in order.
class ImageOperationRecord : public album::HistoryRecord {
 public:
  explicit ImageOperationRecord(std::string name) : name_(std::move(name)) {}

  bool Undo(album::Album& album) override { return ExchangeAll(album); }
  bool Redo(album::Album& album) override { return ExchangeAll(album); }
  std::string Label() const override { return name_ + " Photo"; }
  bool HasChanges() const override { return !items_.empty(); }

  void Add(album::PhotoVersion version) { items_.push_back(std::move(version)); }
  const std::vector<album::PhotoVersion>& items() const { return items_; }

 private:
  bool ExchangeAll(album::Album& album);

  std::string name_;
  std::vector<album::PhotoVersion> items_;
};

struct AlbumEditResult {
  ResultCode code = kOk;              // kOk, or kCancelled
  int changed = 0;                    // photos changed (and kept, unless cancelled)
  std::vector<std::string> failures;  // "<file>: <why>" per photo that failed
};

// Applies `filter` to the photos at `positions` (on the calling worker thread, while the window
// waits). Each photo is loaded, filtered and replaced through the album's photo operations;
// `progress` gets the text "<label> <photo> (image k of n) ..." per photo with the filter's
// label and a position that follows photos and rows. A photo that fails, or that the filter
// leaves as it is, is skipped. A cancel (polled between photos and rows) puts back the photos
// already changed and pushes nothing; otherwise the record goes onto `history` when any photo
// changed. Not thread-safe with other uses of `album` or `history`.
AlbumEditResult RunAlbumEdit(album::Album& album, album::AlbumHistory& history,
                             const ImageFilter& filter, std::span<const size_t> positions,
                             platform::ProgressSink& progress);

}  // namespace quorvane::imaging
