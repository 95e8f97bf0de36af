#include "search/search_results.h"

#include <charconv>
#include <filesystem>

#include "platform/file_util.h"
#include "platform/ole_date.h"
#include "xml/entities.h"
#include "xml/xml_document.h"

namespace quorvane::search {
namespace {

constexpr std::string_view kRootName = "SearchResults";
constexpr std::string_view kResultName = "Result";

bool IsSeparator(char c) {
  return c == static_cast<char>(std::filesystem::path::preferred_separator) || c == '/';
}

}  // namespace

std::string ReferenceText(std::string_view album_path, int32_t index) {
  std::string text(album_path);
  text += static_cast<char>(std::filesystem::path::preferred_separator);
  text += std::to_string(index);
  return text;
}

bool ParseReferenceText(std::string_view text, std::string* album_path, int32_t* index) {
  size_t separator = text.size();
  while (separator > 0 && !IsSeparator(text[separator - 1])) --separator;
  if (separator == 0) return false;
  const std::string_view digits = text.substr(separator);
  if (digits.empty() || digits.find_first_not_of("0123456789") != std::string_view::npos) {
    return false;
  }
  int32_t value = 0;
  const auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (ec != std::errc() || end != digits.data() + digits.size()) return false;
  *album_path = text.substr(0, separator - 1);
  *index = value;
  return true;
}

std::string ResultToolTip(const SearchResult& result) {
  const album::AlbumPhoto& photo = result.photo;
  std::string tip = "In Album: " + xml::EncodeEntities(result.album_title) +
                    "<br>Type: " + xml::EncodeEntities(photo.format) +
                    "<br>Size: " + std::to_string(photo.width) + "x" +
                    std::to_string(photo.height) +
                    "<br>Filename: " + xml::EncodeEntities(photo.image_file);
  if (platform::IsValidOleDate(photo.date)) {
    tip += "<br>Date: " + platform::FormatOleDate(photo.date);
  }
  if (!photo.description.empty()) {
    tip += "<br><br>&quot;" + xml::EncodeEntities(photo.description) + "&quot;";
  }
  return tip;
}

SearchResultRow RowOf(const SearchResult& result) {
  return {result.photo.title.empty() ? result.photo.image_file : result.photo.title,
          ReferenceText(result.album_path, result.index)};
}

std::string SearchResultsXml(std::span<const SearchResultRow> rows) {
  xml::XmlDocument document;
  xml::XmlNode& root = *document.AppendChild(document.CreateElement(kRootName));
  root.SetAttribute("Version", "1.0");
  for (const SearchResultRow& row : rows) {
    xml::XmlNode& result = *root.AppendChild(document.CreateElement(kResultName));
    // Captions and folder names may hold quotes and ampersands; encoded, they cannot end
    // the attribute early.
    result.SetAttribute("Count", xml::EncodeEntities(row.count));
    result.SetAttribute("Path", xml::EncodeEntities(row.path));
  }
  xml::ByteBuffer output;
  xml::WriteXml(document, output, xml::kWriteQuoteAttributes);
  return std::string(output.bytes());
}

bool SaveSearchResults(const std::filesystem::path& file, std::span<const SearchResultRow> rows,
                       std::string* error) {
  return platform::WriteFileAtomically(file, SearchResultsXml(rows), error);
}

bool LoadSearchResults(const std::filesystem::path& file, std::vector<SearchResultRow>* rows,
                       std::string* error) {
  rows->clear();
  std::string bytes;
  if (!platform::ReadWholeFile(file, &bytes, error)) return false;
  return ParseSearchResults(std::move(bytes), rows, error);
}

bool ParseSearchResults(std::string bytes, std::vector<SearchResultRow>* rows, std::string* error) {
  rows->clear();
  // The tolerant parser makes a tree of any bytes; a file cut short shows in its end, which
  // is always the root's closing tag, or the root itself when it holds no rows.
  const std::string_view text = bytes;
  const std::string_view end = text.substr(0, text.find_last_not_of(" \t\r\n") + 1);
  // The XML reader stops at a 0xFF byte, which no UTF-8 text holds.
  const bool closed_by_tag =
      end.ends_with("</SearchResults>") && text.find('\xFF') == std::string_view::npos;
  const bool ends_self_closed = end.ends_with("/>") && text.find('\xFF') == std::string_view::npos;
  xml::XmlDocument document;
  xml::ByteBuffer input;
  input.Adopt(std::move(bytes));
  document.Parse(input);
  const xml::XmlNode* root = document.FindPath(kRootName);
  if (root == nullptr || !(closed_by_tag || (ends_self_closed && root->self_closed()))) {
    *error = std::string(kMalformedResultsError);
    return false;
  }
  for (size_t i = 0; i < root->ChildCount(); ++i) {
    const xml::XmlNode& child = *root->ChildAt(i);
    if (child.kind() != xml::kElementNode || child.name() != kResultName) continue;
    rows->push_back({xml::DecodeEntities(child.GetAttribute("Count")),
                     xml::DecodeEntities(child.GetAttribute("Path"))});
  }
  return true;
}

}  // namespace quorvane::search
