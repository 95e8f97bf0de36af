// Album: the photos of one album with its title, date, description and user variables, and
// the store its files live in. The index file reads and writes it (album_index.h).
//
// Thread-compatible: one album, one thread at a time.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "album/album_photo.h"
#include "album/album_store.h"
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

class Album {
 public:
  explicit Album(std::unique_ptr<AlbumStore> store) : store_(std::move(store)) {}

  AlbumStore& store() { return *store_; }

  const std::string& title() const { return title_; }
  void set_title(std::string title) {
    title_ = std::move(title);
    modified_ = true;
  }
  const std::string& title_image_file() const { return title_image_file_; }
  void set_title_image_file(std::string name) {
    title_image_file_ = std::move(name);
    modified_ = true;
  }
  const std::string& description() const { return description_; }
  void set_description(std::string text) {
    description_ = std::move(text);
    modified_ = true;
  }
  const std::string& version() const { return version_; }
  void set_version(std::string version) { version_ = std::move(version); }
  platform::OleDate date() const { return date_; }
  void set_date(platform::OleDate date) {
    date_ = date;
    modified_ = true;
  }

  std::vector<AlbumPhoto>& photos() { return photos_; }
  const std::vector<AlbumPhoto>& photos() const { return photos_; }
  UserVariables& user_variables() { return user_variables_; }
  const UserVariables& user_variables() const { return user_variables_; }

  bool modified() const { return modified_; }
  void set_modified(bool modified) { modified_ = modified; }

  // The message of the last failed operation on the album.
  const std::string& last_error() const { return last_error_; }
  void set_last_error(std::string text) { last_error_ = std::move(text); }

 private:
  std::unique_ptr<AlbumStore> store_;
  std::string title_;
  std::string title_image_file_;
  std::string description_;
  std::string version_;
  platform::OleDate date_ = platform::kNoDate;
  std::vector<AlbumPhoto> photos_;
  UserVariables user_variables_;
  bool modified_ = false;
  std::string last_error_;
};

}  // namespace quorvane::album
