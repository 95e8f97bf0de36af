#include "album/album_merge.h"

#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "album/album_index.h"

namespace quorvane::album {
namespace {

using Photos = std::vector<AlbumPhoto>;

// Ours where we changed the value, else theirs.
template <typename T>
void Take(const T& base, const T& ours, T* merged) {
  if (!(ours == base)) *merged = ours;
}

// One key per photo: its file name, and for a name the list repeats, the occurrence too (a
// file name holds no NUL byte, so the two kinds cannot meet).
std::vector<std::string> Keys(const Photos& photos) {
  std::unordered_map<std::string_view, int> seen;
  std::vector<std::string> keys;
  keys.reserve(photos.size());
  for (const AlbumPhoto& photo : photos) {
    const int n = seen[photo.image_file]++;
    keys.push_back(n == 0 ? photo.image_file : photo.image_file + '\0' + std::to_string(n));
  }
  return keys;
}

template <typename Keys>
std::unordered_map<std::string_view, size_t> Positions(const Keys& keys) {
  std::unordered_map<std::string_view, size_t> positions;
  positions.reserve(keys.size());
  for (size_t i = 0; i < keys.size(); ++i) positions.emplace(keys[i], i);
  return positions;
}

void MergePhotoFields(const AlbumPhoto& base, const AlbumPhoto& ours, AlbumPhoto* merged) {
  Take(base.title, ours.title, &merged->title);
  Take(base.description, ours.description, &merged->description);
  Take(base.keywords, ours.keywords, &merged->keywords);
  Take(base.date, ours.date, &merged->date);
  Take(base.format, ours.format, &merged->format);
  Take(base.width, ours.width, &merged->width);
  Take(base.height, ours.height, &merged->height);
}

Photos MergePhotos(const Photos& base, const Photos& ours, const Photos& theirs) {
  const std::vector<std::string> base_keys = Keys(base), our_keys = Keys(ours),
                                 their_keys = Keys(theirs);
  const auto in_base = Positions(base_keys);
  const auto in_ours = Positions(our_keys);

  // Theirs, less what we removed, with the fields we changed.
  Photos merged;
  std::vector<std::string_view> merged_keys;
  merged.reserve(theirs.size() + ours.size());
  for (size_t i = 0; i < theirs.size(); ++i) {
    const auto b = in_base.find(their_keys[i]);
    const auto o = in_ours.find(their_keys[i]);
    if (b != in_base.end() && o == in_ours.end()) continue;
    merged.push_back(theirs[i]);
    if (b != in_base.end()) {
      MergePhotoFields(base[b->second], ours[o->second], &merged.back());
    } else if (o != in_ours.end()) {
      merged.back() = ours[o->second];  // both added a photo of this name: ours is newer
    }
    merged_keys.push_back(their_keys[i]);
  }
  const auto in_merged = Positions(merged_keys);

  // The photos both of us know, in our order and in the base's; when they differ, we moved
  // photos, and our order fills the places those photos take.
  std::vector<std::string_view> our_order, base_order;
  for (const std::string& key : our_keys) {
    if (in_base.contains(key) && in_merged.contains(key)) our_order.push_back(key);
  }
  for (const std::string& key : base_keys) {
    if (in_ours.contains(key) && in_merged.contains(key)) base_order.push_back(key);
  }
  if (our_order != base_order) {
    const std::unordered_set<std::string_view> known(our_order.begin(), our_order.end());
    Photos moved;
    moved.reserve(our_order.size());
    for (std::string_view key : our_order) moved.push_back(merged[in_merged.at(key)]);
    size_t next = 0;
    for (size_t i = 0; i < merged.size(); ++i) {
      if (!known.contains(merged_keys[i])) continue;
      merged[i] = std::move(moved[next]);
      merged_keys[i] = our_order[next++];
    }
  }

  // Our new photos follow the last photo before them in our list that the merge holds (or go
  // first when there is none); those after the last such photo go to the end, where
  // appending put them.
  size_t appended_from = 0;
  for (size_t i = 0; i < ours.size(); ++i) {
    if (in_merged.contains(our_keys[i])) appended_from = i + 1;
  }
  std::unordered_map<std::string_view, Photos> after;
  Photos at_front, at_end;
  const std::string* anchor = nullptr;
  for (size_t i = 0; i < ours.size(); ++i) {
    if (in_merged.contains(our_keys[i])) {
      anchor = &our_keys[i];
    } else if (!in_base.contains(our_keys[i])) {
      Photos& into = i >= appended_from ? at_end : anchor != nullptr ? after[*anchor] : at_front;
      into.push_back(ours[i]);
    }  // else theirs removed it
  }

  Photos result;
  result.reserve(merged.size() + ours.size());
  for (AlbumPhoto& photo : at_front) result.push_back(std::move(photo));
  for (size_t i = 0; i < merged.size(); ++i) {
    result.push_back(std::move(merged[i]));
    if (auto it = after.find(merged_keys[i]); it != after.end()) {
      for (AlbumPhoto& photo : it->second) result.push_back(std::move(photo));
    }
  }
  for (AlbumPhoto& photo : at_end) result.push_back(std::move(photo));
  return result;
}

UserVariables MergeVariables(const UserVariables& base, const UserVariables& ours,
                             const UserVariables& theirs) {
  UserVariables merged = theirs;
  for (const auto& [name, value] : base) {
    if (ours.Find(name) == nullptr) merged.Remove(name);
  }
  for (const auto& [name, value] : ours) {
    const std::string* before = base.Find(name);
    if (before == nullptr || *before != value) merged.Set(name, value);
  }
  return merged;
}

}  // namespace

AlbumRecord MergeAlbumRecords(const AlbumRecord& base, const AlbumRecord& ours,
                              const AlbumRecord& theirs) {
  AlbumRecord merged;
  merged.title = theirs.title;
  merged.title_image_file = theirs.title_image_file;
  merged.description = theirs.description;
  merged.version = theirs.version;
  merged.date = theirs.date;
  Take(base.title, ours.title, &merged.title);
  Take(base.title_image_file, ours.title_image_file, &merged.title_image_file);
  Take(base.description, ours.description, &merged.description);
  Take(base.version, ours.version, &merged.version);
  Take(base.date, ours.date, &merged.date);
  merged.photos = MergePhotos(base.photos, ours.photos, theirs.photos);
  merged.user_variables =
      MergeVariables(base.user_variables, ours.user_variables, theirs.user_variables);
  return merged;
}

bool MergeChangesOnDisk(Album& album) {
  AlbumStore& store = album.store();
  const IndexSnapshot& saved = album.saved_index();
  if (FileStamp now; saved.stamp && store.StampFile(kIndexFileName, &now) && now == *saved.stamp) {
    return true;  // still the file the album read or wrote
  }
  std::string bytes;
  if (!AlbumIndex::ReadIndexFile(store, &bytes)) {
    // No index at all is nothing to merge with; one that is there but unreadable is a
    // failure, or the save would replace what nobody could read.
    for (std::string_view name : kIndexFileNames) {
      if (store.FileExists(name)) {
        album.set_last_error(store.LastError());
        return false;
      }
    }
    return true;
  }
  if (saved.present && bytes == saved.bytes) return true;

  IndexSnapshot now{true, bytes, {}, std::nullopt};
  AlbumRecord theirs;
  std::string loss;
  if (!AlbumIndex::ReadRecord(store, std::move(bytes), &theirs, &loss, &now.left_out)) {
    album.set_last_error(
        "Another program changed the album's index and it can no longer be read (" +
        std::string(kMalformedIndexError) + "); nothing was saved");
    return false;
  }
  if (!loss.empty()) {
    album.set_last_error(
        "Another program changed the album's index and it could not be read whole: " + loss +
        "; nothing was saved, so that nothing it holds is lost");
    return false;
  }
  // Without an index read before, everything in the file is theirs.
  AlbumRecord base;
  (void)AlbumIndex::ReadSavedRecord(saved, &base);
  album.set_record(MergeAlbumRecords(base, album.record(), theirs));
  album.NoteSaved(theirs.photos);
  album.set_saved_index(std::move(now));
  return true;
}

}  // namespace quorvane::album
