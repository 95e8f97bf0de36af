#include "thumbnails/thumbnail_cache.h"

#include <limits>
#include <system_error>
#include <utility>

#include "image/image.h"
#include "platform/file_time.h"
#include "platform/file_util.h"
#include "thumbnails/internal/thumbnail_cache_map.h"
#include "xml/xml_document.h"

namespace quorvane::thumbnails {
namespace {

namespace fs = std::filesystem;

// Reads a decimal number the lenient way the index always has been read: leading blanks and
// a sign allowed, digits up to the first other byte, 0 when there are none; out-of-range
// values saturate.
int64_t ParseDecimal(std::string_view text) {
  size_t i = 0;
  while (i < text.size() &&
         (text[i] == ' ' || text[i] == '\t' || text[i] == '\n' || text[i] == '\r')) {
    ++i;
  }
  bool negative = false;
  if (i < text.size() && (text[i] == '-' || text[i] == '+')) negative = text[i++] == '-';
  int64_t value = 0;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    if (value > (std::numeric_limits<int64_t>::max() - 9) / 10) {
      value = std::numeric_limits<int64_t>::max();
      break;
    }
    value = value * 10 + (text[i] - '0');
  }
  return negative ? -value : value;
}

int32_t ParseSize(std::string_view text) {
  const int64_t value = ParseDecimal(text);
  if (value > std::numeric_limits<int32_t>::max()) return std::numeric_limits<int32_t>::max();
  if (value < std::numeric_limits<int32_t>::min()) return std::numeric_limits<int32_t>::min();
  return static_cast<int32_t>(value);
}

// A time half as written ("%lu"); a negative number reads as its 32-bit pattern.
uint32_t ParseTimeHalf(std::string_view text) {
  return static_cast<uint32_t>(static_cast<uint64_t>(ParseDecimal(text)));
}

// Bytes a cache file name never holds: separators on any platform, and the drive colon.
constexpr std::string_view kUnsafeNameBytes("/\\:\0", 4);

// A cache file name must stay inside the cache folder and must not be the index itself.
bool IsPlainCacheName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name != kThumbnailIndexName &&
         name.find_first_of(kUnsafeNameBytes) == std::string_view::npos;
}

std::string LastComponent(std::string_view path) {
#if defined(_WIN32)
  const size_t slash = path.find_last_of("\\/");
#else
  const size_t slash = path.rfind('/');
#endif
  return std::string(slash == std::string_view::npos ? path : path.substr(slash + 1));
}

// Whether an entry survives a write and a read of the index: the XML reader ends its input at
// a 0xFF byte and splits tags longer than 4,095 bytes, so such entries are left out (their
// thumbnails are made again next time) rather than read back altered.
bool Persistable(const ThumbnailCacheEntry& entry) {
  constexpr size_t kMaxEncodedText = 3800;  // leaves room for the numbers and the names
  return entry.filename.find('\xff') == std::string::npos &&
         entry.original_path.find('\xff') == std::string::npos &&
         xml::EncodeEntities(entry.filename).size() +
                 xml::EncodeEntities(entry.original_path).size() <=
             kMaxEncodedText;
}

std::string Decoded(const xml::XmlNode& node, std::string_view attribute) {
  return xml::DecodeEntities(node.GetAttribute(attribute));
}

}  // namespace

ThumbnailCache::ThumbnailCache() : map_(std::make_unique<internal::ThumbnailCacheMap>()) {}

ThumbnailCache::~ThumbnailCache() = default;

bool ThumbnailCache::Open(const fs::path& folder) {
  std::lock_guard lock(mutex_);
  enabled_ = false;
  changed_ = false;
  map_->Clear();
  used_names_.clear();
  unflushed_.clear();
  std::error_code ec;
  if (folder.empty()) return false;
  fs::create_directories(folder, ec);
  if (!fs::is_directory(folder, ec)) return false;
  folder_ = folder;
  folder_text_ = folder.string();
  if (folder_text_.back() != fs::path::preferred_separator) {
    folder_text_ += static_cast<char>(fs::path::preferred_separator);
  }
  enabled_ = true;
  std::string bytes;
  std::string ignored;
  if (platform::ReadWholeFile(folder_ / kThumbnailIndexName, &bytes, &ignored)) {
    LoadIndexLocked(std::move(bytes));
  }
  return true;
}

void ThumbnailCache::Close() { (void)WriteIndex(/*closing=*/true); }

bool ThumbnailCache::Flush() { return WriteIndex(/*closing=*/false); }

bool ThumbnailCache::unsaved() const {
  std::lock_guard lock(mutex_);
  return enabled_ && changed_;
}

bool ThumbnailCache::enabled() const {
  std::lock_guard lock(mutex_);
  return enabled_;
}

