#include "print/page_layout.h"

#include <algorithm>
#include <numeric>

namespace quorvane::print {
namespace {

double Points(double mm) { return mm * kPointsPerMillimetre; }

// How far a caption stands below its photo, in parts of the caption's font size.
constexpr double kCaptionGap = 0.35;

double Resolve(const Length& length, double origin, double extent) {
  return length.percent ? origin + extent * length.value / 100.0 : origin + Points(length.value);
}

double Extent(const Length& length, double extent) {
  return length.percent ? extent * length.value / 100.0 : Points(length.value);
}

// Splits `total` by `weights`; all-zero weights share equally.
std::vector<double> Shares(const std::vector<double>& weights, double total) {
  double sum = std::accumulate(weights.begin(), weights.end(), 0.0);
  std::vector<double> shares;
  for (const double weight : weights) {
    shares.push_back(sum > 0 ? total * weight / sum : total / static_cast<double>(weights.size()));
  }
  return shares;
}

class PageBuilder {
 public:
  PageBuilder(const webalbum::GalleryFacts& gallery, webalbum::ExpansionContext& context,
              PageLayout& page)
      : gallery_(gallery), context_(context), page_(page) {}

  std::vector<std::string> Lines(const TextItem& item, int photo, double width) {
    context_.photo = photo;
    const std::string text = webalbum::ExpandNodeText(context_, item.node, true);
    return WrapText(text, item.font, width, item.max_lines);
  }

  static double Gap(const TextItem& caption) { return caption.font.size * kCaptionGap; }

  static double Height(const TextItem& item, size_t lines) {
    return LineHeight(item.font) * static_cast<double>(lines);
  }

  void PlaceLines(const TextItem& item, const std::vector<std::string>& lines, const Rect& area) {
    for (size_t i = 0; i < lines.size(); ++i) {
      PlacedText text;
      text.text = lines[i];
      text.font = item.font;
      text.width = TextWidth(lines[i], item.font);
      text.x = item.align == Align::kLeft    ? area.left
               : item.align == Align::kRight ? area.right() - text.width
                                             : area.left + (area.width - text.width) / 2;
      text.baseline =
          area.top + LineHeight(item.font) * static_cast<double>(i) + BaselineOffset(item.font);
      page_.texts.push_back(std::move(text));
    }
  }

  void PlaceRow(const PhotoRow& row, const Rect& area, int* next_photo) {
    if (row.spots.empty()) return;
    const double spacing = Points(row.spacing_mm);
    const double usable =
        std::max(0.0, area.width - spacing * static_cast<double>(row.spots.size() - 1));
    std::vector<double> weights;
    for (const PhotoSpot& spot : row.spots) weights.push_back(spot.weight);
    const std::vector<double> widths = Shares(weights, usable);
    double x = area.left;
    for (size_t i = 0; i < row.spots.size(); ++i) {
      PlaceSpot(row.spots[i], Rect{x, area.top, widths[i], area.height}, (*next_photo)++);
      x += widths[i] + spacing;
    }
  }

 private:
  void PlaceSpot(const PhotoSpot& spot, const Rect& area, int photo) {
    if (photo >= static_cast<int>(gallery_.photos.size())) return;  // the album ran out
    if (spot.fill) page_.rects.push_back({area, 0, {}, spot.fill});
    const double padding = std::min(Points(spot.padding_mm), std::min(area.width, area.height) / 2);
    const Rect inner{area.left + padding, area.top + padding, area.width - 2 * padding,
                     area.height - 2 * padding};
    // Each caption that has lines stands a little below what comes before it.
    std::vector<std::vector<std::string>> captions;
    double captions_height = 0;
    for (const TextItem& caption : spot.captions) {
      captions.push_back(Lines(caption, photo, inner.width));
      if (!captions.back().empty())
        captions_height += Gap(caption) + Height(caption, captions.back().size());
    }
    captions_height = std::min(captions_height, inner.height);

    const Rect fit{inner.left, inner.top, inner.width, inner.height - captions_height};
    const webalbum::PhotoFacts& facts = gallery_.photos[photo];
    Rect placed = fit;
    if (facts.width > 0 && facts.height > 0 && fit.width > 0 && fit.height > 0) {
      const double aspect = static_cast<double>(facts.width) / facts.height;
      if (fit.width / fit.height > aspect) {
        placed.width = fit.height * aspect;
      } else {
        placed.height = fit.width / aspect;
      }
      placed.left += (fit.width - placed.width) / 2;
      const double slack = fit.height - placed.height;
      placed.top += spot.valign == VerticalAlign::kTop      ? 0
                    : spot.valign == VerticalAlign::kBottom ? slack
                                                            : slack / 2;
    }
    double y = placed.bottom();
    for (size_t i = 0; i < captions.size(); ++i) {
      if (captions[i].empty()) continue;
      const double height = Height(spot.captions[i], captions[i].size());
      y += Gap(spot.captions[i]);
      PlaceLines(spot.captions[i], captions[i], Rect{inner.left, y, inner.width, height});
      y += height;
    }
    if (placed.width <= 0 || placed.height <= 0) return;
    if (spot.frame_pt > 0) {
      const double half = spot.frame_pt / 2;
      page_.rects.push_back({Rect{placed.left - half, placed.top - half, placed.width + 2 * half,
                                  placed.height + 2 * half},
                             spot.frame_pt, spot.frame_color, std::nullopt});
    }
    page_.photos.push_back({photo, fit, placed});
  }

