#include "print/text_metrics.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace quorvane::print {
namespace {

// Advance widths in thousandths of the font size for the WinAnsi codes 32..255, from the
// metrics of the standard Type 1 fonts (every conforming PDF reader has fonts of exactly these
// widths), so a line measured here is as long in the PDF as it is in the layout. Codes the
// encoding leaves undefined are 0; ToWinAnsi never produces them. Helvetica's oblique faces
// have the widths of the upright ones, so they have no rows of their own.
constexpr int kFirstCode = 32;
constexpr std::array<std::array<uint16_t, 224>, 6> kWidths = {{
    // Helvetica
    {278,  278, 355, 556, 556,  889, 667, 191, 333, 333, 389, 584,  278, 333,  278,  278,  556, 556,
     556,  556, 556, 556, 556,  556, 556, 556, 278, 278, 584, 584,  584, 556,  1015, 667,  667, 722,
     722,  667, 611, 778, 722,  278, 500, 667, 556, 833, 722, 778,  667, 778,  722,  667,  611, 722,
     667,  944, 667, 667, 611,  278, 278, 278, 469, 556, 333, 556,  556, 500,  556,  556,  278, 556,
     556,  222, 222, 500, 222,  833, 556, 556, 556, 556, 333, 500,  278, 556,  500,  722,  500, 500,
     500,  334, 260, 334, 584,  0,   556, 0,   222, 556, 333, 1000, 556, 556,  333,  1000, 667, 333,
     1000, 0,   611, 0,   0,    222, 222, 333, 333, 350, 556, 1000, 333, 1000, 500,  333,  944, 0,
     500,  667, 278, 333, 556,  556, 556, 556, 260, 556, 333, 737,  370, 556,  584,  333,  737, 333,
     400,  584, 333, 333, 333,  578, 537, 278, 333, 333, 365, 556,  834, 834,  834,  611,  667, 667,
     667,  667, 667, 667, 1000, 722, 667, 667, 667, 667, 278, 278,  278, 278,  722,  722,  778, 778,
     778,  778, 778, 584, 778,  722, 722, 722, 722, 667, 667, 611,  556, 556,  556,  556,  556, 556,
     889,  500, 556, 556, 556,  556, 278, 278, 278, 278, 556, 556,  556, 556,  556,  556,  556, 584,
     611,  556, 556, 556, 556,  500, 556, 500},
    // Helvetica-Bold
    {278,  333, 474, 556, 556,  889, 722, 238, 333, 333, 389, 584,  278, 333,  278, 278,  556, 556,
     556,  556, 556, 556, 556,  556, 556, 556, 333, 333, 584, 584,  584, 611,  975, 722,  722, 722,
     722,  667, 611, 778, 722,  278, 556, 722, 611, 833, 722, 778,  667, 778,  722, 667,  611, 722,
     667,  944, 667, 667, 611,  333, 278, 333, 584, 556, 333, 556,  611, 556,  611, 556,  333, 611,
     611,  278, 278, 556, 278,  889, 611, 611, 611, 611, 389, 556,  333, 611,  556, 778,  556, 556,
     500,  389, 280, 389, 584,  0,   556, 0,   278, 556, 500, 1000, 556, 556,  333, 1000, 667, 333,
     1000, 0,   611, 0,   0,    278, 278, 500, 500, 350, 556, 1000, 333, 1000, 556, 333,  944, 0,
     500,  667, 278, 333, 556,  556, 556, 556, 280, 556, 333, 737,  370, 556,  584, 333,  737, 333,
     400,  584, 333, 333, 333,  611, 556, 278, 333, 333, 365, 556,  834, 834,  834, 611,  722, 722,
     722,  722, 722, 722, 1000, 722, 667, 667, 667, 667, 278, 278,  278, 278,  722, 722,  778, 778,
     778,  778, 778, 584, 778,  722, 722, 722, 722, 667, 667, 611,  556, 556,  556, 556,  556, 556,
     889,  556, 556, 556, 556,  556, 278, 278, 278, 278, 611, 611,  611, 611,  611, 611,  611, 584,
     611,  611, 611, 611, 611,  556, 611, 556},
    // Times-Roman
    {250, 333, 408, 500, 500, 833, 778, 180, 333, 333, 500, 564,  250, 333, 250, 278,  500, 500,
     500, 500, 500, 500, 500, 500, 500, 500, 278, 278, 564, 564,  564, 444, 921, 722,  667, 667,
     722, 611, 556, 722, 722, 333, 389, 722, 611, 889, 722, 722,  556, 722, 667, 556,  611, 722,
     722, 944, 722, 722, 611, 333, 278, 333, 469, 500, 333, 444,  500, 444, 500, 444,  333, 500,
     500, 278, 278, 500, 278, 778, 500, 500, 500, 500, 333, 389,  278, 500, 500, 722,  500, 500,
     444, 480, 200, 480, 541, 0,   500, 0,   333, 500, 444, 1000, 500, 500, 333, 1000, 556, 333,
     889, 0,   611, 0,   0,   333, 333, 444, 444, 350, 500, 1000, 333, 980, 389, 333,  722, 0,
     444, 722, 250, 333, 500, 500, 500, 500, 200, 500, 333, 760,  276, 500, 564, 333,  760, 333,
     400, 564, 300, 300, 333, 510, 453, 250, 333, 300, 310, 500,  750, 750, 750, 444,  722, 722,
     722, 722, 722, 722, 889, 667, 611, 611, 611, 611, 333, 333,  333, 333, 722, 722,  722, 722,
     722, 722, 722, 564, 722, 722, 722, 722, 722, 722, 556, 500,  444, 444, 444, 444,  444, 444,
     667, 444, 444, 444, 444, 444, 278, 278, 278, 278, 500, 500,  500, 500, 500, 500,  500, 564,
     500, 500, 500, 500, 500, 500, 500, 500},
    // Times-Bold
    {250, 333, 555, 500, 500, 1000, 833,  278,  333, 333,  500, 570, 250,  333, 250, 278,
     500, 500, 500, 500, 500, 500,  500,  500,  500, 500,  333, 333, 570,  570, 570, 500,
     930, 722, 667, 722, 722, 667,  611,  778,  778, 389,  500, 778, 667,  944, 722, 778,
     611, 778, 722, 556, 667, 722,  722,  1000, 722, 722,  667, 333, 278,  333, 581, 500,
     333, 500, 556, 444, 556, 444,  333,  500,  556, 278,  333, 556, 278,  833, 556, 500,
     556, 556, 444, 389, 333, 556,  500,  722,  500, 500,  444, 394, 220,  394, 520, 0,
     500, 0,   333, 500, 500, 1000, 500,  500,  333, 1000, 556, 333, 1000, 0,   667, 0,
     0,   333, 333, 500, 500, 350,  500,  1000, 333, 1000, 389, 333, 722,  0,   444, 722,
     250, 333, 500, 500, 500, 500,  220,  500,  333, 747,  300, 500, 570,  333, 747, 333,
     400, 570, 300, 300, 333, 601,  540,  250,  333, 300,  330, 500, 750,  750, 750, 500,
     722, 722, 722, 722, 722, 722,  1000, 722,  667, 667,  667, 667, 389,  389, 389, 389,
     722, 722, 778, 778, 778, 778,  778,  570,  778, 722,  722, 722, 722,  722, 611, 556,
     500, 500, 500, 500, 500, 500,  722,  444,  444, 444,  444, 444, 278,  278, 278, 278,
     500, 556, 500, 500, 500, 500,  500,  570,  500, 556,  556, 556, 556,  500, 556, 500},
    // Times-Italic
    {250, 333, 420, 500, 500, 833, 778, 214, 333, 333, 500,  675, 250, 333, 250, 278, 500, 500, 500,
     500, 500, 500, 500, 500, 500, 500, 333, 333, 675, 675,  675, 500, 920, 611, 611, 667, 722, 611,
     611, 722, 722, 333, 444, 667, 556, 833, 667, 722, 611,  722, 611, 500, 556, 722, 611, 833, 611,
     556, 556, 389, 278, 389, 422, 500, 333, 500, 500, 444,  500, 444, 278, 500, 500, 278, 278, 444,
     278, 722, 500, 500, 500, 500, 389, 389, 278, 500, 444,  667, 444, 444, 389, 400, 275, 400, 541,
     0,   500, 0,   333, 500, 556, 889, 500, 500, 333, 1000, 500, 333, 944, 0,   556, 0,   0,   333,
     333, 556, 556, 350, 500, 889, 333, 980, 389, 333, 667,  0,   389, 556, 250, 389, 500, 500, 500,
     500, 275, 500, 333, 760, 276, 500, 675, 333, 760, 333,  400, 675, 300, 300, 333, 514, 523, 250,
     333, 300, 310, 500, 750, 750, 750, 500, 611, 611, 611,  611, 611, 611, 889, 667, 611, 611, 611,
     611, 333, 333, 333, 333, 722, 667, 722, 722, 722, 722,  722, 675, 722, 722, 722, 722, 722, 556,
     611, 500, 500, 500, 500, 500, 500, 500, 667, 444, 444,  444, 444, 444, 278, 278, 278, 278, 500,
     500, 500, 500, 500, 500, 500, 675, 500, 500, 500, 500,  500, 444, 500, 444},
    // Times-BoldItalic
    {250, 389, 555, 500, 500, 833, 778, 278, 333, 333, 500, 570,  250, 333,  250, 278,  500, 500,
     500, 500, 500, 500, 500, 500, 500, 500, 333, 333, 570, 570,  570, 500,  832, 667,  667, 667,
     722, 667, 667, 722, 778, 389, 500, 667, 611, 889, 722, 722,  611, 722,  667, 556,  611, 722,
     667, 889, 667, 611, 611, 333, 278, 333, 570, 500, 333, 500,  500, 444,  500, 444,  333, 500,
     556, 278, 278, 500, 278, 778, 556, 500, 500, 500, 389, 389,  278, 556,  444, 667,  500, 444,
     389, 348, 220, 348, 570, 0,   500, 0,   333, 500, 500, 1000, 500, 500,  333, 1000, 556, 333,
     944, 0,   611, 0,   0,   333, 333, 500, 500, 350, 500, 1000, 333, 1000, 389, 333,  722, 0,
     389, 611, 250, 389, 500, 500, 500, 500, 220, 500, 333, 747,  266, 500,  606, 333,  747, 333,
     400, 570, 300, 300, 333, 532, 500, 250, 333, 300, 300, 500,  750, 750,  750, 500,  667, 667,
     667, 667, 667, 667, 944, 667, 667, 667, 667, 667, 389, 389,  389, 389,  722, 722,  722, 722,
     722, 722, 722, 570, 722, 722, 722, 722, 722, 611, 611, 500,  500, 500,  500, 500,  500, 500,
     722, 444, 444, 444, 444, 444, 278, 278, 278, 278, 500, 556,  500, 500,  500, 500,  500, 570,
     500, 556, 556, 556, 556, 444, 500, 444},
}};

constexpr std::string_view kFontNames[kStandardFontCount] = {
    "Helvetica",   "Helvetica-Bold", "Helvetica-Oblique", "Helvetica-BoldOblique",
    "Times-Roman", "Times-Bold",     "Times-Italic",      "Times-BoldItalic",
    "Courier",     "Courier-Bold",   "Courier-Oblique",   "Courier-BoldOblique"};

// The characters of WinAnsi's codes 0x80..0x9F (0: undefined there).
constexpr char32_t kHighCodes[32] = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

// Base letters of U+0100..U+017F (Latin Extended-A), for the letters WinAnsi lacks.
constexpr std::string_view kLatinExtendedBase =
    "AaAaAaCcCcCcCcDdDdEeEeEeEeEeGgGgGgGgHhHhIiIiIiIiIiIiJjKkkLlLlLlLlLlNnNnNnnNnOoOoOoOoRrRrRrSs"
    "SsSsSsTtTtTtUuUuUuUuUuUuWwYyYZzZzZzs";
static_assert(kLatinExtendedBase.size() == 0x80);

constexpr unsigned char kEllipsis = 0x85;

// One character of UTF-8 at `*at`, which moves past it; U+FFFD for a malformed sequence.
char32_t NextCodePoint(std::string_view text, size_t* at) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(*at);
  int length = 1;
  char32_t value = lead;
  if (lead >= 0xF0 && lead < 0xF5) {
    length = 4;
    value = lead & 0x07;
  } else if (lead >= 0xE0) {
    length = lead < 0xF0 ? 3 : 0;
    value = lead & 0x0F;
  } else if (lead >= 0xC2) {
    length = 2;
    value = lead & 0x1F;
  } else if (lead >= 0x80) {
    length = 0;
  }
  if (length == 0 || *at + length > text.size()) {
    ++*at;
    return 0xFFFD;
  }
  for (int i = 1; i < length; ++i) {
    const unsigned char next = byte(*at + i);
    if ((next & 0xC0) != 0x80) {
      ++*at;
      return 0xFFFD;
    }
    value = (value << 6) | (next & 0x3F);
  }
  *at += length;
  return value;
}

