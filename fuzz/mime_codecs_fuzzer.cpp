// Every MIME codec on arbitrary bytes: encoding never crashes, decoding gives the bytes back,
// and no quoted-printable line grows past 77 characters and its soft-break "=".
#include <cstdint>
#include <cstdlib>
#include <string>

#include "mail/mime/base64.h"
#include "mail/mime/header_encoding.h"
#include "mail/mime/quoted_printable.h"

using namespace quorvane::mail;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);

  const std::string qp = QuotedPrintableEncode(bytes);
  if (QuotedPrintableDecode(qp) != bytes) std::abort();
  size_t line = 0;
  for (const char c : qp) {
    line = c == '\r' || c == '\n' ? 0 : line + 1;
    if (line > 78) std::abort();
  }
  (void)QuotedPrintableDecode(bytes);

  std::string lines;
  AppendBase64Lines(bytes, &lines);
  if (lines.size() != Base64LinesSize(size)) std::abort();
  std::string back;
  if (!Base64Decode(lines, &back) || back != bytes) std::abort();
  back.clear();
  (void)Base64Decode(bytes, &back);

  const std::string word = EncodeHeaderValue(bytes, "iso-8859-1");
  if (word != bytes && DecodeHeaderValue(word) != bytes) std::abort();
  (void)DecodeHeaderValue(bytes);

  if (DotUnstuff(DotStuff(bytes)) != bytes) std::abort();
  return 0;
}
