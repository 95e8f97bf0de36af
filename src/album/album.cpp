#include "album/album.h"

#include "album/photo_naming.h"

namespace quorvane::album {

void UserVariables::Set(std::string_view name, std::string_view value) {
  auto [it, added] = positions_.try_emplace(std::string(name), entries_.size());
  if (added) {
    entries_.emplace_back(std::string(name), std::string(value));
  } else {
    entries_[it->second].second.assign(value);
  }
}

const std::string* UserVariables::Find(std::string_view name) const {
  auto it = positions_.find(std::string(name));
  return it == positions_.end() ? nullptr : &entries_[it->second].second;
}

bool UserVariables::Remove(std::string_view name) {
  auto it = positions_.find(std::string(name));
  if (it == positions_.end()) return false;
  const size_t removed = it->second;
  entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(removed));
  positions_.erase(it);
  for (auto& [key, index] : positions_) {
    if (index > removed) --index;
  }
  return true;
}

}  // namespace quorvane::album

namespace quorvane::album {

void Album::SetLocation(std::string location) {
  location_ = std::move(location);
  location_is_url_ = IsUrl(location_);
  size_t end = location_.find_last_of('\\');
  if (end == std::string::npos) {
    // Our own paths use the platform's separator; a URL has only "/".
    end = location_.find_last_of('/');
  }
  location_folder_ = end == std::string::npos ? std::string() : location_.substr(0, end + 1);
}

void Album::NoteSaved(const std::vector<AlbumPhoto>& photos) {
  saved_image_files_.clear();
  saved_image_files_.reserve(photos.size());
  for (const AlbumPhoto& photo : photos) saved_image_files_.push_back(photo.image_file);
}

bool Album::CheckWritable() {
  if (!read_only()) return true;
  last_error_ = "The album is read-only: " + read_only_reason_;
  return false;
}

}  // namespace quorvane::album
