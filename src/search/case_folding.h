// Case-insensitive text for search: UTF-8 folded one character at a time with the simple
// Unicode case folding (a generated table, Unicode 14), so "église" finds "Église" and "ΣΟΦΊΑ"
// finds "σοφία". Folding never changes the number of characters; "ß" stays apart from "ss".
// A byte that is not part of valid UTF-8 becomes a mark of its own that only the same stray
// byte matches, so a search never matches half a character.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quorvane::search {

// The simple case folding of one code point; the code point itself when it has none.
uint32_t FoldCase(uint32_t code_point);

// Appends `text` folded to *out: each valid UTF-8 character as the UTF-8 of its folding;
// each other byte b as the three-byte form of U+DC00 + b, a lone surrogate that valid input
// never yields. The result is for comparing, never for showing. Returns true when every
// character kept its length in bytes, so that offsets in the result are offsets in `text`.
bool AppendFolded(std::string_view text, std::string* out);

// True when every byte of `text` belongs to a well-formed UTF-8 character.
bool IsValidUtf8(std::string_view text);

inline std::string Folded(std::string_view text) {
  std::string out;
  AppendFolded(text, &out);
  return out;
}

}  // namespace quorvane::search
