#include "browser/search_index_reader.h"

#include <algorithm>
#include <array>

#include "album/album.h"
#include "album/album_index.h"
#include "album/folder_store.h"
#include "browser/internal/photo_presence_cache.h"
#include "browser/internal/regular_files.h"
#include "platform/ole_date.h"
#include "xml/entities.h"

namespace quorvane::browser {
namespace {

// The tag length the XML reader gathers at most; a longer tag reads differently.
constexpr size_t kTagLimit = 4095;

// One tag written the way the program writes it: `<Name a="v" b="w">`, `... />` or `.../>`,
// single spaces, double quotes, values without line breaks. Anything else is not taken
// (the caller then leaves the file to the full reader), because the tolerant XML reader gives
// such tags meanings of its own.
struct StrictTag {
  std::string_view name;
  bool self_closed = false;
};

// What may stand in a tag, byte by byte.
enum ByteClass : uint8_t {
  kNameChar = 1,       // letters and digits: element names
  kAttributeChar = 2,  // anything an attribute name may hold
  kValueChar = 4,      // anything a value may hold
};

constexpr std::array<uint8_t, 256> MakeByteClasses() {
  std::array<uint8_t, 256> classes{};
  for (int c = 0; c < 256; ++c) {
    const bool alnum = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
    const bool control = c < 0x20 || c == 0x7F;
    uint8_t bits = alnum ? kNameChar : 0;
    if (!control && c != ' ' && c != '"' && c != '\'' && c != '=' && c != '>') {
      bits |= kAttributeChar;
    }
    if (c != '"' && c != '>' && c != '\r' && c != '\n' && c != '\0') bits |= kValueChar;
    classes[static_cast<size_t>(c)] = bits;
  }
  return classes;
}
constexpr std::array<uint8_t, 256> kByteClasses = MakeByteClasses();

bool Is(char c, ByteClass what) {
  return (kByteClasses[static_cast<unsigned char>(c)] & what) != 0;
}

// Reads the strict tag starting with the "<" at data[*pos] in one pass, calling
// visit(name, value) for each attribute as it goes (a tag found wrong later makes the caller
// drop what was visited). On success *pos is just past the ">".
template <typename Visit>
bool ReadStrictTag(std::string_view data, size_t* pos, StrictTag* tag, const Visit& visit) {
  const char* const begin = data.data() + *pos + 1;  // after "<"
  const char* const end = begin + std::min(data.size() - *pos - 1, kTagLimit);
  const char* p = begin;
  while (p < end && Is(*p, kNameChar)) ++p;
  if (p == begin) return false;
  tag->name = std::string_view(begin, static_cast<size_t>(p - begin));
  while (p < end) {
    if (*p == '>') {
      tag->self_closed = false;
      *pos = static_cast<size_t>(p + 1 - data.data());
      return true;
    }
    if (*p == ' ') ++p;  // before an attribute, or before "/>"
    if (p + 1 < end && p[0] == '/' && p[1] == '>') {
      tag->self_closed = true;
      *pos = static_cast<size_t>(p + 2 - data.data());
      return true;
    }
    if (p == end || p[-1] != ' ') return false;
    const char* name = p;
    while (p < end && Is(*p, kAttributeChar)) ++p;
    if (p == name || p + 1 >= end || p[0] != '=' || p[1] != '"') return false;
    const std::string_view attribute(name, static_cast<size_t>(p - name));
    p += 2;
    const char* value = p;
    while (p < end && Is(*p, kValueChar)) ++p;
    if (p == end || *p != '"') return false;
    visit(attribute, std::string_view(value, static_cast<size_t>(p - value)));
    ++p;
  }
  return false;
}

// What the XML reader reads of a file: it takes a 0xFF byte for the end, as C's EOF.
std::string_view Readable(std::string_view bytes) { return bytes.substr(0, bytes.find('\xFF')); }

// Lends the reader's store to an album for one index load.
class BorrowedStore : public album::AlbumStore {
 public:
  explicit BorrowedStore(album::AlbumStore& store) : store_(store) {}
  bool ReadFile(std::string_view name, std::string* bytes) override {
    return store_.ReadFile(name, bytes);
  }
  bool WriteFile(std::string_view name, std::string_view bytes) override {
    return store_.WriteFile(name, bytes);
  }
  bool FileExists(std::string_view name) override { return store_.FileExists(name); }
  const std::string& LastError() const override { return store_.LastError(); }
  bool ListFiles(std::vector<std::string>* names) override { return store_.ListFiles(names); }
  bool ImportFile(const std::filesystem::path& source, std::string_view name) override {
    return store_.ImportFile(source, name);
  }
  std::filesystem::path LocalPath(std::string_view name) const override {
    return store_.LocalPath(name);
  }
  bool RemoveFile(std::string_view name) override { return store_.RemoveFile(name); }
  bool ExchangeFiles(std::string_view a, std::string_view b) override {
    return store_.ExchangeFiles(a, b);
  }

