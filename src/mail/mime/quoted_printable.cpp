#include "mail/mime/quoted_printable.h"

#include <cstddef>

#include "platform/ascii.h"

namespace quorvane::mail {
namespace {

constexpr char kHex[] = "0123456789ABCDEF";
constexpr size_t kMaxLine = 76;  // bytes past the line start; a line holds at most 77

bool IsWhite(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

}  // namespace

std::string QuotedPrintableEscape(std::string_view text) {
  std::string out;
  out.reserve(text.size() + text.size() / 8);
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte >= 33 && byte <= 126 && byte != '=') || c == '\r' || c == '\n' || c == '\t' ||
        c == ' ') {
      out.push_back(c);
    } else {
      out.push_back('=');
      out.push_back(kHex[byte >> 4]);
      out.push_back(kHex[byte & 15]);
    }
  }
  return out;
}

std::string QuotedPrintableWrap(std::string_view e) {
  std::string out;
  out.reserve(e.size() + e.size() / 25);
  size_t line_start = 0;
  for (size_t pos = 0; pos < e.size(); ++pos) {
    if (e[pos] == '\r' || e[pos] == '\n' || pos + 1 == e.size()) {
      out.append(e.substr(line_start, pos - line_start + 1));
      line_start = pos + 1;
      continue;
    }
    if (pos - line_start <= kMaxLine) continue;
    // The break goes after a blank, or after a whole escape, looking back from the 77th
    // character of the line.
    size_t brk = pos - 1;
    while (brk > line_start && !IsWhite(e[brk]) && !(brk >= 2 && e[brk - 2] == '=')) --brk;
    if (brk == line_start) {
      brk = line_start + kMaxLine;
      // A forced break must not cut an escape in two either.
      if (e[brk] == '=') {
        --brk;
      } else if (e[brk - 1] == '=') {
        brk -= 2;
      }
    }
    out.append(e.substr(line_start, brk - line_start + 1));
    out.append("=\r\n");
    line_start = brk + 1;
  }
  return out;
}

std::string QuotedPrintableEncode(std::string_view text) {
  return QuotedPrintableWrap(QuotedPrintableEscape(text));
}

std::string QuotedPrintableDecode(std::string_view encoded) {
  std::string out;
  out.reserve(encoded.size());
  for (size_t i = 0; i < encoded.size(); ++i) {
    const char c = encoded[i];
    if (c != '=') {
      out.push_back(c);
      continue;
    }
    if (encoded.substr(i + 1, 2) == "\r\n") {
      i += 2;
      continue;
    }
    if (encoded.substr(i + 1, 1) == "\n") {
      i += 1;
      continue;
    }
    if (i + 2 < encoded.size() && platform::HexDigitValue(encoded[i + 1]) >= 0 &&
        platform::HexDigitValue(encoded[i + 2]) >= 0) {
      out.push_back(static_cast<char>(platform::HexDigitValue(encoded[i + 1]) * 16 +
                                      platform::HexDigitValue(encoded[i + 2])));
      i += 2;
      continue;
    }
    out.push_back(c);
  }
  return out;
}

}  // namespace quorvane::mail
