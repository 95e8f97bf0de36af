#include "print/print_template.h"

#include <algorithm>

#include "platform/ascii.h"
#include "platform/number_text.h"
#include "xml/xml_document.h"
#include "xml/xml_node.h"

namespace quorvane::print {
namespace fs = std::filesystem;
using platform::ResultCode;

namespace {

constexpr std::string_view kNoPageMessage =
    "Error: The print template has no page: it needs an \"IndexPage\" element.\n\nFile: %s";
constexpr std::string_view kNoSpotMessage =
    "Error: The print template has no photo spot: a page needs an \"Image\" element.\n\nFile: %s";

// More photos or rows than any sheet of paper can show are not read, so that a few repeats
// cannot make a template of millions.
constexpr size_t kMaxPerPage = 1000;

struct PaperSize {
  std::string_view name;
  double width_mm;
  double height_mm;
};
constexpr PaperSize kPaperSizes[] = {{"A3", 297, 420},
                                     {"A4", 210, 297},
                                     {"A5", 148, 210},
                                     {"Letter", 215.9, 279.4},
                                     {"Legal", 215.9, 355.6}};

std::string_view Trim(std::string_view text) {
  const size_t start = text.find_first_not_of(" \t\r\n");
  if (start == std::string_view::npos) return {};
  return text.substr(start, text.find_last_not_of(" \t\r\n") - start + 1);
}

bool Is(std::string_view a, std::string_view b) { return platform::EqualsIgnoringAsciiCase(a, b); }

// The attribute as a number in [minimum, maximum], or `fallback` when absent or unreadable.
double Number(const xml::XmlNode* node, std::string_view name, double fallback, double minimum,
              double maximum) {
  double value = 0;
  if (node->FindAttribute(name) == nullptr ||
      !platform::ParseDecimal(Trim(node->GetAttribute(name)), minimum, maximum, &value)) {
    return fallback;
  }
  return value;
}

bool Flag(const xml::XmlNode* node, std::string_view name, bool fallback) {
  if (node->FindAttribute(name) == nullptr) return fallback;
  const std::string_view text = Trim(node->GetAttribute(name));
  return Is(text, "true") || Is(text, "yes") || text == "1";
}

// "#rrggbb" or "#rgb"; nothing for anything else ("none" included).
std::optional<Color> ParseColor(std::string_view text) {
  text = Trim(text);
  if (text.empty() || text[0] != '#' || (text.size() != 7 && text.size() != 4)) return {};
  int digits[6];
  const size_t count = text.size() - 1;
  for (size_t i = 0; i < count; ++i) {
    digits[i] = platform::HexDigitValue(text[i + 1]);
    if (digits[i] < 0) return {};
  }
  const auto channel = [&](int i) {
    return static_cast<uint8_t>(count == 3 ? digits[i] * 17
                                           : digits[2 * i] * 16 + digits[2 * i + 1]);
  };
  return Color{channel(0), channel(1), channel(2)};
}

std::optional<Color> ColorAttribute(const xml::XmlNode* node, std::string_view name) {
  return ParseColor(node->GetAttribute(name));
}

Length LengthAttribute(const xml::XmlNode* node, std::string_view name, Length fallback) {
  std::string_view text = Trim(node->GetAttribute(name));
  Length length;
  length.percent = !text.empty() && text.back() == '%';
  if (length.percent) text.remove_suffix(1);
  if (!platform::ParseDecimal(Trim(text), -10000, 10000, &length.value)) {
    return fallback;
  }
  return length;
}

// The font attributes of `node` (Family, Size, Bold, Italic, Color) over `base`.
FontSpec ReadFont(const xml::XmlNode* node, FontSpec font) {
  if (node->FindAttribute("Family") != nullptr) {
    const std::string_view family = Trim(node->GetAttribute("Family"));
    if (Is(family, "Times") || Is(family, "Times New Roman") || Is(family, "Serif")) {
      font.family = FontFamily::kTimes;
    } else if (Is(family, "Courier") || Is(family, "Courier New") || Is(family, "Monospace")) {
      font.family = FontFamily::kCourier;
    } else {
      font.family = FontFamily::kHelvetica;
    }
  }
  font.size = Number(node, "Size", font.size, 2, 400);
  font.bold = Flag(node, "Bold", font.bold);
  font.italic = Flag(node, "Italic", font.italic);
  font.color = ColorAttribute(node, "Color").value_or(font.color);
  return font;
}

Align ReadAlign(const xml::XmlNode* node, Align fallback) {
  const std::string_view text = Trim(node->GetAttribute("Align"));
  if (Is(text, "left")) return Align::kLeft;
  if (Is(text, "right")) return Align::kRight;
  if (Is(text, "center") || Is(text, "centre")) return Align::kCenter;
  return fallback;
}

bool IsElement(const xml::XmlNode* node, std::string_view name) {
  return node->kind() == xml::kElementNode && node->name() == name;
}

struct NamedFont {
  std::string name;
  FontSpec font;
};

class PageReader {
 public:
  explicit PageReader(const std::vector<NamedFont>& fonts) : fonts_(fonts) {}

