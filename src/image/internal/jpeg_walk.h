// Reading a JPEG's segments without libjpeg: whether the data reaches its end-of-image marker,
// and the DC coefficients of a progressive file alone, one average per 8 x 8 block, which is all
// a picture at 1/8 scale needs. libjpeg keeps every coefficient of a progressive picture while it
// decodes (two bytes per sample: 900 MB for a 150-megapixel photo); this keeps one per block.
// Internal to src/image; any bytes are safe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <vector>

namespace quorvane::image::internal {

// Reads a file or memory front to back, in blocks.
class ByteScanner {
 public:
  ByteScanner(const uint8_t* data, size_t size) : next_(data), end_(data + size) {}
  explicit ByteScanner(std::FILE* file) : file_(file), buffer_(64 * 1024) {}

  int Get() { return next_ < end_ || Refill() ? *next_++ : -1; }
  // False when the data ends first.
  bool Skip(size_t count);
  // Moves past the next 0xFF byte; false when there is none.
  bool SkipPastFF();

 private:
  bool Refill();

  std::FILE* file_ = nullptr;
  std::vector<uint8_t> buffer_;
  const uint8_t* next_ = nullptr;
  const uint8_t* end_ = nullptr;
};

// True when the data runs on to the end-of-image marker, which a full decode must reach: the
// segments are walked and scan data skipped without decoding it. False for a file cut short.
bool ReachesEndOfImage(ByteScanner& in);

// The frame as libjpeg read it from the header: its size and components in file order.
struct JpegFrame {
  int width = 0;
  int height = 0;
  int components = 0;  // 1 (grey) or 3
  bool ycc = false;    // three components in YCbCr, turned into RGB
  struct Component {
    int id = 0;
    int h = 1;  // sampling factors
    int v = 1;
    int quant_table = 0;
  } component[3];
};

enum class DcDecode {
  kDone,
  kCutShort,  // the data ends before the end-of-image marker
  kDeclined,  // not a progressive Huffman-coded frame this decoder takes
};

// Decodes `in` (from its first byte) at 1/8 scale: ceil(width / 8) x ceil(height / 8) RGB pixels
// into *rgb, each block's average as libjpeg's 1/8 scale gives it, colour planes repeated up to
// the luma's resolution. Reads every DC scan, first and refining, skips the others and walks on
// to the end-of-image marker. Holds its memory from the shared decode budget while it runs
// (kDeclined when the budget refuses it).
DcDecode DecodeDcScans(ByteScanner& in, const JpegFrame& frame, std::vector<uint8_t>* rgb);

}  // namespace quorvane::image::internal