std::string ThumbnailCache::folder() const {
  std::lock_guard lock(mutex_);
  return folder_text_;
}

size_t ThumbnailCache::size() const {
  std::lock_guard lock(mutex_);
  return map_->size();
}

std::string ThumbnailCache::last_write_error() const {
  std::lock_guard lock(mutex_);
  return last_write_error_;
}

std::optional<ThumbnailCacheEntry> ThumbnailCache::Lookup(std::string_view source_path) const {
  std::lock_guard lock(mutex_);
  if (!enabled_) return std::nullopt;
  const ThumbnailCacheEntry* entry = map_->Find(source_path);
  if (entry == nullptr) return std::nullopt;
  return *entry;
}

std::vector<ThumbnailCacheEntry> ThumbnailCache::Entries() const {
  std::lock_guard lock(mutex_);
  std::vector<ThumbnailCacheEntry> entries;
  entries.reserve(map_->size());
  map_->ForEach([&](const ThumbnailCacheEntry& entry) { entries.push_back(entry); });
  return entries;
}

bool ThumbnailCache::IsStale(const ThumbnailCacheEntry& entry, int cell_width, int cell_height) {
  if (entry.thumb_cx != cell_width || entry.thumb_cy != cell_height) return true;
  uint64_t ticks = 0;
  if (!platform::ReadFileWriteTime(entry.original_path, &ticks)) return false;
  return platform::LowHalf(ticks) != entry.modtime_low ||
         platform::HighHalf(ticks) != entry.modtime_high;
}

bool ThumbnailCache::LoadThumbnail(const ThumbnailCacheEntry& entry, image::Image* image) const {
  fs::path path;
  {
    std::lock_guard lock(mutex_);
    path = folder_ / entry.filename;
  }
  // Cached thumbnails are small JPEGs: the fast decoder reads them whole (no side limit
  // shrinks them), far quicker than a general load.
  constexpr int kWhole = 65500;
  return image->LoadThumbnailToFit(path, kWhole, kWhole, image::ResampleMode::kBicubic);
}

bool ThumbnailCache::Add(std::string_view source_path, const image::Image& thumbnail,
                         int cell_width, int cell_height, int source_width, int source_height,
                         std::string* error) {
  std::string name;
  fs::path target;
  {
    std::lock_guard lock(mutex_);
    if (!enabled_) {
      if (error != nullptr) *error = "The thumbnail cache is not open";
      return false;
    }
    const ThumbnailCacheEntry* existing = map_->Find(source_path);
    name = existing != nullptr ? existing->filename : ReserveName(source_path);
    target = folder_ / name;
  }
  // The time is read before the thumbnail is saved: a source changed meanwhile is seen as
  // stale next time rather than wrongly fresh.
  uint64_t ticks = 0;
  (void)platform::ReadFileWriteTime(std::string(source_path), &ticks);
  // Saving outside the lock lets other workers go on; the reserved name keeps them off it.
  // The file reaches the disk only before the index that names it does (WriteIndex): a
  // flush per thumbnail would keep the worker waiting on the disk, not on the decoding.
  std::vector<uint8_t> bytes;
  std::string save_error;
  bool saved = thumbnail.SaveToMemory(&bytes, image::ImageFormat::kJpeg);
  if (!saved) save_error = thumbnail.last_error();
  saved = saved &&
          platform::WriteFileAtomically(
              target, std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()),
              &save_error, platform::Flush::kLater);

  std::lock_guard lock(mutex_);
  reserved_names_.erase(name);
  if (!saved) {
    if (error != nullptr) *error = std::move(save_error);
    return false;
  }
  if (!enabled_) return true;  // closed while saving: the file stays, unindexed
  unflushed_.push_back(target);
  used_names_.insert(name);
  changed_ = true;
  map_->Set({name, std::string(source_path), platform::LowHalf(ticks), platform::HighHalf(ticks),
             cell_width, cell_height, source_width, source_height});
  return true;
}

std::string ThumbnailCache::ReserveName(std::string_view source_path) {
  std::string wanted = LastComponent(source_path);
  // A name the index could not take back ("a\\b.jpg" is a plain name on Linux) is made safe.
  for (char& c : wanted) {
    if (kUnsafeNameBytes.find(c) != std::string_view::npos) c = '_';
  }
  const size_t dot = wanted.rfind('.');
  const std::string base = dot == std::string::npos ? wanted : wanted.substr(0, dot);
  const std::string extension = dot == std::string::npos ? std::string() : wanted.substr(dot);
  std::string candidate = wanted;
  // Besides files already in the folder, names other entries point at (their file may have
  // been deleted) and names being written by another worker are taken too.
  auto taken = [&](const std::string& name) {
    std::error_code ec;
    return !IsPlainCacheName(name) || reserved_names_.count(name) > 0 ||
           used_names_.count(name) > 0 || fs::exists(folder_ / name, ec);
  };
  for (int number = 1; taken(candidate); ++number) {
    candidate = base + std::to_string(number) + extension;
  }
  reserved_names_.insert(candidate);
  return candidate;
}