  PageTemplate Read(xml::XmlNode* node) {
    PageTemplate page;
    page.node = node;
    page.spacing_mm = Number(node, "Spacing", page.spacing_mm, 0, 1000);
    for (size_t i = 0; i < node->ChildCount(); ++i) {
      xml::XmlNode* child = node->ChildAt(i);
      if (IsElement(child, "Header")) {
        page.header = Text(child, Align::kCenter, 0);
      } else if (IsElement(child, "Footer")) {
        page.footer = Text(child, Align::kCenter, 0);
      } else if (IsElement(child, "Text")) {
        page.flow.push_back({Text(child, Align::kLeft, 0), {}});
      } else if (IsElement(child, "Row")) {
        PhotoRow row = Row(child, page.spacing_mm);
        for (size_t j = 0; j < child->ChildCount(); ++j) {
          xml::XmlNode* spot = child->ChildAt(j);
          if (!IsElement(spot, "Image")) continue;
          const size_t room = kMaxPerPage - std::min(kMaxPerPage, row.spots.size());
          row.spots.insert(row.spots.end(), std::min(Repeat(spot), room), Spot(spot));
        }
        AddRows(page, row, Repeat(child));
      } else if (IsElement(child, "Image")) {
        // A spot on its own is a row of one.
        PhotoRow row = Row(child, page.spacing_mm);
        row.spots.push_back(Spot(child));
        AddRows(page, row, Repeat(child));
      } else if (IsElement(child, "Rect")) {
        page.rects.push_back(Rect(child));
      }
    }
    return page;
  }

 private:
  // How many times an element stands for itself: rows and spots written once for a grid.
  static size_t Repeat(const xml::XmlNode* node) {
    return static_cast<size_t>(Number(node, "Repeat", 1, 0, 100));
  }

  static void AddRows(PageTemplate& page, const PhotoRow& row, size_t count) {
    for (size_t i = 0; i < count; ++i) {
      if (page.flow.size() >= kMaxPerPage ||
          static_cast<size_t>(page.photo_count) + row.spots.size() > kMaxPerPage) {
        return;
      }
      page.flow.push_back({std::nullopt, row});
      page.photo_count += static_cast<int>(row.spots.size());
    }
  }

  TextItem Text(xml::XmlNode* node, Align align, int max_lines) {
    TextItem item;
    item.node = node;
    const std::string_view font_name = node->GetAttribute("Font");
    for (const NamedFont& named : fonts_) {
      if (named.name == font_name) {
        item.font = named.font;
        break;
      }
    }
    item.font = ReadFont(node, item.font);
    item.align = ReadAlign(node, align);
    item.max_lines = static_cast<int>(Number(node, "Lines", max_lines, 0, 1000));
    return item;
  }

  PhotoRow Row(const xml::XmlNode* node, double spacing_mm) {
    PhotoRow row;
    row.weight = Number(node, "Height", 1, 0, 1000);
    row.spacing_mm = Number(node, "Spacing", spacing_mm, 0, 1000);
    return row;
  }

  PhotoSpot Spot(xml::XmlNode* node) {
    PhotoSpot spot;
    spot.weight = Number(node, "Width", 1, 0, 1000);
    spot.padding_mm = Number(node, "Padding", 0, 0, 1000);
    spot.frame_pt = Number(node, "Frame", 0, 0, 100);
    spot.frame_color = ColorAttribute(node, "FrameColor").value_or(Color{});
    spot.fill = ColorAttribute(node, "Fill");
    const std::string_view valign = Trim(node->GetAttribute("VAlign"));
    spot.valign = Is(valign, "top")      ? VerticalAlign::kTop
                  : Is(valign, "bottom") ? VerticalAlign::kBottom
                                         : VerticalAlign::kCenter;
    xml::XmlNode* text = node->FindPath("#text");
    if (text != nullptr && !Trim(text->value()).empty()) {
      spot.captions.push_back(Text(node, Align::kCenter, 2));
    }
    for (size_t i = 0; i < node->ChildCount(); ++i) {
      if (IsElement(node->ChildAt(i), "Caption")) {
        spot.captions.push_back(Text(node->ChildAt(i), Align::kCenter, 0));
      }
    }
    return spot;
  }

