#include "mail/mime/header_encoding.h"

#include <cstddef>

#include "platform/ascii.h"

namespace quorvane::mail {
namespace {

constexpr char kHex[] = "0123456789ABCDEF";

}  // namespace

std::string EncodeHeaderValue(std::string_view value, std::string_view charset) {
  bool plain = true;
  for (const char c : value) plain = plain && static_cast<unsigned char>(c) <= 127;
  if (plain) return std::string(value);
  std::string out = "=?";
  out.append(charset);
  out.append("?q?");
  for (const char c : value) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == ' ') {
      out.push_back('_');
    } else if (byte < 128 && c != '=' && c != '?' && c != '_') {
      out.push_back(c);
    } else {
      out.push_back('=');
      out.push_back(kHex[byte >> 4]);
      out.push_back(kHex[byte & 15]);
    }
  }
  out.append("?=");
  return out;
}

std::string DecodeHeaderValue(std::string_view value) {
  if (!value.starts_with("=?") || !value.ends_with("?=") || value.size() < 4) {
    return std::string(value);
  }
  const size_t charset_end = value.find('?', 2);
  if (charset_end == std::string_view::npos || charset_end + 3 > value.size() - 2 ||
      (value[charset_end + 1] != 'q' && value[charset_end + 1] != 'Q') ||
      value[charset_end + 2] != '?') {
    return std::string(value);
  }
  const std::string_view word = value.substr(charset_end + 3, value.size() - 2 - charset_end - 3);
  std::string out;
  for (size_t i = 0; i < word.size(); ++i) {
    if (word[i] == '_') {
      out.push_back(' ');
    } else if (word[i] == '=' && i + 2 < word.size() && platform::HexDigitValue(word[i + 1]) >= 0 &&
               platform::HexDigitValue(word[i + 2]) >= 0) {
      out.push_back(static_cast<char>(platform::HexDigitValue(word[i + 1]) * 16 +
                                      platform::HexDigitValue(word[i + 2])));
      i += 2;
    } else {
      out.push_back(word[i]);
    }
  }
  return out;
}

std::string DotStuff(std::string_view text) {
  std::string out;
  out.reserve(text.size() + 16);
  for (size_t i = 0; i < text.size(); ++i) {
    out.push_back(text[i]);
    if (text[i] == '\n' && i + 1 < text.size() && text[i + 1] == '.') out.push_back('.');
  }
  return out;
}

std::string DotUnstuff(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    out.push_back(text[i]);
    if (text[i] == '\n' && text.substr(i + 1, 2) == "..") ++i;
  }
  return out;
}

}  // namespace quorvane::mail
