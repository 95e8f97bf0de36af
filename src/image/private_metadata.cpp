#include "image/private_metadata.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace quorvane::image {
namespace {

constexpr std::string_view kExifHeader("Exif\0\0", 6);
constexpr std::string_view kXmpHeader = "http://ns.adobe.com/xap/1.0/";

// Tags whose presence makes a photo private, by the IFD they live in.
constexpr uint16_t kPrivateMainTags[] = {0x8825 /* GPS IFD */, 0x013B /* Artist */,
                                         0xC62F /* camera serial number */};
constexpr uint16_t kPrivateExifTags[] = {0xA430 /* owner */, 0xA431 /* body serial */,
                                         0xA435 /* lens serial */,
                                         0x927C /* maker note: serial numbers, owner */};

uint8_t Byte(std::string_view s, size_t at) { return static_cast<uint8_t>(s[at]); }

// A TIFF structure (a TIFF file, or the body of an EXIF block).
class Tiff {
 public:
  explicit Tiff(std::string_view data) : data_(data) {
    if (data.size() >= 8 && data.substr(0, 4) == std::string_view("II*\0", 4)) {
      little_ = true;
      valid_ = true;
    } else if (data.size() >= 8 && data.substr(0, 4) == std::string_view("MM\0*", 4)) {
      valid_ = true;
    }
  }
  bool valid() const { return valid_; }
  std::optional<uint32_t> U32(size_t at) const {
    if (at > data_.size() || data_.size() - at < 4) return std::nullopt;
    return little_ ? Byte(data_, at) | Byte(data_, at + 1) << 8 | Byte(data_, at + 2) << 16 |
                         static_cast<uint32_t>(Byte(data_, at + 3)) << 24
                   : static_cast<uint32_t>(Byte(data_, at)) << 24 | Byte(data_, at + 1) << 16 |
                         Byte(data_, at + 2) << 8 | Byte(data_, at + 3);
  }
  std::optional<uint16_t> U16(size_t at) const {
    if (at > data_.size() || data_.size() - at < 2) return std::nullopt;
    return static_cast<uint16_t>(little_ ? Byte(data_, at) | Byte(data_, at + 1) << 8
                                         : Byte(data_, at) << 8 | Byte(data_, at + 1));
  }
  // Calls `entry(tag, entry offset)` for each entry of the IFD at `offset`.
  template <typename Fn>
  void Walk(uint32_t offset, Fn&& entry) const {
    const std::optional<uint16_t> count = U16(offset);
    if (!count) return;
    for (uint32_t i = 0; i < *count; ++i) {
      const size_t at = offset + 2 + size_t{12} * i;
      const std::optional<uint16_t> tag = U16(at);
      if (!tag || data_.size() - at < 12) return;
      entry(*tag, at);
    }
  }
  std::string_view data() const { return data_; }