  static RectItem Rect(const xml::XmlNode* node) {
    RectItem rect;
    rect.x = LengthAttribute(node, "X", rect.x);
    rect.y = LengthAttribute(node, "Y", rect.y);
    rect.width = LengthAttribute(node, "Width", rect.width);
    rect.height = LengthAttribute(node, "Height", rect.height);
    rect.on_page = Is(Trim(node->GetAttribute("Area")), "page");
    rect.line_pt = Number(node, "Line", 0, 0, 100);
    rect.line_color = ColorAttribute(node, "LineColor").value_or(Color{});
    rect.fill = ColorAttribute(node, "Fill");
    return rect;
  }

  const std::vector<NamedFont>& fonts_;
};

PaperSetup ReadPaper(const xml::XmlNode* node) {
  PaperSetup paper;
  const std::string_view size = Trim(node->GetAttribute("Size"));
  for (const PaperSize& known : kPaperSizes) {
    if (Is(size, known.name)) {
      paper.width_mm = known.width_mm;
      paper.height_mm = known.height_mm;
    }
  }
  paper.width_mm = Number(node, "Width", paper.width_mm, 20, 5000);
  paper.height_mm = Number(node, "Height", paper.height_mm, 20, 5000);
  if (Is(Trim(node->GetAttribute("Orientation")), "landscape") &&
      paper.width_mm < paper.height_mm) {
    std::swap(paper.width_mm, paper.height_mm);
  }
  const double margin = Number(node, "Margin", paper.margin_left_mm, 0, 1000);
  paper.margin_left_mm = Number(node, "MarginLeft", margin, 0, 1000);
  paper.margin_top_mm = Number(node, "MarginTop", margin, 0, 1000);
  paper.margin_right_mm = Number(node, "MarginRight", margin, 0, 1000);
  paper.margin_bottom_mm = Number(node, "MarginBottom", margin, 0, 1000);
  return paper;
}

}  // namespace

ResultCode PrintTemplate::Load(const fs::path& path) {
  const ResultCode code = design_.Load(path);
  if (code != platform::kOk) return Fail(code, webalbum::LoadFailureMessage(code, path.string()));
  return Read();
}

ResultCode PrintTemplate::LoadFromMemory(std::string bytes) {
  const ResultCode code = design_.LoadFromMemory(std::move(bytes));
  if (code != platform::kOk) {
    return Fail(code, webalbum::LoadFailureMessage(code, design_.path().string()));
  }
  return Read();
}

ResultCode PrintTemplate::Fail(ResultCode code, std::string_view message) {
  last_error_ = std::string(message);
  const size_t at = last_error_.find("%s");
  if (at != std::string::npos) last_error_.replace(at, 2, design_.path().string());
  pages_.clear();
  return code;
}

ResultCode PrintTemplate::Read() {
  last_error_.clear();
  pages_.clear();
  paper_ = {};
  name_ = design_.GetAttribute("Name");
  xml::XmlNode* root = design_.document()->FindPath(design_.root_name());
  std::vector<NamedFont> fonts;
  for (size_t i = 0; i < root->ChildCount(); ++i) {
    const xml::XmlNode* child = root->ChildAt(i);
    if (IsElement(child, "Paper")) paper_ = ReadPaper(child);
    if (IsElement(child, "Font")) {
      fonts.push_back({std::string(child->GetAttribute("Name")), ReadFont(child, FontSpec{})});
    }
  }
  PageReader reader(fonts);
  int spots = 0;
  for (size_t i = 0; i < root->ChildCount(); ++i) {
    if (!IsElement(root->ChildAt(i), "IndexPage")) continue;
    pages_.push_back(reader.Read(root->ChildAt(i)));
    spots += pages_.back().photo_count;
  }
  if (pages_.empty()) return Fail(webalbum::kInvalidArgument, kNoPageMessage);
  if (spots == 0) return Fail(webalbum::kInvalidArgument, kNoSpotMessage);
  return platform::kOk;
}

std::vector<fs::path> PrintTemplateFolders(const fs::path& program_folder,
                                           const fs::path& user_data_folder) {
  std::vector<fs::path> folders;
  if (!program_folder.empty()) folders.push_back(program_folder / kPrintTemplatesFolderName);
  if (!user_data_folder.empty()) folders.push_back(user_data_folder / kPrintTemplatesFolderName);
  return folders;
}

std::vector<webalbum::TemplateInfo> ListPrintTemplates(const std::vector<fs::path>& folders) {
  return webalbum::ListTemplates(folders, kPrintTemplateExtension);
}

}  // namespace quorvane::print
