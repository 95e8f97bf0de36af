#include "album/album_library.h"

#include <algorithm>
#include <cmath>
#include <system_error>

#include "album/album_index.h"
#include "album/folder_store.h"
#include "platform/ascii.h"
#include "xml/xml_document.h"

namespace quorvane::album {
namespace fs = std::filesystem;

namespace {

// The album index as the list needs it: the root's title and date and the number of
// photos. It parses like the full index reader, level for level, but skips the attribute
// parsing and the description text of the photo elements, which are most of an index's bytes
// and of its reading time. Photo tags that are not written the usual way take the full path.
class IndexSummaryDocument : public xml::XmlDocument {
 public:
  int32_t photo_count() const { return photo_count_; }

  std::unique_ptr<xml::XmlNode> ParseTag(xml::ByteBuffer& input) override {
    if (!InRoot()) return XmlDocument::ParseTag(input);
    constexpr std::string_view kImageTag = "<Image";
    constexpr size_t kTagLimit = 4095;  // as the parser gathers tags
    const std::string_view rest = input.Remaining();
    if (rest.substr(0, kImageTag.size()) != kImageTag || rest.size() <= kImageTag.size() ||
        (rest[kImageTag.size()] != ' ' && rest[kImageTag.size()] != '>')) {
      return XmlDocument::ParseTag(input);
    }
    const std::string_view limited = rest.substr(1, kTagLimit);
    const size_t gt = limited.find('>');
    std::string_view text = limited.substr(0, gt);
    text = text.substr(0, text.find('\0'));
    constexpr std::string_view kFileAttribute = " ImageFile=\"";
    const size_t file_at = text.find(kFileAttribute);
    const size_t file_end = file_at == std::string_view::npos
                                ? std::string_view::npos
                                : text.find('"', file_at + kFileAttribute.size());
    if (file_end == std::string_view::npos) return XmlDocument::ParseTag(input);

    const size_t value_at = file_at + kFileAttribute.size();
    fast_image_has_file_ = IsPlainFileName(text.substr(value_at, file_end - value_at));
    input.Advance(1 + (gt == std::string_view::npos ? limited.size() : gt + 1));
    auto element = CreateElement("Image");
    element->set_self_closed(text.size() > 1 && text.back() == '/');
    fast_image_ = element.get();
    return element;
  }

  std::unique_ptr<xml::XmlNode> ParseText(xml::ByteBuffer& input) override {
    if (!InRootImage()) return XmlDocument::ParseText(input);
    input.Advance(TextRunLength(input.Remaining()));
    return nullptr;
  }

  xml::Placement OnNodeParsed(xml::XmlNode* parent, std::unique_ptr<xml::XmlNode> node) override {
    const bool image_in_root =
        InRoot() && node->kind() == xml::kElementNode && node->name() == "Image";
    if (image_in_root) {
      const bool has_file = node.get() == fast_image_
                                ? fast_image_has_file_
                                : IsPlainFileName(node->GetAttribute("ImageFile"));
      photo_count_ += has_file ? 1 : 0;
    }
    fast_image_ = nullptr;
    const xml::Placement placed = XmlDocument::OnNodeParsed(parent, std::move(node));
    // Follow the reading loop's levels, so the two hooks above know where they are.
    if (placed.step == xml::ParseStep::kEndLevel) {
      if (!open_.empty()) open_.pop_back();
    } else if (placed.step == xml::ParseStep::kDescend && placed.node != nullptr &&
               !placed.node->self_closed()) {
      open_.push_back(placed.node);
    }
    return placed;
  }

 private:
  bool InRoot() const { return open_.size() == 1 && open_[0] == ChildAt(0); }
  bool InRootImage() const {
    return open_.size() == 2 && open_[0] == ChildAt(0) && open_[1]->name() == "Image";
  }