std::string ThumbnailCache::IndexText() const {
  std::lock_guard lock(mutex_);
  return IndexTextLocked();
}

std::string ThumbnailCache::IndexTextLocked() const {
  xml::XmlDocument document;
  xml::XmlNode& root = *document.AppendChild(document.CreateElement("Cache"));
  map_->ForEach([&](const ThumbnailCacheEntry& entry) {
    if (!Persistable(entry)) return;
    xml::XmlNode& image = *root.AppendChild(document.CreateElement("Image"));
    image.SetAttribute("filename", xml::EncodeEntities(entry.filename));
    image.SetAttribute("original_path", xml::EncodeEntities(entry.original_path));
    image.SetAttribute("thumb_cx", std::to_string(entry.thumb_cx));
    image.SetAttribute("thumb_cy", std::to_string(entry.thumb_cy));
    image.SetAttribute("cx", std::to_string(entry.cx));
    image.SetAttribute("cy", std::to_string(entry.cy));
    image.SetAttribute("modtime_low", std::to_string(entry.modtime_low));
    image.SetAttribute("modtime_high", std::to_string(entry.modtime_high));
  });
  xml::ByteBuffer output;
  xml::WriteXml(document, output, xml::kWriteQuoteAttributes);
  return output.Detach();
}

void ThumbnailCache::LoadIndexText(std::string_view text) {
  std::lock_guard lock(mutex_);
  map_->Clear();
  used_names_.clear();
  changed_ = true;
  LoadIndexLocked(std::string(text));
}

void ThumbnailCache::LoadIndexLocked(std::string bytes) {
  xml::XmlDocument document;
  document.set_parse_flags(xml::kParseKeepCarriageReturns);
  xml::ByteBuffer input;
  input.Adopt(std::move(bytes));
  document.Parse(input);
  const xml::XmlNode* root = nullptr;
  for (size_t i = 0; i < document.ChildCount() && root == nullptr; ++i) {
    const xml::XmlNode* node = document.ChildAt(i);
    if (node->kind() == xml::kElementNode && node->name() == "Cache") root = node;
  }
  if (root == nullptr) return;
  for (size_t i = 0; i < root->ChildCount(); ++i) {
    const xml::XmlNode& image = *root->ChildAt(i);
    if (image.kind() != xml::kElementNode) continue;
    ThumbnailCacheEntry entry;
    entry.filename = Decoded(image, "filename");
    entry.original_path = Decoded(image, "original_path");
    // An entry whose file name would leave the cache folder is dropped, not followed.
    if (!IsPlainCacheName(entry.filename)) continue;
    entry.thumb_cx = ParseSize(image.GetAttribute("thumb_cx"));
    entry.thumb_cy = ParseSize(image.GetAttribute("thumb_cy"));
    entry.cx = ParseSize(image.GetAttribute("cx"));
    entry.cy = ParseSize(image.GetAttribute("cy"));
    entry.modtime_low = ParseTimeHalf(image.GetAttribute("modtime_low"));
    entry.modtime_high = ParseTimeHalf(image.GetAttribute("modtime_high"));
    used_names_.insert(entry.filename);
    map_->Set(std::move(entry));
  }
}

bool ThumbnailCache::WriteIndex(bool closing) {
  // One writer at a time, so an older index never lands over a newer one.
  std::lock_guard writing(write_mutex_);
  std::vector<fs::path> thumbnails;
  std::string text;
  fs::path target;
  {
    std::lock_guard lock(mutex_);
    if (!enabled_) return false;
    if (closing) enabled_ = false;
    // An index nothing was added to since it was read or written is left as it is.
    if (closing && !changed_) return true;
    thumbnails.swap(unflushed_);
    text = IndexTextLocked();
    target = folder_ / kThumbnailIndexName;
    changed_ = false;
  }
  // The disk is waited for outside the lock: workers go on looking up and adding meanwhile.
  std::string error;
  const bool written = platform::FlushFiles(thumbnails, &error) &&
                       platform::WriteFileAtomically(target, text, &error);
  std::lock_guard lock(mutex_);
  if (written) {
    last_write_error_.clear();
    return true;
  }
  last_write_error_ = std::move(error);
  changed_ = true;  // tried again by the next write
  unflushed_.insert(unflushed_.end(), thumbnails.begin(), thumbnails.end());
  return false;
}

}  // namespace quorvane::thumbnails