// The WinAnsi byte for a character, or 0 when it has none.
unsigned char WinAnsiCode(char32_t c) {
  if ((c >= 0x20 && c < 0x7F) || (c >= 0xA0 && c <= 0xFF)) return static_cast<unsigned char>(c);
  for (int i = 0; i < 32; ++i) {
    if (kHighCodes[i] == c) return static_cast<unsigned char>(0x80 + i);
  }
  return 0;
}

void AppendUtf8(char32_t c, std::string* out) {
  if (c < 0x80) {
    out->push_back(static_cast<char>(c));
  } else if (c < 0x800) {
    out->push_back(static_cast<char>(0xC0 | (c >> 6)));
    out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else {
    out->push_back(static_cast<char>(0xE0 | (c >> 12)));
    out->push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
  }
}

double WidthOf(unsigned char code, int font) {
  if (font >= 8) return 600;  // Courier is fixed-pitch
  // Font numbers run Helvetica 0-3, Times 4-7; the rows leave out Helvetica's obliques (2, 3).
  const int row = font < 4 ? font % 2 : font - 2;
  return code < kFirstCode ? 0 : kWidths[row][code - kFirstCode];
}

double CharWidth(char c, const FontSpec& font) {
  return WidthOf(static_cast<unsigned char>(c), StandardFontIndex(font)) * font.size / 1000.0;
}

// Greedy filling of one paragraph's words into lines of `width`; widths are summed as the line
// grows, so even a huge paragraph takes one pass.
void WrapParagraph(std::string_view paragraph, const FontSpec& font, double width,
                   std::vector<std::string>* lines) {
  const double blank = CharWidth(' ', font);
  std::string current;
  double current_width = 0;
  size_t at = 0;
  bool any = false;
  while (at < paragraph.size()) {
    const size_t start = paragraph.find_first_not_of(' ', at);
    if (start == std::string_view::npos) break;
    size_t end = paragraph.find(' ', start);
    if (end == std::string_view::npos) end = paragraph.size();
    const std::string_view word = paragraph.substr(start, end - start);
    at = end;
    any = true;
    const double word_width = WinAnsiWidth(word, font);
    if (!current.empty() && current_width + blank + word_width <= width) {
      current += ' ';
      current += word;
      current_width += blank + word_width;
      continue;
    }
    if (!current.empty()) lines->push_back(std::move(current));
    current.clear();
    current_width = 0;
    // A word wider than the line is cut where it reaches the edge.
    for (const char c : word) {
      const double w = CharWidth(c, font);
      if (!current.empty() && current_width + w > width) {
        lines->push_back(std::move(current));
        current.clear();
        current_width = 0;
      }
      current += c;
      current_width += w;
    }
  }
  if (!current.empty() || !any) lines->push_back(std::move(current));
}

}  // namespace

