// Expanding the page text of a design template for one page of a web album: the built-in
// placeholders, the design's user variables and the fragments with their conditions, and the
// names of the files the pages link to.
//
// Expansion never fails: missing nodes, unknown fragments and malformed conditions yield empty
// text, and unknown placeholders stay as they are. Hostile designs (fragments that include
// themselves, runaway growth) are cut off rather than followed.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ole_date.h"
#include "webalbum/expression.h"

namespace quorvane::xml {
class XmlNode;
}  // namespace quorvane::xml

namespace quorvane::webalbum {

// What the pages show of one photo: the album's fields and what the generator wrote for it.
struct PhotoFacts {
  std::string title;        // the caption
  std::string description;  // "{ImageCaption}"
  std::string keywords;
  platform::OleDate date = platform::kNoDate;
  std::string image_file;  // the photo's output file name
  std::string thumb_file;  // the thumbnail's output file name
  std::string page_file;   // the photo page's file name
  int width = 0;           // of the photo as written
  int height = 0;
  int thumb_width = 0;  // of the thumbnail as written
  int thumb_height = 0;
  uint64_t file_size = 0;  // of the photo's output file
};

// The album as the pages show it.
struct GalleryFacts {
  std::string title;
  std::string description;
  platform::OleDate date = platform::kNoDate;
  std::vector<PhotoFacts> photos;
};

// Everything one page's expansion reads. The generator fills it per page (SetPage) and per
// photo slot (photo).
struct ExpansionContext {
  const GalleryFacts* gallery = nullptr;
  int photo = -1;  // the current photo's index, -1 on text that is about no photo
  int index_page = 0;
  int index_page_count = 0;
  NamedValues user_variables;               // the design's variables
  NamedValues defined_names;                // filled by "define" in conditions
  NamedValues fragments;                    // the page's Fragment_* children: name and decoded text
  xml::XmlNode* index_page_list = nullptr;  // the page's Fragment_IndexPageList
  int depth = 0;  // nesting of fragment expansions, bounded against self-inclusion

  // Collects the fragment table and the index page list of a page element.
  void SetPage(xml::XmlNode* page);
};

// The text of the node's first "#text" child, entity-decoded; empty without node or text.
// With `expand` set, the three passes below are applied in order.
std::string ExpandNodeText(ExpansionContext& context, xml::XmlNode* node, bool expand);

// Pass 1: every built-in placeholder, in the fixed table order, by plain search and replace.
// Photo placeholders are replaced only when the context has a current photo.
std::string ReplaceBuiltins(ExpansionContext& context, std::string text);
// Pass 2: "{tag}" of each user variable, in list order, by its value.
std::string ReplaceUserVariables(const ExpansionContext& context, std::string text);
// Pass 3: "{Fragment_Name condition}" items by the fragment's text (after passes 1 and 2)
// when the condition holds; repeated until none is left. A "{" without "}" ends the scan.
std::string ReplaceFragments(ExpansionContext& context, std::string text);

// The condition language with the context's variables, defined names and built-in values.
std::string EvaluateExpression(ExpansionContext& context, std::string_view text);
// The value of a built-in placeholder name given without braces ("ImageNum"); false for a
// name that is not one on this page.
bool BuiltinValue(ExpansionContext& context, std::string_view name, std::string* value);

// File names of the output folder.
std::string IndexPageFileName(int page);  // "index.html", then "index1.html", ...
// A photo's files share one stem: its name without the extension, blanks as underscores.
std::string OutputStem(std::string_view photo_file);
// One stem per photo, in album order, such that no two photos' files (page, photo copy,
// re-encoded photo, thumbnail) share a name, nor one of them a name of `reserved` (support
// files) or of an index page, even where the file system ignores case. A photo whose stem
// is taken gets its extension appended ("a_png" beside "a.jpg"), then a number.
std::vector<std::string> DistinctOutputStems(const std::vector<std::string>& photo_files,
                                             const std::vector<std::string>& reserved);
std::string PhotoPageFileName(std::string_view stem);  // ".html"
// The copy keeps the photo's extension; a re-encoded photo is a ".jpg".
std::string CopiedPhotoFileName(std::string_view stem, std::string_view photo_file);
std::string ReencodedPhotoFileName(std::string_view stem);
std::string ThumbnailFileName(std::string_view stem);  // suffix "-thumb.jpg"

// "1.0 MB" from 1,048,576 bytes on, "1024 KB" below.
std::string FileSizeText(uint64_t bytes);
// "14 July 2021"; empty for the no-date value.
std::string DateText(platform::OleDate date);

}  // namespace quorvane::webalbum