 private:
  std::string_view data_;
  bool little_ = false;
  bool valid_ = false;
};

struct ExifFacts {
  bool is_private = false;
  std::optional<uint16_t> orientation;
  std::string date_taken;  // "YYYY:MM:DD HH:MM:SS", 19 characters
};

ExifFacts ReadExif(std::string_view tiff_bytes) {
  ExifFacts facts;
  const Tiff tiff(tiff_bytes);
  if (!tiff.valid()) return facts;
  const std::optional<uint32_t> first = tiff.U32(4);
  if (!first) return facts;
  std::optional<uint32_t> exif_ifd;
  tiff.Walk(*first, [&](uint16_t tag, size_t at) {
    for (uint16_t t : kPrivateMainTags) facts.is_private |= tag == t;
    if (tag == 0x0112) facts.orientation = tiff.U16(at + 8);
    if (tag == 0x8769) exif_ifd = tiff.U32(at + 8);
  });
  if (exif_ifd && *exif_ifd != *first) {
    tiff.Walk(*exif_ifd, [&](uint16_t tag, size_t at) {
      for (uint16_t t : kPrivateExifTags) facts.is_private |= tag == t;
      if (tag == 0x9003) {
        const std::optional<uint32_t> count = tiff.U32(at + 4);
        const std::optional<uint32_t> where = tiff.U32(at + 8);
        if (count && where && *count >= 19 && *where <= tiff_bytes.size() &&
            tiff_bytes.size() - *where >= 19) {
          facts.date_taken = std::string(tiff_bytes.substr(*where, 19));
        }
      }
    });
  }
  return facts;
}

bool XmpIsPrivate(std::string_view xmp) {
  for (std::string_view marker : {"GPS", "SerialNumber", "OwnerName", "dc:creator", "Artist"}) {
    if (xmp.find(marker) != std::string_view::npos) return true;
  }
  return false;
}

struct Segment {
  uint8_t marker;
  size_t start;   // of the marker
  size_t length;  // marker, length field and body
  std::string_view body;
};

// The segments before the image data; false when the walk breaks off.
bool JpegSegments(std::string_view jpeg, std::vector<Segment>* segments, size_t* image_data) {
  if (jpeg.size() < 4 || Byte(jpeg, 0) != 0xFF || Byte(jpeg, 1) != 0xD8) return false;
  size_t at = 2;
  while (at + 4 <= jpeg.size()) {
    if (Byte(jpeg, at) != 0xFF) return false;
    const uint8_t marker = Byte(jpeg, at + 1);
    if (marker == 0xFF) {  // fill byte
      ++at;
      continue;
    }
    const size_t length = size_t{Byte(jpeg, at + 2)} << 8 | Byte(jpeg, at + 3);
    if (length < 2 || at + 2 + length > jpeg.size()) return false;
    if (marker == 0xDA) {
      *image_data = at;
      return true;
    }
    segments->push_back({marker, at, length + 2, jpeg.substr(at + 4, length - 2)});
    at += 2 + length;
  }
  return false;
}

bool IsExif(const Segment& s) { return s.marker == 0xE1 && s.body.starts_with(kExifHeader); }
bool IsXmp(const Segment& s) { return s.marker == 0xE1 && s.body.starts_with(kXmpHeader); }

void PutU16(std::string& out, uint16_t v) {
  out += static_cast<char>(v >> 8);
  out += static_cast<char>(v & 0xFF);
}
void PutU32(std::string& out, uint32_t v) {
  PutU16(out, static_cast<uint16_t>(v >> 16));
  PutU16(out, static_cast<uint16_t>(v & 0xFFFF));
}

// A big-endian EXIF block with the orientation in IFD0 and the date in the EXIF IFD.
std::string MinimalExif(const ExifFacts& facts) {
  const bool date = facts.date_taken.size() == 19;
  const uint16_t entries = static_cast<uint16_t>((facts.orientation ? 1 : 0) + (date ? 1 : 0));
  std::string tiff("MM\0*", 4);
  PutU32(tiff, 8);
  PutU16(tiff, entries);
  const uint32_t exif_ifd = 8 + 2 + 12u * entries + 4;
  if (facts.orientation) {
    PutU16(tiff, 0x0112);
    PutU16(tiff, 3);
    PutU32(tiff, 1);
    PutU16(tiff, *facts.orientation);
    PutU16(tiff, 0);
  }
  if (date) {
    PutU16(tiff, 0x8769);
    PutU16(tiff, 4);
    PutU32(tiff, 1);
    PutU32(tiff, exif_ifd);
  }
  PutU32(tiff, 0);
  if (date) {
    PutU16(tiff, 1);
    PutU16(tiff, 0x9003);
    PutU16(tiff, 2);
    PutU32(tiff, 20);
    PutU32(tiff, exif_ifd + 2 + 12 + 4);
    PutU32(tiff, 0);
    tiff += facts.date_taken;
    tiff += '\0';
  }
  std::string segment("\xFF\xE1", 2);
  PutU16(segment, static_cast<uint16_t>(2 + kExifHeader.size() + tiff.size()));
  segment += kExifHeader;
  segment += tiff;
  return segment;
}

// Calls `chunk(type, body)` for each chunk of a PNG up to IEND, until it returns true.
template <typename Fn>
void WalkPng(std::string_view png, Fn&& chunk) {
  size_t at = 8;
  while (at + 12 <= png.size()) {
    const size_t length = size_t{Byte(png, at)} << 24 | size_t{Byte(png, at + 1)} << 16 |
                          size_t{Byte(png, at + 2)} << 8 | Byte(png, at + 3);
    const std::string_view type = png.substr(at + 4, 4);
    if (length > png.size() - at - 12 || type == "IEND") return;
    if (chunk(type, png.substr(at + 8, length))) return;
    at += length + 12;
  }
}

constexpr std::string_view kPngSignature = "\x89PNG\r\n\x1a\n";

bool PngIsPrivate(std::string_view png) {
  bool found = false;
  WalkPng(png, [&](std::string_view type, std::string_view body) {
    if (type == "eXIf" && ReadExif(body).is_private) found = true;
    if (type == "tEXt" || type == "iTXt" || type == "zTXt") {
      const std::string_view keyword = body.substr(0, body.find('\0'));
      if (keyword == "Author" || keyword == "Artist" || keyword == "XML:com.adobe.xmp" ||
          keyword.starts_with("Raw profile type") || XmpIsPrivate(body)) {
        found = true;
      }
    }
    return found;
  });
  return found;
}

// Inserts `segment` after a leading JFIF segment, where readers look for EXIF.
std::string WithSegment(std::string_view jpeg, const std::vector<Segment>& segments,
                        size_t image_data, std::string_view segment, bool drop_metadata) {
  std::string result("\xFF\xD8", 2);
  bool inserted = false;
  for (const Segment& s : segments) {
    if (!inserted && s.marker != 0xE0) {
      result += segment;
      inserted = true;
    }
    if (drop_metadata && (IsExif(s) || IsXmp(s) || s.marker == 0xED)) continue;
    result.append(jpeg.substr(s.start, s.length));
  }
  if (!inserted) result += segment;
  result.append(jpeg.substr(image_data));
  return result;
}

}  // namespace

