#include "album/index_scanner.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "album/album_index.h"
#include "platform/ole_date.h"
#include "xml/entities.h"

namespace quorvane::album {
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

}  // namespace

std::string_view ReadableIndexBytes(std::string_view bytes) {
  return bytes.substr(0, bytes.find('\xFF'));
}

bool HasStrictIndexRoot(std::string_view bytes) {
  // The root tag is all it reads, and no tag reaches beyond kTagLimit bytes.
  const std::string_view data = ReadableIndexBytes(bytes.substr(0, kTagLimit + 1));
  size_t pos = 0;
  StrictTag root;
  return !data.empty() && data[0] == '<' &&
         ReadStrictTag(data, &pos, &root, [](std::string_view, std::string_view) {}) &&
         (root.name == "Quorvane" || root.name == "Tarnwell");
}

bool ScanIndex(std::string_view bytes, const std::function<bool(std::string_view)>& exists,
               std::string_view* title_out, std::vector<ScannedPhoto>* photos) {
  const std::string_view data = ReadableIndexBytes(bytes);
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
  *title_out = title;
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
    ScannedPhoto photo;
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
    if (exists(photo.image_file)) photos->push_back(photo);
  }
}

AlbumPhoto DecodeScannedPhoto(const ScannedPhoto& raw) {
  AlbumPhoto photo;
  photo.title = xml::DecodeEntities(raw.title);
  photo.description = xml::DecodeEntities(raw.description);
  photo.keywords = xml::DecodeEntities(raw.keywords);
  photo.image_file = raw.image_file;
  photo.format = raw.format;
  if (!platform::ParseOleDate(raw.date, &photo.date)) photo.date = platform::kNoDate;
  AlbumIndex::ReadImageSize(raw.size, &photo);
  return photo;
}

}  // namespace quorvane::album