 private:
  album::AlbumStore& store_;
};

std::string_view DecodedView(std::string_view encoded, std::string* scratch) {
  if (encoded.find('&') == std::string_view::npos) return encoded;
  scratch->clear();
  xml::AppendDecodedEntities(encoded, scratch);
  return *scratch;
}

}  // namespace

SearchIndexReader::SearchIndexReader() = default;
SearchIndexReader::~SearchIndexReader() = default;

size_t SearchIndexReader::photo_count() const { return full_read_ ? loaded_.size() : raw_.size(); }

void SearchIndexReader::Reset() {
  title_.clear();
  raw_.clear();
  loaded_.clear();
  full_read_ = false;
}

bool SearchIndexReader::Read(const std::string& path) { return Load(path) && Parse(); }

bool SearchIndexReader::Read(std::unique_ptr<album::AlbumStore> store) {
  Reset();
  store_ = std::move(store);
  folder_.clear();
  stamped_ = false;
  if (!album::AlbumIndex::ReadIndexFile(*store_, &bytes_)) {
    last_error_ = store_->LastError();
    return false;
  }
  return Parse();
}

bool SearchIndexReader::Load(const std::string& path) {
  Reset();
  store_ = std::make_unique<album::FolderStore>(path);
  folder_ = path;
  stamped_ = false;
  // The usual case, a regular "index.quorvane", in three system calls; the store reads
  // every other case, in the same order of names.
  if (internal::ReadRegularFile(std::string(path).append("/").append(album::kIndexFileName),
                                &bytes_, presence_ != nullptr ? &stamp_.index : nullptr)) {
    stamped_ = presence_ != nullptr && stamp_.index.inode != 0;
    return true;
  }
  if (!album::AlbumIndex::ReadIndexFile(*store_, &bytes_)) {
    last_error_ = store_->LastError();
    return false;
  }
  return true;
}

bool SearchIndexReader::HasIndexRoot() const {
  // The root tag is all it reads, and no tag reaches beyond kTagLimit bytes.
  const std::string_view data = Readable(std::string_view(bytes_).substr(0, kTagLimit + 1));
  size_t pos = 0;
  StrictTag root;
  return !data.empty() && data[0] == '<' &&
         ReadStrictTag(data, &pos, &root, [](std::string_view, std::string_view) {}) &&
         (root.name == "Quorvane" || root.name == "Tarnwell");
}

bool SearchIndexReader::Parse() {
  Reset();
  bool scanned = false;
  if (!folder_.empty()) {
    // The folder's stamp is taken before any listing, so that whatever changes after the
    // listing changes the stamp. Albums settled from their bytes alone never need it.
    stamped_ = stamped_ && internal::StampOf(folder_, &stamp_.folder);
    if (stamped_ && presence_->AllPresent(folder_, stamp_)) {
      scanned = Scan([](std::string_view name) { return album::IsPlainFileName(name); });
    } else {
      bool all_found = false;
      scanned = ScanWithListing(&all_found);
      if (scanned && all_found && stamped_) presence_->Remember(folder_, stamp_);
    }
  } else {
    scanned = Scan([&](std::string_view name) { return store_->FileExists(name); });
  }
  if (scanned) return true;

  Reset();
  album::Album album(std::make_unique<BorrowedStore>(*store_));
  if (!album::AlbumIndex::LoadIndex(album)) {
    last_error_ = album.last_error();
    return false;
  }
  full_read_ = true;
  title_ = album.title();
  loaded_ = std::move(album.photos());
  return true;
}

bool SearchIndexReader::ScanWithListing(bool* all_found) {
  // One listing answers for every photo; the index reader asks the same question (is it a
  // regular file of the album) one way or the other.
  names_.clear();
  std::vector<size_t> lengths;
  bool saw_links = false;
  if (!internal::ListRegularFiles(folder_, &names_, &lengths, &saw_links)) return false;
  // Sorted views into one buffer: no allocation per name, unlike a hash set.
  listed_.clear();
  listed_.reserve(lengths.size());
  size_t offset = 0;
  for (size_t length : lengths) {
    listed_.push_back(std::string_view(names_).substr(offset, length));
    offset += length;
  }
  std::sort(listed_.begin(), listed_.end());
  *all_found = !saw_links;
  return Scan([&](std::string_view name) {
    const bool found =
        album::IsPlainFileName(name) && std::binary_search(listed_.begin(), listed_.end(), name);
    *all_found = *all_found && found;
    return found;
  });
}

template <typename Exists>
bool SearchIndexReader::Scan(const Exists& exists) {
  const std::string_view data = Readable(bytes_);
  size_t pos = 0;
  StrictTag root;
  std::string_view title;
  bool titled = false;  // the first of two titles counts, as in the XML reader
  if (data.empty() || data[0] != '<' ||
      !ReadStrictTag(data, &pos, &root,
                     [&](std::string_view name, std::string_view value) {
                       if (name == "Title" && !titled) title = value, titled = true;
                     }) ||
      (root.name != "Quorvane" && root.name != "Tarnwell")) {
    return false;
  }
  title_ = xml::DecodeEntities(title);
  if (root.self_closed) return true;

  constexpr std::string_view kImageClose = "</Image>";
  while (true) {
    // Text between the photos (the album's description) is not searched.
    pos = data.find('<', pos);
    if (pos == std::string_view::npos) return false;
    const std::string_view rest = data.substr(pos);
    if (rest.starts_with("</")) {
      return rest.substr(2).starts_with(root.name) && rest.size() > 2 + root.name.size() &&
             rest[2 + root.name.size()] == '>';
    }
    StrictTag image;
    RawPhoto photo;
    photo.begin = pos;
    // The first of two same-named attributes counts.
    unsigned seen = 0;
    auto take = [&](unsigned bit, std::string_view* field, std::string_view value) {
      if ((seen & bit) == 0) *field = value;
      seen |= bit;
    };
    const bool read =
        ReadStrictTag(data, &pos, &image, [&](std::string_view name, std::string_view value) {
          if (name == "ImageFile") {
            take(1, &photo.image_file, value);
          } else if (name == "Format") {
            take(2, &photo.format, value);
          } else if (name == "Title") {
            take(4, &photo.title, value);
          } else if (name == "Keywords") {
            take(8, &photo.keywords, value);
          } else if (name == "Date") {
            take(16, &photo.date, value);
          } else if (name == "ImageSize") {
            take(32, &photo.size, value);
          }
        });
    if (!read || image.name != "Image") return false;
    if (!image.self_closed) {
      const size_t lt = data.find('<', pos);
      if (lt == std::string_view::npos || data.substr(lt, kImageClose.size()) != kImageClose) {
        return false;
      }
      photo.description = data.substr(pos, lt - pos);
      pos = lt + kImageClose.size();
    }
    photo.end = pos;
    if (exists(photo.image_file)) raw_.push_back(photo);
  }
}

void SearchIndexReader::Texts(size_t i, std::string_view* title, std::string_view* description,
                              std::string_view* keywords) {
  if (full_read_) {
    const album::AlbumPhoto& photo = loaded_[i];
    *title = photo.title, *description = photo.description, *keywords = photo.keywords;
    return;
  }
  const RawPhoto& photo = raw_[i];
  *title = DecodedView(photo.title, &scratch_[0]);
  *description = DecodedView(photo.description, &scratch_[1]);
  *keywords = DecodedView(photo.keywords, &scratch_[2]);
}

bool SearchIndexReader::Span(size_t i, size_t* begin, size_t* end) const {
  if (full_read_) return false;
  *begin = raw_[i].begin;
  *end = raw_[i].end;
  return true;
}

album::AlbumPhoto SearchIndexReader::Photo(size_t i) const {
  if (full_read_) return loaded_[i];
  const RawPhoto& raw = raw_[i];
  album::AlbumPhoto photo;
  photo.title = xml::DecodeEntities(raw.title);
  photo.description = xml::DecodeEntities(raw.description);
  photo.keywords = xml::DecodeEntities(raw.keywords);
  photo.image_file = raw.image_file;
  photo.format = raw.format;
  if (!platform::ParseOleDate(raw.date, &photo.date)) photo.date = platform::kNoDate;
  album::AlbumIndex::ReadImageSize(raw.size, &photo);
  return photo;
}

}  // namespace quorvane::browser