  std::vector<xml::XmlNode*> open_;  // the elements the reading loop is inside
  xml::XmlNode* fast_image_ = nullptr;
  bool fast_image_has_file_ = false;
  int32_t photo_count_ = 0;
};

// Decodes one UTF-8 sequence at text[*i]; a byte that starts no valid sequence stands for
// itself, above every character, so odd names still sort in a stable way.
uint32_t NextCodePoint(std::string_view text, size_t* i) {
  const auto byte = [&](size_t k) { return static_cast<unsigned char>(text[k]); };
  const unsigned char lead = byte(*i);
  int length = 0;
  uint32_t cp = 0;
  if (lead < 0x80) {
    ++*i;
    return lead;
  } else if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2, cp = lead & 0x1F;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3, cp = lead & 0x0F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4, cp = lead & 0x07;
  }
  if (length == 0 || *i + length > text.size()) {
    ++*i;
    return 0x110000 + lead;
  }
  for (int k = 1; k < length; ++k) {
    if ((byte(*i + k) & 0xC0) != 0x80) {
      ++*i;
      return 0x110000 + lead;
    }
    cp = (cp << 6) | (byte(*i + k) & 0x3F);
  }
  *i += length;
  return cp;
}

// Simple case folding for the letters album titles are written in.
uint32_t FoldCase(uint32_t c) {
  if (c >= 'A' && c <= 'Z') return c + 32;
  if (c < 0xC0) return c;
  if (c <= 0xDE && c != 0xD7) return c + 32;
  if ((c >= 0x100 && c <= 0x137) || (c >= 0x14A && c <= 0x177)) return c | 1;
  if ((c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E)) return c + (c & 1);
  if (c == 0x178) return 0xFF;
  if (c >= 0x391 && c <= 0x3A9 && c != 0x3A2) return c + 32;
  if (c >= 0x410 && c <= 0x42F) return c + 32;
  if (c >= 0x400 && c <= 0x40F) return c + 80;
  return c;
}

int CompareIgnoringCase(std::string_view a, std::string_view b) {
  size_t i = 0, j = 0;
  while (i < a.size() && j < b.size()) {
    const uint32_t ca = FoldCase(NextCodePoint(a, &i));
    const uint32_t cb = FoldCase(NextCodePoint(b, &j));
    if (ca != cb) return ca < cb ? -1 : 1;
  }
  if (i < a.size()) return 1;
  if (j < b.size()) return -1;
  return 0;
}

std::string DateText(platform::OleDate date) {
  static constexpr std::string_view kMonths[] = {"January",   "February", "March",    "April",
                                                 "May",       "June",     "July",     "August",
                                                 "September", "October",  "November", "December"};
  platform::CivilTime civil;
  if (!platform::CivilFromOleDate(date, &civil)) return {};
  return std::string(kMonths[civil.month - 1]) + " " + std::to_string(civil.day) + ", " +
         std::to_string(civil.year);
}

// The longest prefix of at most `limit` bytes that does not cut a UTF-8 sequence.
std::string_view CutAtCharacter(std::string_view text, size_t limit) {
  if (text.size() <= limit) return text;
  size_t end = limit;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return text.substr(0, end);
}

constexpr int32_t kFindFailed = static_cast<int32_t>(platform::kFailed);

}  // namespace

int32_t FindAlbums(const fs::path& folder, std::vector<std::string>* list) {
  std::error_code ec;
  fs::directory_iterator it(folder, ec);
  if (ec) return kFindFailed;
  int32_t found = 0;
  for (; it != fs::directory_iterator(); it.increment(ec)) {
    if (ec) return kFindFailed;
    std::error_code type_ec;
    if (!it->is_directory(type_ec)) continue;
    for (std::string_view name : kIndexFileNames) {
      if (fs::exists(it->path() / name, type_ec)) {
        list->push_back(it->path().string());
        ++found;
        break;
      }
    }
  }
  return ec ? kFindFailed : found;
}

double MonotonicOleDate(platform::OleDate date) {
  if (date >= 0) return date;
  const double day = std::ceil(date);
  return day - (date - day);
}

int CompareAlbumEntries(const AlbumListEntry& a, const AlbumListEntry& b, int sort_order) {
  switch (sort_order) {
    case kSortByTitle:
      return CompareIgnoringCase(a.title, b.title);
    case kSortNewestFirst:
    case kSortOldestFirst: {
      const double da = MonotonicOleDate(a.date);
      const double db = MonotonicOleDate(b.date);
      const int ascending = da < db ? -1 : (da > db ? 1 : 0);
      return sort_order == kSortOldestFirst ? ascending : -ascending;
    }
    case kSortByPhotoCount:
      // In 64 bits: two counts far apart would overflow a 32-bit difference.
      return static_cast<int>(
          std::clamp<int64_t>(static_cast<int64_t>(a.photo_count) - b.photo_count, -1, 1));
    default:
      return 0;
  }
}

std::string AlbumCaption(std::string_view title, platform::OleDate date, int32_t photo_count) {
  // The title goes in as it is: a title holding "{DATE}" must not grow a date.
  std::string caption(title);
  if (const std::string date_text = DateText(date); !date_text.empty()) {
    caption += ", " + date_text;
  }
  caption += " (" + std::to_string(photo_count) + " photos)";
  return caption;
}

bool ReadAlbumListEntry(const std::string& path, AlbumListEntry* entry, std::string* error) {
  FolderStore store{fs::path(path)};
  std::string bytes;
  if (!AlbumIndex::ReadIndexFile(store, &bytes)) {
    *error = store.LastError();
    return false;
  }
  IndexSummaryDocument document;
  const xml::XmlNode* root = AlbumIndex::ParseIndex(document, std::move(bytes));
  if (root == nullptr) {
    *error = std::string(kMalformedIndexError);
    return false;
  }
  entry->path = path;
  entry->title = xml::DecodeEntities(root->GetAttribute("Title"));
  if (entry->title.empty()) entry->title = fs::path(path).filename().string();
  entry->date = platform::kNoDate;
  if (!platform::ParseOleDate(root->GetAttribute("Date"), &entry->date)) {
    entry->date = platform::kNoDate;
  }
  entry->photo_count = document.photo_count();
  entry->caption = AlbumCaption(entry->title, entry->date, entry->photo_count);
  return true;
}

