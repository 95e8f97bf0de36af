#include "album/album_history_records.h"

#include <algorithm>
#include <string>
#include <unordered_map>
#include <utility>

#include "album/album.h"
#include "album/photo_naming.h"

namespace quorvane::album {
namespace {

using Photos = std::vector<AlbumPhoto>;

void Insert(Album& album, size_t position, const AlbumPhoto& photo) {
  Photos& photos = album.photos();
  photos.insert(photos.begin() + static_cast<std::ptrdiff_t>(std::min(position, photos.size())),
                photo);
  album.set_modified(true);
}

// Takes the photo at `position` out of the list, leaving its files to the album's close.
bool Remove(Album& album, size_t position, const std::string& expected_file) {
  Photos& photos = album.photos();
  if (position >= photos.size() || photos[position].image_file != expected_file) {
    album.set_last_error("The album no longer has \"" + expected_file + "\" where it was");
    return false;
  }
  photos.erase(photos.begin() + static_cast<std::ptrdiff_t>(position));
  album.RetainFile(expected_file);
  album.RetainFile(ThumbnailName(expected_file));
  album.set_modified(true);
  return true;
}

class AddPhotoRecord : public HistoryRecord {
 public:
  explicit AddPhotoRecord(std::vector<RemovedPhoto> added) : added_(std::move(added)) {}

  bool Undo(Album& album) override {
    bool ok = true;
    for (auto it = added_.rbegin(); it != added_.rend(); ++it) {
      ok = Remove(album, it->position, it->photo.image_file) && ok;
    }
    return ok;
  }
  bool Redo(Album& album) override {
    for (const RemovedPhoto& entry : added_) Insert(album, entry.position, entry.photo);
    return true;
  }
  std::string Label() const override { return "Add Photo"; }
  bool HasChanges() const override { return !added_.empty(); }

 private:
  std::vector<RemovedPhoto> added_;  // position each photo took, in the order of adding
};

class RemovePhotoRecord : public HistoryRecord {
 public:
  explicit RemovePhotoRecord(std::vector<RemovedPhoto> removed) : removed_(std::move(removed)) {}

  bool Undo(Album& album) override {
    for (auto it = removed_.rbegin(); it != removed_.rend(); ++it) {
      Insert(album, it->position, it->photo);
    }
    return true;
  }
  bool Redo(Album& album) override {
    bool ok = true;
    for (const RemovedPhoto& entry : removed_) {
      ok = Remove(album, entry.position, entry.photo.image_file) && ok;
    }
    return ok;
  }
  std::string Label() const override { return "Remove Photo"; }
  bool HasChanges() const override { return !removed_.empty(); }

 private:
  std::vector<RemovedPhoto> removed_;
};

// Keeps the list's order before and after as image file names, which are unique in an album.
class MovePhotoRecord : public HistoryRecord {
 public:
  MovePhotoRecord(std::vector<std::string> before, std::vector<std::string> after)
      : before_(std::move(before)), after_(std::move(after)) {}

  bool Undo(Album& album) override { return Arrange(album, before_); }
  bool Redo(Album& album) override { return Arrange(album, after_); }
  std::string Label() const override { return "Move Photo"; }
  bool HasChanges() const override { return before_ != after_; }

 private:
  static bool Arrange(Album& album, const std::vector<std::string>& order) {
    Photos& photos = album.photos();
    std::unordered_map<std::string, size_t> where;
    for (size_t i = 0; i < photos.size(); ++i) where.emplace(photos[i].image_file, i);
    if (where.size() != order.size()) {
      album.set_last_error("The album's photos have changed since they were moved");
      return false;
    }
    Photos arranged;
    arranged.reserve(photos.size());
    for (const std::string& name : order) {
      auto it = where.find(name);
      if (it == where.end()) {
        album.set_last_error("The album no longer has \"" + name + "\"");
        return false;
      }
      arranged.push_back(std::move(photos[it->second]));
    }
    photos = std::move(arranged);
    album.set_modified(true);
    return true;
  }

  std::vector<std::string> before_, after_;
};

std::vector<std::string> Order(const Album& album) {
  std::vector<std::string> names;
  for (const AlbumPhoto& photo : album.photos()) names.push_back(photo.image_file);
  return names;
}

}  // namespace

RefPtr<HistoryRecord> MakeAddPhotoRecord(const Album& album, std::span<const size_t> positions) {
  std::vector<RemovedPhoto> added;
  // Later additions may have been inserted before earlier ones; replaying the positions in
  // order rebuilds the list, so each photo is looked up where the whole batch left it.
  std::vector<size_t> final_positions(positions.begin(), positions.end());
  for (size_t k = 0; k < final_positions.size(); ++k) {
    for (size_t j = k + 1; j < positions.size(); ++j) {
      if (positions[j] <= final_positions[k]) ++final_positions[k];
    }
  }
  for (size_t k = 0; k < positions.size(); ++k) {
    if (final_positions[k] < album.photos().size()) {
      added.push_back({positions[k], album.photos()[final_positions[k]]});
    }
  }
  return MakeRef<AddPhotoRecord>(std::move(added));
}

RefPtr<HistoryRecord> MakeRemovePhotoRecord(std::vector<RemovedPhoto> removed) {
  return MakeRef<RemovePhotoRecord>(std::move(removed));
}

RefPtr<HistoryRecord> MovePhotos(Album& album, std::span<const size_t> positions,
                                 size_t insert_before) {
  Photos& photos = album.photos();
  if (insert_before > photos.size()) return {};
  for (size_t i = 0; i < positions.size(); ++i) {
    if (positions[i] >= photos.size() || (i > 0 && positions[i] <= positions[i - 1])) return {};
  }
  std::vector<std::string> before = Order(album);
  Photos moving;
  size_t target = insert_before;
  for (auto it = positions.rbegin(); it != positions.rend(); ++it) {
    moving.insert(moving.begin(), std::move(photos[*it]));
    photos.erase(photos.begin() + static_cast<std::ptrdiff_t>(*it));
    if (*it < insert_before) --target;
  }
  photos.insert(photos.begin() + static_cast<std::ptrdiff_t>(target),
                std::make_move_iterator(moving.begin()), std::make_move_iterator(moving.end()));
  album.set_modified(true);
  return MakeRef<MovePhotoRecord>(std::move(before), Order(album));
}

RefPtr<HistoryRecord> MovePhotosTo(Album& album, std::span<const size_t> positions, size_t first) {
  const size_t count = album.photos().size();
  if (positions.size() > count || first > count - positions.size()) return {};
  // The photos that stay keep their order; the moved ones go before the first-th of them.
  size_t insert_before = count;
  size_t staying = 0;
  for (size_t i = 0, next = 0; i < count; ++i) {
    if (next < positions.size() && positions[next] == i) {
      ++next;
    } else if (staying++ == first) {
      insert_before = i;
      break;
    }
  }
  return MovePhotos(album, positions, insert_before);
}

}  // namespace quorvane::album
