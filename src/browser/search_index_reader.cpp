#include "browser/search_index_reader.h"

#include "album/album.h"
#include "album/album_index.h"
#include "album/folder_store.h"
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
  std::string_view attributes;  // ` a="v" b="w"`, validated
};

bool ReadStrictTag(std::string_view data, size_t* pos, StrictTag* tag) {
  const size_t start = *pos + 1;  // after "<"
  const size_t gt = data.find('>', start);
  if (gt == std::string_view::npos || gt - start >= kTagLimit) return false;
  std::string_view text = data.substr(start, gt - start);
  if (text.find('\0') != std::string_view::npos) return false;
  tag->self_closed = !text.empty() && text.back() == '/';
  if (tag->self_closed) text.remove_suffix(1);
  const size_t name_end = std::min(text.find(' '), text.size());
  tag->name = text.substr(0, name_end);
  if (tag->name.empty()) return false;
  for (char c : tag->name) {
    if (!((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'))) {
      return false;
    }
  }
  tag->attributes = text.substr(name_end);
  std::string_view rest = tag->attributes;
  while (!rest.empty()) {
    if (rest == " " && tag->self_closed) break;  // "<Name a="v" />"
    if (rest[0] != ' ') return false;
    const size_t eq = rest.find('=');
    if (eq == std::string_view::npos || eq == 1 || eq + 1 >= rest.size() || rest[eq + 1] != '"') {
      return false;
    }
    for (char c : rest.substr(1, eq - 1)) {
      if (c == ' ' || c == '"' || c == '\'' || static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
        return false;
      }
    }
    const size_t close = rest.find('"', eq + 2);
    if (close == std::string_view::npos) return false;
    const std::string_view value = rest.substr(eq + 2, close - eq - 2);
    if (value.find_first_of("\r\n") != std::string_view::npos) return false;
    rest.remove_prefix(close + 1);
  }
  *pos = gt + 1;
  return true;
}

// What the XML reader reads of a file: it takes a 0xFF byte for the end, as C's EOF.
std::string_view Readable(std::string_view bytes) { return bytes.substr(0, bytes.find('\xFF')); }

// Calls visit(name, value) for each attribute of a tag ReadStrictTag accepted.
template <typename Visit>
void ForEachAttribute(std::string_view attributes, const Visit& visit) {
  while (attributes.size() > 1) {
    const size_t eq = attributes.find('=');
    const size_t close = attributes.find('"', eq + 2);
    visit(attributes.substr(1, eq - 1), attributes.substr(eq + 2, close - eq - 2));
    attributes.remove_prefix(close + 1);
  }
}

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
  *scratch = xml::DecodeEntities(encoded);
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
  folder_listing_ = false;
  if (!album::AlbumIndex::ReadIndexFile(*store_, &bytes_)) {
    last_error_ = store_->LastError();
    return false;
  }
  return Parse();
}

bool SearchIndexReader::Load(const std::string& path) {
  Reset();
  store_ = std::make_unique<album::FolderStore>(path);
  folder_listing_ = true;
  // The usual case, a regular "index.quorvane", in three system calls; the store reads
  // every other case, in the same order of names.
  if (internal::ReadRegularFile(std::string(path).append("/").append(album::kIndexFileName),
                                &bytes_)) {
    return true;
  }
  if (!album::AlbumIndex::ReadIndexFile(*store_, &bytes_)) {
    last_error_ = store_->LastError();
    return false;
  }
  return true;
}

bool SearchIndexReader::HasIndexRoot() const {
  const std::string_view data = Readable(bytes_);
  size_t pos = 0;
  StrictTag root;
  return !data.empty() && data[0] == '<' && ReadStrictTag(data, &pos, &root) &&
         (root.name == "Quorvane" || root.name == "Tarnwell");
}

bool SearchIndexReader::Parse() {
  Reset();
  bool scanned = false;
  if (folder_listing_) {
    // One listing answers for every photo; the index reader asks the same question (is it
    // a regular file of the album) one way or the other.
    names_.clear();
    std::vector<size_t> lengths;
    const auto& folder = static_cast<album::FolderStore&>(*store_).folder();
    if (internal::ListRegularFiles(folder.string(), &names_, &lengths)) {
      listed_.clear();
      listed_.reserve(lengths.size());
      size_t offset = 0;
      for (size_t length : lengths) {
        listed_.insert(std::string_view(names_).substr(offset, length));
        offset += length;
      }
      scanned = Scan([&](std::string_view name) {
        return album::IsPlainFileName(name) && listed_.contains(name);
      });
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

template <typename Exists>
bool SearchIndexReader::Scan(const Exists& exists) {
  const std::string_view data = Readable(bytes_);
  size_t pos = 0;
  StrictTag root;
  if (data.empty() || data[0] != '<' || !ReadStrictTag(data, &pos, &root) ||
      (root.name != "Quorvane" && root.name != "Tarnwell")) {
    return false;
  }
  bool titled = false;  // the first of two titles counts, as in the XML reader
  ForEachAttribute(root.attributes, [&](std::string_view name, std::string_view value) {
    if (name == "Title" && !titled) title_ = xml::DecodeEntities(value), titled = true;
  });
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
    if (!ReadStrictTag(data, &pos, &image) || image.name != "Image") return false;
    // The first of two same-named attributes counts.
    unsigned seen = 0;
    auto take = [&](unsigned bit, std::string_view* field, std::string_view value) {
      if ((seen & bit) == 0) *field = value;
      seen |= bit;
    };
    ForEachAttribute(image.attributes, [&](std::string_view name, std::string_view value) {
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
