// Byte-wise, locale-independent case rules for the texts the program compares without regard
// to case: file extensions, URL schemes, device names, XML names. Only A-Z and a-z change;
// every other byte (UTF-8 sequences included) stands for itself.
#pragma once

#include <string_view>

namespace quorvane::platform {

constexpr char AsciiLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }
constexpr char AsciiUpper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; }

// The value of one hexadecimal digit (either case), or -1 when `c` is none.
constexpr int HexDigitValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

constexpr bool EqualsIgnoringAsciiCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (AsciiLower(a[i]) != AsciiLower(b[i])) return false;
  }
  return true;
}

constexpr bool StartsWithIgnoringAsciiCase(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() &&
         EqualsIgnoringAsciiCase(text.substr(0, prefix.size()), prefix);
}

}  // namespace quorvane::platform
