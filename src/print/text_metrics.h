// Text as printed pages show it: the standard Type 1 fonts every PDF reader has (Helvetica,
// Times and Courier, each plain, bold, italic and bold italic), their widths, the conversion of
// the program's UTF-8 texts to the fonts' WinAnsiEncoding, and line wrapping. The layout
// measures with these widths so that what it places fits exactly where the PDF draws it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quorvane::print {

struct Color {
  uint8_t r = 0;
  uint8_t g = 0;
  uint8_t b = 0;
  friend bool operator==(const Color&, const Color&) = default;
};

enum class FontFamily { kHelvetica, kTimes, kCourier };

struct FontSpec {
  FontFamily family = FontFamily::kHelvetica;
  double size = 10;  // points
  bool bold = false;
  bool italic = false;
  Color color;
  friend bool operator==(const FontSpec&, const FontSpec&) = default;
};

// 0..11, one per family and style: the font's slot in a document's font table.
int StandardFontIndex(const FontSpec& font);
inline constexpr int kStandardFontCount = 12;
// The PostScript name of slot `index` ("Helvetica-BoldOblique").
std::string_view StandardFontName(int index);

// The text in WinAnsiEncoding, one byte per character. Characters the encoding lacks become
// their base letter where they have one ("Ł" -> "L", "ő" -> "o"), else "?"; tabs and line
// breaks become blanks, other control characters and malformed UTF-8 are dropped or "?".
std::string ToWinAnsi(std::string_view utf8);
// WinAnsi bytes back to UTF-8.
std::string FromWinAnsi(std::string_view winansi);

// Width in points of WinAnsi bytes set in `font`.
double WinAnsiWidth(std::string_view winansi, const FontSpec& font);
// Width in points of a UTF-8 text as ToWinAnsi prints it.
double TextWidth(std::string_view utf8, const FontSpec& font);

// The height of one line, and where the baseline lies below the line's top.
inline double LineHeight(const FontSpec& font) { return font.size * 1.2; }
inline double BaselineOffset(const FontSpec& font) { return font.size * 0.92; }

// Breaks `utf8` into lines no wider than `width` points: at line breaks in the text, then at
// blanks, and inside words longer than a line. With more than `max_lines` lines, the last one
// kept ends in an ellipsis. Lines come back as UTF-8 of what will be printed (ToWinAnsi applied).
std::vector<std::string> WrapText(std::string_view utf8, const FontSpec& font, double width,
                                  int max_lines);

}  // namespace quorvane::print
