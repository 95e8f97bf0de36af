// Matches arbitrary bytes as search text against arbitrary fields (invalid UTF-8 included):
// never a crash or an endless loop, and a text always finds itself as a title.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "search/case_folding.h"
#include "search/photo_search.h"

using namespace quorvane::search;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  // text | title | description | keywords, split at the first three NUL bytes.
  std::string_view parts[4];
  std::string_view rest = bytes;
  for (int i = 0; i < 3; ++i) {
    const size_t nul = rest.find('\0');
    parts[i] = rest.substr(0, nul);
    rest = nul == std::string_view::npos ? std::string_view() : rest.substr(nul + 1);
  }
  parts[3] = rest;

  SearchRequest request{std::string(parts[0]), true, true, true};
  PhotoMatcher matcher(request);
  (void)matcher.Matches(parts[1], parts[2], parts[3]);
  if (!parts[0].empty() && !matcher.Matches(parts[0], "", "")) std::abort();
  // A character count never changes, so folding never shrinks text to nothing.
  if (!parts[1].empty() && Folded(parts[1]).empty()) std::abort();
  return 0;
}