int StandardFontIndex(const FontSpec& font) {
  return static_cast<int>(font.family) * 4 + (font.bold ? 1 : 0) + (font.italic ? 2 : 0);
}

std::string_view StandardFontName(int index) {
  return kFontNames[std::clamp(index, 0, kStandardFontCount - 1)];
}

std::string ToWinAnsi(std::string_view utf8) {
  std::string out;
  out.reserve(utf8.size());
  for (size_t at = 0; at < utf8.size();) {
    const char32_t c = NextCodePoint(utf8, &at);
    if (c == '\t' || c == '\n' || c == '\r') {
      out.push_back(' ');
    } else if (c < 0x20 || c == 0x7F || (c >= 0x80 && c < 0xA0)) {
      continue;
    } else if (const unsigned char code = WinAnsiCode(c); code != 0) {
      out.push_back(static_cast<char>(code));
    } else if (c >= 0x100 && c < 0x180) {
      out.push_back(kLatinExtendedBase[c - 0x100]);
    } else if (c == 0x2212 || c == 0x2010 || c == 0x2011) {
      out.push_back('-');
    } else {
      out.push_back('?');
    }
  }
  return out;
}

std::string FromWinAnsi(std::string_view winansi) {
  std::string out;
  out.reserve(winansi.size());
  for (const char byte : winansi) {
    const auto code = static_cast<unsigned char>(byte);
    const char32_t c = code >= 0x80 && code < 0xA0 ? kHighCodes[code - 0x80] : code;
    if (c != 0) AppendUtf8(c, &out);
  }
  return out;
}

