// Album: the photos of one album with its title, date, description and user variables, and
// the store its files live in. The index file reads and writes it (album_index.h).
//
// Thread-compatible: one album, one thread at a time.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "album/album_photo.h"
#include "album/album_store.h"
#include "image/image.h"
#include "platform/ole_date.h"

namespace quorvane::album {

// Name and value pairs in the album's order, one value per name, that web-album designs read.
class UserVariables {
 public:
  using Entry = std::pair<std::string, std::string>;

  // Replaces the value of an existing name in place, or appends the pair.
  void Set(std::string_view name, std::string_view value);
  // The value, or null when the name is not set.
  const std::string* Find(std::string_view name) const;
  bool Remove(std::string_view name);
  void Clear() {
    entries_.clear();
    positions_.clear();
  }

  size_t size() const { return entries_.size(); }
  bool empty() const { return entries_.empty(); }
  const Entry& operator[](size_t i) const { return entries_[i]; }
  auto begin() const { return entries_.begin(); }
  auto end() const { return entries_.end(); }

 private:
  std::vector<Entry> entries_;
  std::unordered_map<std::string, size_t> positions_;  // name -> index in entries_
};

// How the album makes thumbnails. Both are user settings.
struct ThumbnailOptions {
  int jpeg_quality = 85;  // thumbnails are small; 85 keeps them sharp at a third of 100's size
  image::ResampleMode mode = image::ResampleMode::kBicubic;
};

// What an album's index file holds: the album's fields, its photos in order and its user
// variables. A plain value, so that a save can merge three of them (album_merge.h).
struct AlbumRecord {
  std::string title;
  std::string title_image_file;
  std::string description;
  std::string version;
  platform::OleDate date = platform::kNoDate;
  std::vector<AlbumPhoto> photos;
  UserVariables user_variables;
};

// The index file as an album last read or wrote it: its bytes, and the photos the reading left
// out because their image file was missing. A save compares the file on disk with these bytes
// to learn whether another program wrote it since, and then merges against what they held.
struct IndexSnapshot {
  bool present = false;  // false until an index was read or written
  std::string bytes;
  std::vector<std::string> left_out;
  // The stamp of "index.quorvane" when it surely held `bytes`: while the file keeps it, a
  // save need not read it again.
  std::optional<FileStamp> stamp;
};

class Album {
 public:
  explicit Album(std::unique_ptr<AlbumStore> store) : store_(std::move(store)) {}

  AlbumStore& store() { return *store_; }

  const std::string& title() const { return record_.title; }
  void set_title(std::string title) {
    record_.title = std::move(title);
    modified_ = true;
  }
  const std::string& title_image_file() const { return record_.title_image_file; }
  void set_title_image_file(std::string name) {
    record_.title_image_file = std::move(name);
    modified_ = true;
  }
  const std::string& description() const { return record_.description; }
  void set_description(std::string text) {
    record_.description = std::move(text);
    modified_ = true;
  }
  const std::string& version() const { return record_.version; }
  void set_version(std::string version) { record_.version = std::move(version); }
  platform::OleDate date() const { return record_.date; }
  void set_date(platform::OleDate date) {
    record_.date = date;
    modified_ = true;
  }

  std::vector<AlbumPhoto>& photos() { return record_.photos; }
  const std::vector<AlbumPhoto>& photos() const { return record_.photos; }
  UserVariables& user_variables() { return record_.user_variables; }
  const UserVariables& user_variables() const { return record_.user_variables; }

  // Everything the index holds, at once.
  const AlbumRecord& record() const { return record_; }
  void set_record(AlbumRecord record) { record_ = std::move(record); }

  // The index file as last read or written (album_index.h keeps it up to date).
  const IndexSnapshot& saved_index() const { return saved_index_; }
  void set_saved_index(IndexSnapshot snapshot) { saved_index_ = std::move(snapshot); }
  IndexSnapshot TakeSavedIndex() { return std::exchange(saved_index_, {}); }
  // The image files the index on disk names, as of the last load, save or merge: a retained
  // file among them stays, because the saved album still shows it.
  const std::vector<std::string>& saved_image_files() const { return saved_image_files_; }
  void NoteSaved(const std::vector<AlbumPhoto>& photos);

  // An album whose index could not be read whole (the reading stopped early, an element was
  // cut off, or the file holds what the album does not keep) is read-only: saving it would
  // lose what the album could not read. It can still be shown and saved under a new name.
  bool read_only() const { return !read_only_reason_.empty(); }
  // Why, for the user: what was not read, and where.
  const std::string& read_only_reason() const { return read_only_reason_; }
  void set_read_only_reason(std::string reason) { read_only_reason_ = std::move(reason); }
  // False with the read-only message in the last error when the album is read-only.
  [[nodiscard]] bool CheckWritable();

  // Where the album lives: a folder path or a URL. SetLocation also fills the location's
  // folder (up to and including its last separator) and the URL flag.
  void SetLocation(std::string location);
  const std::string& location() const { return location_; }
  const std::string& location_folder() const { return location_folder_; }
  bool location_is_url() const { return location_is_url_; }

  // Thumbnails are made to fit 2 pixels inside a cell of this size.
  int thumbnail_cell_width() const { return cell_width_; }
  int thumbnail_cell_height() const { return cell_height_; }
  void set_thumbnail_cell_size(int width, int height) {
    cell_width_ = width;
    cell_height_ = height;
  }
  const ThumbnailOptions& thumbnail_options() const { return thumbnail_options_; }
  void set_thumbnail_options(const ThumbnailOptions& options) { thumbnail_options_ = options; }

  // Files of the album's store that no photo uses any more but that undo may still need:
  // earlier versions of edited photos and the files of removed photos. They are deleted
  // when the album is closed (photo_operations.h, ReleaseRetainedFiles), never before.
  void RetainFile(std::string name) { retained_files_.push_back(std::move(name)); }
  const std::vector<std::string>& retained_files() const { return retained_files_; }
  std::vector<std::string> TakeRetainedFiles() { return std::move(retained_files_); }

  bool modified() const { return modified_; }
  void set_modified(bool modified) { modified_ = modified; }

  // The message of the last failed operation on the album.
  const std::string& last_error() const { return last_error_; }
  void set_last_error(std::string text) { last_error_ = std::move(text); }

 private:
  std::unique_ptr<AlbumStore> store_;
  AlbumRecord record_;
  IndexSnapshot saved_index_;
  std::string read_only_reason_;
  bool modified_ = false;
  std::string last_error_;
  std::string location_;
  std::string location_folder_;
  bool location_is_url_ = false;
  int cell_width_ = 120;
  int cell_height_ = 90;
  ThumbnailOptions thumbnail_options_;
  std::vector<std::string> retained_files_;
  std::vector<std::string> saved_image_files_;
};

}  // namespace quorvane::album
