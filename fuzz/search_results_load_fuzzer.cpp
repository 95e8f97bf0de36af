// Loads arbitrary bytes as a search results file; whatever loads must write and load again
// to the same rows. The first line of the input is also tried as a result's reference text.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "search/search_results.h"
#include "xml/entities.h"

using namespace quorvane::search;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  std::string album_path;
  int32_t index = 0;
  if (ParseReferenceText(bytes.substr(0, bytes.find('\n')), &album_path, &index) &&
      (index < 0 || ReferenceText(album_path, index).empty())) {
    std::abort();
  }

  std::vector<SearchResultRow> rows;
  std::string error;
  if (!ParseSearchResults(bytes, &rows, &error)) {
    if (!rows.empty() || error.empty()) std::abort();
    return 0;
  }
  // Rows the writer can keep exactly: no NUL (the parser stops at it) and tags under the
  // parser's 4,095-byte limit.
  for (const SearchResultRow& row : rows) {
    if (row.count.find('\0') != std::string::npos || row.path.find('\0') != std::string::npos ||
        quorvane::xml::EncodeEntities(row.count).size() +
                quorvane::xml::EncodeEntities(row.path).size() >
            4000) {
      return 0;
    }
  }
  std::vector<SearchResultRow> again;
  if (!ParseSearchResults(SearchResultsXml(rows), &again, &error) || again != rows) std::abort();
  return 0;
}
