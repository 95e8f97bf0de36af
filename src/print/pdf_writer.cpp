#include "print/pdf_writer.h"

#include <charconv>
#include <cmath>
#include <cstdio>

#include "print/page_canvas.h"

namespace quorvane::print {
namespace {

constexpr int kCatalogObject = 1;
constexpr int kPagesObject = 2;
constexpr size_t kFlushSize = 1 << 16;

// A number as PDF writes it: locale-independent, at most three decimals, no trailing zeros.
std::string Num(double value) {
  if (!std::isfinite(value)) value = 0;
  char text[48];
  auto [end, ec] = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 3);
  if (ec != std::errc()) return "0";
  std::string out(text, end);
  if (out.find('.') != std::string::npos) {
    while (out.back() == '0') out.pop_back();
    if (out.back() == '.') out.pop_back();
  }
  return out == "-0" ? "0" : out;
}

std::string ColorOperands(const Color& color) {
  return Num(color.r / 255.0) + " " + Num(color.g / 255.0) + " " + Num(color.b / 255.0);
}

// A literal string of bytes: parentheses and backslashes escaped, the rest octal when not
// printable ASCII.
std::string Literal(std::string_view bytes) {
  std::string out = "(";
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '(' || c == ')' || c == '\\') {
      out += '\\';
      out += c;
    } else if (byte < 0x20 || byte >= 0x7F) {
      char octal[5];
      std::snprintf(octal, sizeof octal, "\\%03o", byte);
      out += octal;
    } else {
      out += c;
    }
  }
  return out + ")";
}

std::string Ref(int id) { return std::to_string(id) + " 0 R"; }

}  // namespace

bool ReadJpegFrame(std::string_view jpeg, JpegFrame* frame) {
  const auto at = [&](size_t i) { return static_cast<unsigned char>(jpeg[i]); };
  if (jpeg.size() < 4 || at(0) != 0xFF || at(1) != 0xD8) return false;
  size_t pos = 2;
  while (pos + 4 <= jpeg.size()) {
    if (at(pos) != 0xFF) return false;
    const unsigned char marker = at(pos + 1);
    if (marker == 0xFF) {  // fill byte
      ++pos;
      continue;
    }
    const size_t length = (static_cast<size_t>(at(pos + 2)) << 8) | at(pos + 3);
    const bool frame_marker =
        marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
    if (frame_marker) {
      if (length < 8 || pos + 10 > jpeg.size()) return false;
      frame->height = (at(pos + 5) << 8) | at(pos + 6);
      frame->width = (at(pos + 7) << 8) | at(pos + 8);
      frame->components = at(pos + 9);
      return frame->width > 0 && frame->height > 0 &&
             (frame->components == 1 || frame->components == 3 || frame->components == 4);
    }
    if (marker == 0xDA || marker == 0xD9 || length < 2) return false;
    pos += 2 + length;
  }
  return false;
}

bool PdfWriter::Open(const std::filesystem::path& path, std::string* error) {
  buffer_.clear();
  offset_ = 0;
  offsets_.assign(3, 0);  // the free head, the catalogue and the page tree
  pages_.clear();
  std::fill(std::begin(fonts_), std::end(fonts_), 0);
  if (!file_.Open(path, error)) return false;
  // The binary comment tells transfer programs that the file is not text.
  Emit("%PDF-1.4\n%\xE2\xE3\xCF\xD3\n");
  return true;
}

int PdfWriter::NewObject() {
  offsets_.push_back(0);
  return static_cast<int>(offsets_.size() - 1);
}

void PdfWriter::BeginObject(int id) {
  offsets_[static_cast<size_t>(id)] = offset_;
  Emit(std::to_string(id) + " 0 obj\n");
}

void PdfWriter::Emit(std::string_view bytes) {
  buffer_.append(bytes);
  offset_ += bytes.size();
}

bool PdfWriter::Flush(std::string* error) {
  if (buffer_.empty()) return true;
  const bool written = file_.Write(buffer_.data(), buffer_.size(), error);
  buffer_.clear();
  return written;
}

int PdfWriter::FontObject(int font_index) {
  int& id = fonts_[font_index];
  if (id == 0) id = NewObject();
  return id;
}

int PdfWriter::AddJpeg(std::string_view jpeg, std::string* error) {
  JpegFrame frame;
  if (!ReadJpegFrame(jpeg, &frame)) {
    *error = "The photo could not be embedded: its JPEG data has no frame header.";
    return 0;
  }
  const char* space = frame.components == 1   ? "/DeviceGray"
                      : frame.components == 4 ? "/DeviceCMYK"
                                              : "/DeviceRGB";
  const int id = NewObject();
  BeginObject(id);
  Emit("<< /Type /XObject /Subtype /Image /Width " + std::to_string(frame.width) + " /Height " +
       std::to_string(frame.height) + " /ColorSpace " + space +
       " /BitsPerComponent 8 /Filter /DCTDecode /Length " + std::to_string(jpeg.size()) +
       " >>\nstream\n");
  if (!Flush(error)) return 0;
  if (!file_.Write(jpeg.data(), jpeg.size(), error)) return 0;
  offset_ += jpeg.size();
  Emit("\nendstream\nendobj\n");
  return Flush(error) ? id : 0;
}

