#include "search/internal/photo_presence_cache.h"

#include <algorithm>
#include <array>
#include <unordered_set>
#include <vector>

#include "platform/file_util.h"

namespace quorvane::search::internal {
namespace {

constexpr std::string_view kMagic = "Quorvane photo presence 1\n";
constexpr size_t kStampFields = 10;
constexpr size_t kMaxPath = 1 << 16;

std::array<int64_t, kStampFields> Fields(const FolderStamp& s) {
  return {s.folder.device, s.folder.inode, s.folder.size, s.folder.modified_ns, s.folder.changed_ns,
          s.index.device,  s.index.inode,  s.index.size,  s.index.modified_ns,  s.index.changed_ns};
}

FolderStamp StampFrom(const std::array<int64_t, kStampFields>& f) {
  return {{f[0], f[1], f[2], f[3], f[4]}, {f[5], f[6], f[7], f[8], f[9]}};
}

void PutU64(uint64_t value, std::string* out) {
  for (int i = 0; i < 8; ++i) out->push_back(static_cast<char>(value >> (8 * i)));
}

bool GetU64(std::string_view* in, uint64_t* value) {
  if (in->size() < 8) return false;
  *value = 0;
  for (int i = 0; i < 8; ++i) *value |= uint64_t{static_cast<unsigned char>((*in)[i])} << (8 * i);
  in->remove_prefix(8);
  return true;
}

bool Settled(const FileStamp& stamp, int64_t before_ns) {
  return stamp.inode != 0 && stamp.modified_ns < before_ns && stamp.changed_ns < before_ns;
}

}  // namespace

PhotoPresenceCache::PhotoPresenceCache(std::filesystem::path file, int64_t settle_ns)
    : file_(std::move(file)), settled_before_ns_(NowNs() - settle_ns) {}

void PhotoPresenceCache::Load() {
  std::string bytes, error;
  if (!file_.empty() && platform::ReadWholeFile(file_, &bytes, &error)) Parse(bytes);
}

bool PhotoPresenceCache::Parse(std::string_view in) {
  entries_.clear();
  if (!in.starts_with(kMagic)) return false;
  in.remove_prefix(kMagic.size());
  uint64_t count = 0;
  if (!GetU64(&in, &count)) return false;
  for (uint64_t i = 0; i < count; ++i) {
    uint64_t length = 0;
    if (!GetU64(&in, &length) || length > kMaxPath || length > in.size()) break;
    std::string folder(in.substr(0, length));
    in.remove_prefix(length);
    std::array<int64_t, kStampFields> fields;
    bool ok = true;
    for (int64_t& field : fields) {
      uint64_t value = 0;
      ok = ok && GetU64(&in, &value);
      field = static_cast<int64_t>(value);
    }
    if (!ok) break;
    entries_[std::move(folder)] = StampFrom(fields);
  }
  if (entries_.size() != count || !in.empty()) {
    entries_.clear();
    return false;
  }
  return true;
}

bool PhotoPresenceCache::AllPresent(const std::string& folder, const FolderStamp& stamp) {
  std::lock_guard lock(mutex_);
  const auto it = entries_.find(folder);
  if (it == entries_.end()) return false;
  if (it->second != stamp) {  // the folder changed: list it again, and forget the answer
    entries_.erase(it);
    changed_ = true;
    return false;
  }
  return true;
}

void PhotoPresenceCache::Remember(const std::string& folder, const FolderStamp& stamp) {
  if (!Settled(stamp.folder, settled_before_ns_) || !Settled(stamp.index, settled_before_ns_)) {
    return;
  }
  std::lock_guard lock(mutex_);
  const auto [it, added] = entries_.try_emplace(folder, stamp);
  if (added || it->second != stamp) changed_ = true;
  it->second = stamp;
}

void PhotoPresenceCache::ForgetOthersIn(const std::filesystem::path& library,
                                        const std::vector<std::string>& albums) {
  const std::unordered_set<std::string_view> current(albums.begin(), albums.end());
  // "/photos/" lists its albums as "/photos/name" too.
  const std::filesystem::path folder = library.has_filename() ? library : library.parent_path();
  std::erase_if(entries_, [&](const auto& entry) {
    const bool forget = !current.contains(entry.first) &&
                        std::filesystem::path(entry.first).parent_path() == folder;
    changed_ = changed_ || forget;
    return forget;
  });
}

std::string PhotoPresenceCache::Serialize() const {
  // In folder order, so that the same cache always makes the same file.
  std::vector<const std::pair<const std::string, FolderStamp>*> sorted;
  for (const auto& entry : entries_) sorted.push_back(&entry);
  std::sort(sorted.begin(), sorted.end(), [](auto* a, auto* b) { return a->first < b->first; });
  std::string out(kMagic);
  PutU64(sorted.size(), &out);
  for (const auto* entry : sorted) {
    PutU64(entry->first.size(), &out);
    out += entry->first;
    for (int64_t field : Fields(entry->second)) PutU64(static_cast<uint64_t>(field), &out);
  }
  return out;
}

void PhotoPresenceCache::Save() {
  if (file_.empty() || !changed_) return;
  std::error_code ec;
  std::filesystem::create_directories(file_.parent_path(), ec);
  std::string error;
  platform::WriteFileAtomically(file_, Serialize(), &error, platform::Flush::kLater);
  changed_ = false;
}

}  // namespace quorvane::search::internal
