// What a photo search finds, and how results leave the search pane: the reference text that
// drag and drop and the clipboard carry, the tool tip, and the "searchresults.xml" file that
// keeps the last result list between runs.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "album/album_photo.h"

namespace quorvane::search {

inline constexpr std::string_view kSearchResultsFileName = "searchresults.xml";
// The clipboard format that carries a result's reference text.
inline constexpr std::string_view kSearchResultClipboardFormat = "Quorvane_SearchResultItemRef";
inline constexpr std::string_view kMalformedResultsError =
    "Unable to load search results; malformed results file.";

// One found photo: its album and its position in the album's photo list, with the records
// the result list shows.
struct SearchResult {
  std::string album_path;  // the album folder
  std::string album_title;
  int32_t index = 0;
  album::AlbumPhoto photo;
};

// The album folder, the platform's path separator and the photo's index ("<folder>/3").
std::string ReferenceText(std::string_view album_path, int32_t index);
// Splits a reference text at its last separator into folder and index; false when the text
// does not end in a separator and a non-negative decimal index that fits 32 bits.
bool ParseReferenceText(std::string_view text, std::string* album_path, int32_t* index);

// The result's info text in the HTML subset of the display panes: album title, type, size
// and file name, then the date and the quoted description when the photo has them. The
// photo's texts are entity-encoded, so a caption can never turn into markup.
std::string ResultToolTip(const SearchResult& result);

// One row of the results list as the results file keeps it: the label under the thumbnail
// (saved as "Count") and the reference text (saved as "Path").
struct SearchResultRow {
  std::string count;
  std::string path;

  friend bool operator==(const SearchResultRow&, const SearchResultRow&) = default;
};

// The row of a result: its caption, or its file name when it has none, and its reference.
SearchResultRow RowOf(const SearchResult& result);

// The rows as a "SearchResults" document: "Count" and "Path" entity-encoded.
std::string SearchResultsXml(std::span<const SearchResultRow> rows);

// Writes SearchResultsXml(rows) whole and atomically (a failed write leaves
// any previous file as it was). False with the reason in *error.
bool SaveSearchResults(const std::filesystem::path& file, std::span<const SearchResultRow> rows,
                       std::string* error);

// Reads the rows back in file order. A missing or unreadable file, or one without a
// "SearchResults" element, leaves *rows empty and returns false with the reason in *error.
bool LoadSearchResults(const std::filesystem::path& file, std::vector<SearchResultRow>* rows,
                       std::string* error);
// The parsing half of LoadSearchResults, for bytes from anywhere.
bool ParseSearchResults(std::string bytes, std::vector<SearchResultRow>* rows, std::string* error);

}  // namespace quorvane::search
