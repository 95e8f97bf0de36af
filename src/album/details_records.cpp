#include "album/details_records.h"

#include <utility>

#include "album/album.h"
#include "album/index_check.h"

namespace quorvane::album {
namespace {

// Every field, so that a record can put all of them back whatever was changed.
AlbumDetails AllOf(const Album& album) {
  return {album.title(), album.description(), album.date()};
}
PhotoDetails AllOf(const AlbumPhoto& photo) {
  return {photo.title, photo.description, photo.keywords, photo.date};
}

bool SameDate(platform::OleDate a, platform::OleDate b) {
  // Every date outside the valid range means "no date".
  return a == b || (!platform::IsValidOleDate(a) && !platform::IsValidOleDate(b));
}

class AlbumDetailsRecord : public HistoryRecord {
 public:
  AlbumDetailsRecord(AlbumDetails before, AlbumDetails after)
      : before_(std::move(before)), after_(std::move(after)) {}
  bool Undo(Album& album) override { return SetAlbumDetails(album, before_); }
  bool Redo(Album& album) override { return SetAlbumDetails(album, after_); }
  std::string Label() const override { return kEditAlbumDescriptionLabel; }
  bool HasChanges() const override { return true; }

 private:
  AlbumDetails before_, after_;
};

// Finds its photo by file name, which is unique in an album and survives moves.
class PhotoDetailsRecord : public HistoryRecord {
 public:
  PhotoDetailsRecord(std::string image_file, PhotoDetails before, PhotoDetails after,
                     std::string label)
      : image_file_(std::move(image_file)),
        before_(std::move(before)),
        after_(std::move(after)),
        label_(std::move(label)) {}
  bool Undo(Album& album) override { return Apply(album, before_); }
  bool Redo(Album& album) override { return Apply(album, after_); }
  std::string Label() const override { return label_; }
  bool HasChanges() const override { return true; }

 private:
  bool Apply(Album& album, const PhotoDetails& details) const {
    for (size_t i = 0; i < album.photos().size(); ++i) {
      if (album.photos()[i].image_file == image_file_) return SetPhotoDetails(album, i, details);
    }
    album.set_last_error("The album no longer has \"" + image_file_ + "\"");
    return false;
  }

  std::string image_file_;
  PhotoDetails before_, after_;
  std::string label_;
};

}  // namespace

std::string AlbumDetailsProblem(const AlbumDetails& details) {
  if (details.title) {
    if (std::string problem = IndexValueProblem(IndexField::kEncoded, *details.title);
        !problem.empty()) {
      return "The album index cannot hold the title: it " + problem;
    }
  }
  if (details.description) {
    if (std::string problem = IndexValueProblem(IndexField::kText, *details.description);
        !problem.empty()) {
      return "The album index cannot hold the description: it " + problem;
    }
  }
  if (details.date && *details.date != platform::kNoDate &&
      !platform::IsValidOleDate(*details.date)) {
    return "The album index cannot hold the date: it is outside the years 100 to 9999";
  }
  return {};
}

bool SetAlbumDetails(Album& album, const AlbumDetails& details) {
  if (!album.CheckWritable()) return false;
  if (std::string problem = AlbumDetailsProblem(details); !problem.empty()) {
    album.set_last_error(std::move(problem));
    return false;
  }
  if (details.title) album.set_title(*details.title);
  if (details.description) album.set_description(*details.description);
  if (details.date) album.set_date(*details.date);
  album.set_modified(true);
  return true;
}

RefPtr<HistoryRecord> ChangeAlbumDetails(Album& album, const AlbumDetails& details) {
  album.set_last_error({});
  const AlbumDetails before = AllOf(album);
  const bool same = (!details.title || *details.title == *before.title) &&
                    (!details.description || *details.description == *before.description) &&
                    (!details.date || SameDate(*details.date, *before.date));
  if (same) return {};
  if (!SetAlbumDetails(album, details)) return {};
  return MakeRef<AlbumDetailsRecord>(before, AllOf(album));
}

RefPtr<HistoryRecord> ChangePhotoDetails(Album& album, size_t index, const PhotoDetails& details,
                                         std::string label) {
  album.set_last_error({});
  if (index < album.photos().size()) {
    const AlbumPhoto& photo = album.photos()[index];
    const bool same = (!details.title || *details.title == photo.title) &&
                      (!details.description || *details.description == photo.description) &&
                      (!details.keywords || *details.keywords == photo.keywords) &&
                      (!details.date || SameDate(*details.date, photo.date));
    if (same) return {};
  }
  const PhotoDetails before =
      index < album.photos().size() ? AllOf(album.photos()[index]) : PhotoDetails{};
  if (!SetPhotoDetails(album, index, details)) return {};
  const AlbumPhoto& photo = album.photos()[index];
  return MakeRef<PhotoDetailsRecord>(photo.image_file, before, AllOf(photo), std::move(label));
}

}  // namespace quorvane::album