double WinAnsiWidth(std::string_view winansi, const FontSpec& font) {
  const int index = StandardFontIndex(font);
  double total = 0;
  for (const char byte : winansi) total += WidthOf(static_cast<unsigned char>(byte), index);
  return total * font.size / 1000.0;
}

double TextWidth(std::string_view utf8, const FontSpec& font) {
  return WinAnsiWidth(ToWinAnsi(utf8), font);
}

std::vector<std::string> WrapText(std::string_view utf8, const FontSpec& font, double width,
                                  int max_lines) {
  std::vector<std::string> lines;
  if (utf8.find_first_not_of(" \t\r\n") == std::string_view::npos || width <= 0) return lines;
  size_t at = 0;
  while (at <= utf8.size()) {
    size_t end = utf8.find('\n', at);
    if (end == std::string_view::npos) end = utf8.size();
    WrapParagraph(ToWinAnsi(utf8.substr(at, end - at)), font, width, &lines);
    at = end + 1;
  }
  if (max_lines > 0 && lines.size() > static_cast<size_t>(max_lines)) {
    lines.resize(max_lines);
    std::string& last = lines.back();
    const char ellipsis = static_cast<char>(kEllipsis);
    double last_width = WinAnsiWidth(last, font) + CharWidth(ellipsis, font);
    while (!last.empty() && (last.back() == ' ' || last_width > width)) {
      last_width -= CharWidth(last.back(), font);
      last.pop_back();
    }
    last += ellipsis;
  }
  for (std::string& line : lines) line = FromWinAnsi(line);
  return lines;
}

}  // namespace quorvane::print
