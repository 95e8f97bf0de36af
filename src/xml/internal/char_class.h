// Locale-independent byte classes for the XML reader and writer. Bytes of 0x80 and above
// (UTF-8 sequences) are neither letters, digits, white space nor control bytes.
#pragma once

#include "platform/ascii.h"

namespace quorvane::xml::internal {

inline bool IsSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}
inline bool IsDigit(char c) { return c >= '0' && c <= '9'; }
inline bool IsAlnum(char c) {
  return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
inline bool IsControl(char c) {
  const auto u = static_cast<unsigned char>(c);
  return u < 0x20 || u == 0x7F;
}
using platform::AsciiLower;

}  // namespace quorvane::xml::internal