bool HasPrivateMetadata(std::string_view file) {
  if (file.starts_with(kPngSignature)) return PngIsPrivate(file);
  if (Tiff(file).valid()) return ReadExif(file).is_private;
  std::vector<Segment> segments;
  size_t image_data = 0;
  if (!JpegSegments(file, &segments, &image_data)) return false;
  for (const Segment& s : segments) {
    if (IsExif(s) && ReadExif(s.body.substr(kExifHeader.size())).is_private) return true;
    if (IsXmp(s) && XmpIsPrivate(s.body)) return true;
    if (s.marker == 0xED) return true;  // IPTC: by-line, contacts
  }
  return false;
}

bool StripJpegMetadata(std::string_view jpeg, std::string* out) {
  std::vector<Segment> segments;
  size_t image_data = 0;
  if (!JpegSegments(jpeg, &segments, &image_data)) return false;
  ExifFacts facts;
  for (const Segment& s : segments) {
    if (IsExif(s)) {
      facts = ReadExif(s.body.substr(kExifHeader.size()));
      break;
    }
  }
  std::string result = WithSegment(
      jpeg, segments, image_data,
      facts.orientation || !facts.date_taken.empty() ? MinimalExif(facts) : std::string(), true);
  *out = std::move(result);
  return true;
}

std::string CaptureDateExif(std::string_view file) {
  ExifFacts facts;
  std::vector<Segment> segments;
  size_t image_data = 0;
  if (file.starts_with(kPngSignature)) {
    WalkPng(file, [&](std::string_view type, std::string_view body) {
      if (type == "eXIf") facts = ReadExif(body);
      return type == "eXIf";
    });
  } else if (Tiff(file).valid()) {
    facts = ReadExif(file);
  } else if (JpegSegments(file, &segments, &image_data)) {
    for (const Segment& s : segments) {
      if (IsExif(s)) {
        facts = ReadExif(s.body.substr(kExifHeader.size()));
        break;
      }
    }
  }
  if (facts.date_taken.size() != 19) return {};
  facts.orientation.reset();
  return MinimalExif(facts);
}

bool InsertJpegSegment(std::string_view jpeg, std::string_view segment, std::string* out) {
  std::vector<Segment> segments;
  size_t image_data = 0;
  if (!JpegSegments(jpeg, &segments, &image_data)) return false;
  *out = WithSegment(jpeg, segments, image_data, segment, false);
  return true;
}

}  // namespace quorvane::image