  const webalbum::GalleryFacts& gallery_;
  webalbum::ExpansionContext& context_;
  PageLayout& page_;
};

void LayOutPage(const PageTemplate& page_template, const Rect& sheet, const Rect& content,
                PageBuilder& builder, PageLayout& page, int first_photo, int photo_count) {
  // The page's own texts speak of its first photo, so a page of one photo can describe it.
  const int page_photo =
      page_template.photo_count > 0 && first_photo < photo_count ? first_photo : -1;
  for (const RectItem& item : page_template.rects) {
    const Rect& area = item.on_page ? sheet : content;
    const Rect rect{Resolve(item.x, area.left, area.width), Resolve(item.y, area.top, area.height),
                    Extent(item.width, area.width), Extent(item.height, area.height)};
    if (rect.width > 0 && rect.height > 0 && (item.line_pt > 0 || item.fill)) {
      page.rects.push_back({rect, item.line_pt, item.line_color, item.fill});
    }
  }
  const double spacing = Points(page_template.spacing_mm);
  Rect flow = content;
  if (page_template.header) {
    const auto lines = builder.Lines(*page_template.header, page_photo, content.width);
    const double height = PageBuilder::Height(*page_template.header, lines.size());
    builder.PlaceLines(*page_template.header, lines, Rect{flow.left, flow.top, flow.width, height});
    if (height > 0) {
      flow.top += height + spacing;
      flow.height -= height + spacing;
    }
  }
  if (page_template.footer) {
    const auto lines = builder.Lines(*page_template.footer, page_photo, content.width);
    const double height = PageBuilder::Height(*page_template.footer, lines.size());
    builder.PlaceLines(*page_template.footer, lines,
                       Rect{flow.left, content.bottom() - height, flow.width, height});
    if (height > 0) flow.height -= height + spacing;
  }

  // Text items keep their natural height; rows share what is left by their weights.
  std::vector<std::vector<std::string>> text_lines(page_template.flow.size());
  double fixed = spacing * static_cast<double>(std::max<size_t>(page_template.flow.size(), 1) - 1);
  std::vector<double> weights;
  for (size_t i = 0; i < page_template.flow.size(); ++i) {
    const FlowItem& item = page_template.flow[i];
    if (item.text) {
      text_lines[i] = builder.Lines(*item.text, page_photo, flow.width);
      fixed += PageBuilder::Height(*item.text, text_lines[i].size());
    } else {
      weights.push_back(item.row.weight);
    }
  }
  const std::vector<double> row_heights = Shares(weights, std::max(0.0, flow.height - fixed));
  double y = flow.top;
  int next_photo = first_photo;
  size_t row = 0;
  for (size_t i = 0; i < page_template.flow.size(); ++i) {
    const FlowItem& item = page_template.flow[i];
    double height = 0;
    if (item.text) {
      height = PageBuilder::Height(*item.text, text_lines[i].size());
      builder.PlaceLines(*item.text, text_lines[i], Rect{flow.left, y, flow.width, height});
    } else {
      height = row_heights[row++];
      builder.PlaceRow(item.row, Rect{flow.left, y, flow.width, height}, &next_photo);
    }
    y += height + spacing;
  }
}

}  // namespace

PageSize PaperSize(const PaperSetup& paper) {
  return {Points(paper.width_mm), Points(paper.height_mm)};
}

int CountPages(const PrintTemplate& print_template, int photo_count) {
  const auto& pages = print_template.pages();
  if (pages.empty()) return 1;
  int count = 0;
  for (int placed = 0; placed < photo_count; ++count) {
    placed += pages[static_cast<size_t>(count) % pages.size()].photo_count;
  }
  return std::max(count, 1);
}

std::vector<PageLayout> LayoutPages(const PrintTemplate& print_template,
                                    const webalbum::GalleryFacts& gallery, PageSize size,
                                    const webalbum::NamedValues& variables) {
  std::vector<PageLayout> layouts;
  const auto& pages = print_template.pages();
  if (pages.empty() || size.width <= 0 || size.height <= 0) return layouts;
  const PaperSetup& paper = print_template.paper();
  const auto margin = [](double mm, double extent) { return std::min(Points(mm), extent * 0.4); };
  const Rect sheet{0, 0, size.width, size.height};
  const double left = margin(paper.margin_left_mm, size.width);
  const double top = margin(paper.margin_top_mm, size.height);
  const Rect content{left, top, size.width - left - margin(paper.margin_right_mm, size.width),
                     size.height - top - margin(paper.margin_bottom_mm, size.height)};

  const int count = CountPages(print_template, static_cast<int>(gallery.photos.size()));
  webalbum::ExpansionContext context;
  context.gallery = &gallery;
  context.index_page_count = count;
  int first_photo = 0;
  for (int k = 0; k < count; ++k) {
    const PageTemplate& page_template = pages[static_cast<size_t>(k) % pages.size()];
    context.index_page = k;
    context.user_variables = variables;
    webalbum::SetNamed(context.user_variables, "PageNum", std::to_string(k + 1));
    webalbum::SetNamed(context.user_variables, "PageCount", std::to_string(count));
    context.defined_names.clear();
    context.SetPage(page_template.node);
    PageLayout& page = layouts.emplace_back();
    page.size = size;
    PageBuilder builder(gallery, context, page);
    LayOutPage(page_template, sheet, content, builder, page, first_photo,
               static_cast<int>(gallery.photos.size()));
    first_photo += page_template.photo_count;
  }
  return layouts;
}

}  // namespace quorvane::print