namespace {

// A page's content stream: PDF's origin is the sheet's bottom-left corner, the layout's its
// top-left one.
class ContentCanvas : public PageCanvas {
 public:
  ContentCanvas(double height, const std::vector<int>& images) : height_(height), images_(images) {}

  void DrawRect(const PlacedRect& item) override {
    const Rect& r = item.rect;
    content += "q ";
    if (item.fill) content += ColorOperands(*item.fill) + " rg ";
    if (item.line_width > 0) {
      content += Num(item.line_width) + " w " + ColorOperands(item.line_color) + " RG ";
    }
    content += Num(r.left) + " " + Num(height_ - r.bottom()) + " " + Num(r.width) + " " +
               Num(r.height) + " re ";
    content += item.fill ? (item.line_width > 0 ? "B" : "f") : "S";
    content += " Q\n";
  }

  void DrawPhoto(size_t index, const PlacedPhoto& photo) override {
    if (index >= images_.size() || images_[index] == 0) return;
    const Rect& r = photo.placed;
    const std::string name = "/Im" + std::to_string(images_[index]);
    content += "q " + Num(r.width) + " 0 0 " + Num(r.height) + " " + Num(r.left) + " " +
               Num(height_ - r.bottom()) + " cm " + name + " Do Q\n";
    xobjects += name + " " + Ref(images_[index]) + " ";
  }

  void DrawText(const PlacedText& text) override {
    const int font = StandardFontIndex(text.font);
    used[font] = true;
    content += "BT /F" + std::to_string(font) + " " + Num(text.font.size) + " Tf " +
               ColorOperands(text.font.color) + " rg " + Num(text.x) + " " +
               Num(height_ - text.baseline) + " Td " + Literal(ToWinAnsi(text.text)) + " Tj ET\n";
  }

  std::string content;
  std::string xobjects;
  bool used[kStandardFontCount] = {};

 private:
  double height_;
  const std::vector<int>& images_;
};

}  // namespace

bool PdfWriter::AddPage(const PageLayout& page, const std::vector<int>& images,
                        std::string* error) {
  ContentCanvas canvas(page.size.height, images);
  DrawPage(page, canvas);
  const std::string& content = canvas.content;
  const std::string& xobjects = canvas.xobjects;
  const bool* used = canvas.used;
  std::string fonts;
  for (int i = 0; i < kStandardFontCount; ++i) {
    if (used[i]) fonts += "/F" + std::to_string(i) + " " + Ref(FontObject(i)) + " ";
  }

  const int contents = NewObject();
  BeginObject(contents);
  Emit("<< /Length " + std::to_string(content.size()) + " >>\nstream\n");
  Emit(content);
  Emit("endstream\nendobj\n");
  const int id = NewObject();
  BeginObject(id);
  Emit("<< /Type /Page /Parent " + Ref(kPagesObject) + " /MediaBox [0 0 " + Num(page.size.width) +
       " " + Num(page.size.height) + "] /Resources << /ProcSet [/PDF " +
       "/Text /ImageB /ImageC] /Font << " + fonts + ">> /XObject << " + xobjects +
       ">> >> /Contents " + Ref(contents) + " >>\nendobj\n");
  pages_.push_back(id);
  return buffer_.size() < kFlushSize || Flush(error);
}

bool PdfWriter::Finish(std::string_view title, std::string* error) {
  for (int i = 0; i < kStandardFontCount; ++i) {
    if (fonts_[i] == 0) continue;
    BeginObject(fonts_[i]);
    Emit("<< /Type /Font /Subtype /Type1 /BaseFont /" + std::string(StandardFontName(i)) +
         " /Encoding /WinAnsiEncoding >>\nendobj\n");
  }
  BeginObject(kPagesObject);
  std::string kids;
  for (const int page : pages_) kids += Ref(page) + " ";
  Emit("<< /Type /Pages /Kids [" + kids + "] /Count " + std::to_string(pages_.size()) +
       " >>\nendobj\n");
  BeginObject(kCatalogObject);
  Emit("<< /Type /Catalog /Pages " + Ref(kPagesObject) + " >>\nendobj\n");
  // Document information is PDFDocEncoding, which differs from WinAnsi in 0x80..0x9F.
  std::string info_title = ToWinAnsi(title);
  for (char& c : info_title) {
    if (static_cast<unsigned char>(c) >= 0x80 && static_cast<unsigned char>(c) < 0xA0) c = '?';
  }
  const int info = NewObject();
  BeginObject(info);
  Emit("<< /Title " + Literal(info_title) + " /Producer (Quorvane) >>\nendobj\n");

  const uint64_t xref = offset_;
  Emit("xref\n0 " + std::to_string(offsets_.size()) + "\n0000000000 65535 f\r\n");
  for (size_t id = 1; id < offsets_.size(); ++id) {
    char entry[24];
    std::snprintf(entry, sizeof entry, "%010llu 00000 n\r\n",
                  static_cast<unsigned long long>(offsets_[id]));
    Emit(entry);
  }
  Emit("trailer\n<< /Size " + std::to_string(offsets_.size()) + " /Root " + Ref(kCatalogObject) +
       " /Info " + Ref(info) + " >>\nstartxref\n" + std::to_string(xref) + "\n%%EOF\n");
  return Flush(error) && file_.Commit(platform::Flush::kNow, error);
}

void PdfWriter::Discard() {
  buffer_.clear();
  file_.Discard();
}

}  // namespace quorvane::print
