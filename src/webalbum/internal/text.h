// The two text operations page expansion and the settings form share.
#pragma once

#include <string>
#include <string_view>

namespace quorvane::webalbum::internal {

// Replaces every occurrence of `item` (not empty) in `text`, scanning left to right; the
// replacements themselves are not scanned again.
inline void ReplaceAll(std::string& text, std::string_view item, std::string_view replacement) {
  if (item.empty()) return;
  size_t at = text.find(item);
  if (at == std::string::npos) return;
  std::string out;
  size_t from = 0;
  while (at != std::string::npos) {
    out.append(text, from, at - from);
    out.append(replacement);
    from = at + item.size();
    at = text.find(item, from);
  }
  out.append(text, from, std::string::npos);
  text = std::move(out);
}

// `text` without the characters of `set` at either end.
inline std::string Trimmed(std::string_view text, std::string_view set) {
  const size_t begin = text.find_first_not_of(set);
  if (begin == std::string_view::npos) return {};
  const size_t end = text.find_last_not_of(set);
  return std::string(text.substr(begin, end - begin + 1));
}

}  // namespace quorvane::webalbum::internal
