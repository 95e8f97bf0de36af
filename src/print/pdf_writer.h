// A small PDF writer of our own for printed albums: pages of laid-out rectangles, JPEG photos
// (image XObjects with DCTDecode, embedded as given) and text in the standard Type 1 fonts with
// WinAnsiEncoding. Objects are streamed to the file as they are made, so a long album never
// sits in memory, and the file appears whole or not at all (platform's atomic write).
//
// Thread-compatible: one writer, one thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_util.h"
#include "print/page_layout.h"

namespace quorvane::print {

// What a JPEG's frame header says; false when `jpeg` has none.
struct JpegFrame {
  int width = 0;
  int height = 0;
  int components = 0;  // 1 grey, 3 colour, 4 CMYK
};
bool ReadJpegFrame(std::string_view jpeg, JpegFrame* frame);

class PdfWriter {
 public:
  // Starts the document at `path`; nothing is in place there until Finish. Each call below
  // returns false (or 0) with *error set on failure; the target is then left untouched.
  [[nodiscard]] bool Open(const std::filesystem::path& path, std::string* error);
  // Writes a JPEG image now and returns its object number for AddPage.
  int AddJpeg(std::string_view jpeg, std::string* error);
  // Writes one page. `images[i]` is the object of page.photos[i] (0: that photo is not drawn).
  [[nodiscard]] bool AddPage(const PageLayout& page, const std::vector<int>& images,
                             std::string* error);
  // Writes the fonts, the page tree, the catalogue, the document information (`title`) and
  // the cross-reference table, and puts the file in place.
  [[nodiscard]] bool Finish(std::string_view title, std::string* error);
  // Drops the document; the target stays as it was.
  void Discard();

 private:
  int NewObject();
  void BeginObject(int id);
  void Emit(std::string_view bytes);
  bool Flush(std::string* error);
  int FontObject(int font_index);

  platform::AtomicFile file_;
  std::string buffer_;
  uint64_t offset_ = 0;            // bytes emitted so far
  std::vector<uint64_t> offsets_;  // per object number; [0] is the free list's head
  std::vector<int> pages_;
  int fonts_[kStandardFontCount] = {};
};

}  // namespace quorvane::print
