// Locale-independent byte classes for the XML reader and writer. Bytes of 0x80 and above
// (UTF-8 sequences) are neither letters, digits, white space nor control bytes. One table
// lookup per byte keeps the reader's scanning loops short.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "platform/ascii.h"

namespace quorvane::xml::internal {

inline constexpr uint8_t kSpaceClass = 1;
inline constexpr uint8_t kDigitClass = 2;
inline constexpr uint8_t kLetterClass = 4;
inline constexpr uint8_t kControlClass = 8;
inline constexpr uint8_t kEqualsClass = 16;  // "=", which ends an attribute name

inline constexpr std::array<uint8_t, 256> kByteClasses = [] {
  std::array<uint8_t, 256> classes{};
  for (int c = 0; c < 256; ++c) {
    uint8_t bits = 0;
    if (c == ' ' || (c >= '\t' && c <= '\r')) bits |= kSpaceClass;
    if (c >= '0' && c <= '9') bits |= kDigitClass;
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')) bits |= kLetterClass;
    if (c < 0x20 || c == 0x7F) bits |= kControlClass;
    if (c == '=') bits |= kEqualsClass;
    classes[c] = bits;
  }
  return classes;
}();

inline bool HasClass(char c, uint8_t classes) {
  return (kByteClasses[static_cast<unsigned char>(c)] & classes) != 0;
}
inline bool IsSpace(char c) { return HasClass(c, kSpaceClass); }
inline bool IsDigit(char c) { return c >= '0' && c <= '9'; }
inline bool IsAlnum(char c) { return HasClass(c, kDigitClass | kLetterClass); }
inline bool IsControl(char c) { return HasClass(c, kControlClass); }
// The position of the first of the bytes a, b or c in text at or after `from`, or
// text.size(). Eight bytes are tested at a time: values are short, and a library search per
// byte value would cost more in calls than it saves.
inline size_t FindAnyOf(std::string_view text, size_t from, char a, char b, char c) {
  constexpr uint64_t kOnes = 0x0101010101010101u;
  constexpr uint64_t kHighs = 0x8080808080808080u;
  const auto has_zero_byte = [](uint64_t v) { return (v - kOnes) & ~v & kHighs; };
  const uint64_t ma = kOnes * static_cast<unsigned char>(a);
  const uint64_t mb = kOnes * static_cast<unsigned char>(b);
  const uint64_t mc = kOnes * static_cast<unsigned char>(c);
  size_t i = from;
  for (; i + 8 <= text.size(); i += 8) {
    uint64_t v;
    std::memcpy(&v, text.data() + i, 8);
    if (has_zero_byte(v ^ ma) | has_zero_byte(v ^ mb) | has_zero_byte(v ^ mc)) break;
  }
  for (; i < text.size(); ++i) {
    if (text[i] == a || text[i] == b || text[i] == c) return i;
  }
  return text.size();
}

// Byte-wise order, as std::string_view compares, without a library call: attribute names
// are short and mostly differ in their first bytes.
inline bool NameBefore(std::string_view a, std::string_view b) {
  const size_t common = a.size() < b.size() ? a.size() : b.size();
  for (size_t i = 0; i < common; ++i) {
    if (a[i] != b[i]) return static_cast<unsigned char>(a[i]) < static_cast<unsigned char>(b[i]);
  }
  return a.size() < b.size();
}

using platform::AsciiLower;

}  // namespace quorvane::xml::internal
