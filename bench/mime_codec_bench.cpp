// Encodes a file to stdout with the mail codecs: base64 streamed in whole lines from pieces of
// the file, as an attachment is sent, and quoted-printable a piece of whole lines at a time.
// Timed from outside beside the system's base64 tool.
// Usage: mime_codec_bench base64|qp FILE
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "mail/mime/base64.h"
#include "mail/mime/quoted_printable.h"

namespace {

// A whole number of 57-byte input lines, so the streamed lines never straddle pieces.
constexpr size_t kPiece = 57 * 8192;

bool WriteAll(const std::string& text) {
  return std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
}

int EncodeBase64(std::FILE* in) {
  std::vector<char> piece(kPiece);
  std::string out;
  for (;;) {
    size_t got = 0;
    while (got < kPiece) {
      const size_t n = std::fread(piece.data() + got, 1, kPiece - got, in);
      if (n == 0) break;
      got += n;
    }
    if (got == 0) break;
    out.clear();
    quorvane::mail::AppendBase64Lines(std::string_view(piece.data(), got), &out);
    if (!WriteAll(out)) return 1;
    if (got < kPiece) break;
  }
  return 0;
}

// Text is encoded a piece of whole lines at a time: lines are encoded independently of each
// other, so the pieces come out as the whole text would.
int EncodeQuotedPrintable(std::FILE* in) {
  std::vector<char> piece(1 << 16);
  std::string carried;
  for (size_t n; (n = std::fread(piece.data(), 1, piece.size(), in)) > 0;) {
    carried.append(piece.data(), n);
    const size_t last_line_end = carried.find_last_of('\n');
    if (last_line_end == std::string::npos) continue;
    if (!WriteAll(quorvane::mail::QuotedPrintableEncode(
            std::string_view(carried).substr(0, last_line_end + 1)))) {
      return 1;
    }
    carried.erase(0, last_line_end + 1);
  }
  return WriteAll(quorvane::mail::QuotedPrintableEncode(carried)) ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3 || (std::strcmp(argv[1], "base64") != 0 && std::strcmp(argv[1], "qp") != 0)) {
    std::fprintf(stderr, "usage: mime_codec_bench base64|qp FILE\n");
    return 2;
  }
  std::FILE* in = std::fopen(argv[2], "rb");
  if (in == nullptr) {
    std::perror(argv[2]);
    return 1;
  }
  const int rc = std::strcmp(argv[1], "base64") == 0 ? EncodeBase64(in) : EncodeQuotedPrintable(in);
  std::fclose(in);
  return rc;
}
