// Print templates: a ".qvoprnt" XML file (root "PhotoAlbumTemplate", like a web design) that
// says how an album is laid out on paper: the paper and its margins, fonts, and one or more
// page elements ("IndexPage", used in rotation) holding rows of photo spots ("Image"), text
// items with the album and photo placeholders of web designs, and rectangles. Each page element
// takes as many photos as it has spots, so pages repeat until the album is printed.
//
// Lengths on paper are millimetres (a rectangle's may be percentages of the printable area),
// font sizes and line widths points. Reading is tolerant: a bad number or an unknown font name
// falls back to its default; only what makes printing impossible is refused, with a message.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/result_code.h"
#include "print/text_metrics.h"
#include "webalbum/design_template.h"

namespace quorvane::xml {
class XmlNode;
}  // namespace quorvane::xml

namespace quorvane::print {

inline constexpr std::string_view kPrintTemplateExtension = ".qvoprnt";
inline constexpr std::string_view kPrintTemplatesFolderName = "PrintTemplates";

enum class Align { kLeft, kCenter, kRight };

// A text item: the node whose text is expanded (placeholders, user variables, fragments), and
// how it is set. Lines beyond max_lines are cut with an ellipsis (0: no limit).
struct TextItem {
  xml::XmlNode* node = nullptr;
  FontSpec font;
  Align align = Align::kCenter;
  int max_lines = 0;
};

enum class VerticalAlign { kTop, kCenter, kBottom };

// One photo spot. The photo is fitted inside the spot less its padding and captions, keeping
// its aspect, centred across; the captions follow right under it, and the photo with its
// captions stands at the spot's top, middle or bottom. The frame is drawn around the photo,
// outside it.
struct PhotoSpot {
  double weight = 1;  // share of the row's width
  double padding_mm = 0;
  VerticalAlign valign = VerticalAlign::kCenter;
  std::vector<TextItem> captions;  // the spot's own text, then its Caption elements
  double frame_pt = 0;
  Color frame_color;
  std::optional<Color> fill;  // the spot's background
};

struct PhotoRow {
  double weight = 1;  // share of the height the text items leave
  double spacing_mm = 0;
  std::vector<PhotoSpot> spots;
};

// A rectangle, placed in the printable area (or on the whole sheet with Area="page").
// Lengths are millimetres, or fractions of that area when `*_percent`.
struct Length {
  double value = 0;
  bool percent = false;
};
struct RectItem {
  Length x, y, width{100, true}, height{100, true};
  bool on_page = false;
  double line_pt = 0;
  Color line_color;
  std::optional<Color> fill;
};

// What fills a page from top to bottom: text items at their natural height, rows sharing the
// rest.
struct FlowItem {
  std::optional<TextItem> text;
  PhotoRow row;  // when no text
};

struct PageTemplate {
  xml::XmlNode* node = nullptr;  // for the page's fragments
  std::optional<TextItem> header;
  std::optional<TextItem> footer;
  std::vector<FlowItem> flow;
  std::vector<RectItem> rects;
  double spacing_mm = 4;  // between flow items
  int photo_count = 0;    // spots in all rows
};

struct PaperSetup {
  double width_mm = 210;  // A4
  double height_mm = 297;
  double margin_left_mm = 15;
  double margin_top_mm = 15;
  double margin_right_mm = 15;
  double margin_bottom_mm = 15;
};

class PrintTemplate {
 public:
  // Reads the template file. Returns kOk, or a failure with last_error() holding the message
  // for the user: "Error: File not found.\n\nFile: ..." for a missing file, "Error: Invalid
  // template format.\n\nFile: ..." without the root element, and messages naming what is
  // missing for a template without a page or without any photo spot.
  platform::ResultCode Load(const std::filesystem::path& path);
  // The same on bytes already read; the path (for messages) stays as it was.
  platform::ResultCode LoadFromMemory(std::string bytes);

  const std::filesystem::path& path() const { return design_.path(); }
  const std::string& name() const { return name_; }
  const PaperSetup& paper() const { return paper_; }
  const std::vector<PageTemplate>& pages() const { return pages_; }
  const std::string& last_error() const { return last_error_; }

 private:
  platform::ResultCode Read();
  platform::ResultCode Fail(platform::ResultCode code, std::string_view message);

  webalbum::DesignTemplate design_;
  std::string name_;
  PaperSetup paper_;
  std::vector<PageTemplate> pages_;
  std::string last_error_;
};

// The folders print templates are listed from: "PrintTemplates" beside the program, then in
// the user's data folder.
std::vector<std::filesystem::path> PrintTemplateFolders(
    const std::filesystem::path& program_folder, const std::filesystem::path& user_data_folder);
// Every template of those folders, one per sub-folder (its first ".qvoprnt"), like designs.
std::vector<webalbum::TemplateInfo> ListPrintTemplates(
    const std::vector<std::filesystem::path>& folders);

}  // namespace quorvane::print
