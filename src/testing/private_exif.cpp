#include "testing/private_exif.h"

#include <cstdint>

namespace quorvane::testing {
namespace {

void U16(std::string& s, uint16_t v) {
  s += static_cast<char>(v & 0xFF);
  s += static_cast<char>(v >> 8);
}
void U32(std::string& s, uint32_t v) {
  U16(s, static_cast<uint16_t>(v & 0xFFFF));
  U16(s, static_cast<uint16_t>(v >> 16));
}
void Entry(std::string& s, uint16_t tag, uint16_t type, uint32_t count, uint32_t value) {
  U16(s, tag);
  U16(s, type);
  U32(s, count);
  U32(s, value);
}

}  // namespace

std::string ExifSegment() {
  std::string t("II*\0", 4);
  U32(t, 8);
  U16(t, 3);                   // IFD0 at 8: 3 entries, ends at 8 + 2 + 36 + 4 = 50
  Entry(t, 0x0112, 3, 1, 6);   // orientation
  Entry(t, 0x8769, 4, 1, 50);  // EXIF IFD
  Entry(t, 0x8825, 4, 1, 80);  // GPS IFD
  U32(t, 0);
  U16(t, 2);                    // EXIF IFD at 50: ends at 50 + 2 + 24 + 4 = 80
  Entry(t, 0x9003, 2, 20, 98);  // date, at 98
  Entry(t, 0xA431, 2, 8, 118);  // serial, at 118
  U32(t, 0);
  U16(t, 1);                           // GPS IFD at 80: ends at 80 + 2 + 12 + 4 = 98
  Entry(t, 0x0000, 1, 4, 0x00000202);  // GPS version
  U32(t, 0);
  t += std::string("2021:07:14 10:20:30\0", 20);
  t += std::string("SN12345\0", 8);
  std::string segment("\xFF\xE1", 2);
  const size_t length = 2 + 6 + t.size();
  segment += static_cast<char>(length >> 8);
  segment += static_cast<char>(length & 0xFF);
  return segment + std::string("Exif\0\0", 6) + t;
}

std::string WithPrivateExif(const std::string& jpeg) {
  return jpeg.substr(0, 2) + ExifSegment() + jpeg.substr(2);
}

}  // namespace quorvane::testing