std::string AlbumFolderName(std::string_view name) {
  std::string folder(name);
  for (char& c : folder) {
    if (std::string_view("\"*/:<>?\\|").find(c) != std::string_view::npos ||
        static_cast<unsigned char>(c) < 0x20) {
      c = '_';
    }
  }
  return folder;
}

std::unique_ptr<Album> CreateAlbum(const fs::path& library, const NewAlbumValues& values,
                                   fs::path* folder, std::string* error) {
  const std::string_view name = CutAtCharacter(values.name, kMaxAlbumNameBytes);
  auto fail = [&] {
    *error = "Unable to create album \"" + std::string(name) + "\"";
    return nullptr;
  };
  const std::string base = AlbumFolderName(name);
  // "." and ".." would name the library or its parent, not a new folder.
  if (base.empty() || base == "." || base == "..") return fail();
  std::error_code ec;
  fs::create_directories(library, ec);
  if (ec) return fail();

  fs::path created;
  for (int attempt = 1; attempt < 10000 && created.empty(); ++attempt) {
    const fs::path candidate =
        library / (attempt == 1 ? base : base + " (" + std::to_string(attempt) + ")");
    // create_directory says false for a folder that exists, so a race with another
    // program creating the same name cannot make two albums share a folder.
    if (fs::create_directory(candidate, ec)) {
      created = candidate;
    } else if (ec || !fs::exists(candidate)) {
      return fail();
    }
  }
  if (created.empty()) return fail();

  auto album = std::make_unique<Album>(std::make_unique<FolderStore>(created));
  album->set_title(std::string(name));
  album->set_description(values.description);
  album->set_date(values.date);
  if (!AlbumIndex::SaveIndex(*album)) {
    fs::remove_all(created, ec);
    return fail();
  }
  if (folder != nullptr) *folder = created;
  return album;
}

std::string DeleteAlbumQuestion(std::string_view title) {
  return "Are you sure you want to delete the photo album \"" + std::string(title) + "\"?";
}

DeleteOutcome DeleteAlbum(const AlbumListEntry& entry, const DeleteAlbumHooks& hooks,
                          std::string* error) {
  if (!hooks.confirm || !hooks.confirm(DeleteAlbumQuestion(entry.title))) {
    return DeleteOutcome::kCancelled;
  }
  for (const std::string& open : hooks.open_album_paths) {
    if (platform::EqualsIgnoringAsciiCase(open, entry.path)) {
      if (hooks.close_album) hooks.close_album(open);
      break;
    }
  }
  std::error_code ec;
  const fs::path folder(entry.path);
  if (fs::exists(fs::symlink_status(folder, ec))) {
    fs::remove_all(folder, ec);
    if (ec || fs::exists(fs::symlink_status(folder))) {
      *error = "Unable to delete album";
      return DeleteOutcome::kFailed;
    }
  }
  return DeleteOutcome::kDeleted;
}

bool AlbumList::Load(const fs::path& library, int sort_order) {
  entries_.clear();
  selected_ = -1;
  sort_order_ = sort_order;
  std::vector<std::string> paths;
  if (FindAlbums(library, &paths) < 0) {
    last_error_ = "Unable to list the albums in " + library.string();
    return false;
  }
  entries_.reserve(paths.size());
  for (const std::string& path : paths) {
    AlbumListEntry entry;
    std::string ignored;
    if (ReadAlbumListEntry(path, &entry, &ignored)) entries_.push_back(std::move(entry));
  }
  SetSortOrder(sort_order);
  selected_ = entries_.empty() ? -1 : 0;
  return true;
}

void AlbumList::SetSortOrder(int sort_order) {
  sort_order_ = sort_order;
  std::stable_sort(entries_.begin(), entries_.end(),
                   [sort_order](const AlbumListEntry& a, const AlbumListEntry& b) {
                     return CompareAlbumEntries(a, b, sort_order) < 0;
                   });
}

void AlbumList::Select(int row) {
  selected_ = row >= 0 && row < static_cast<int>(entries_.size()) ? row : -1;
}

DeleteOutcome AlbumList::DeleteSelected(const DeleteAlbumHooks& hooks) {
  if (selected_ < 0) return DeleteOutcome::kCancelled;
  const DeleteOutcome outcome = DeleteAlbum(entries_[selected_], hooks, &last_error_);
  if (outcome != DeleteOutcome::kDeleted) return outcome;
  entries_.erase(entries_.begin() + selected_);
  const int remaining = static_cast<int>(entries_.size());
  selected_ = remaining == 0 ? -1 : std::min(selected_, remaining - 1);
  return outcome;
}

}  // namespace quorvane::album
