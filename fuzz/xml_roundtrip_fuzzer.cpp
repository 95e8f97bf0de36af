// Parses arbitrary bytes under any combination of parse flags (the first byte), writes the
// tree back with every write flag, runs path lookups (with creation) on it, and checks that
// entity encoding and decoding are inverse.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "xml/entities.h"
#include "xml/xml_document.h"

using namespace quorvane::xml;

namespace {

std::string Write(const XmlNode& node, int flags) {
  ByteBuffer out;
  WriteXml(node, out, flags);
  return out.Detach();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const unsigned parse_flags = data[0] & 127;
  const std::string_view input(reinterpret_cast<const char*>(data) + 1, size - 1);

  XmlDocument document;
  document.set_parse_flags(parse_flags);
  ByteBuffer in(input);
  document.Parse(in);
  Write(document, kWriteQuoteAttributes);
  Write(document, 0);
  Write(document, kWriteContentOnly);

  for (const char* path : {"a", "a.b[1].#text", "@x", "*.@y", "a[2].b.#comment", "#text"}) {
    document.FindPath(path, kPathMatchLocalName);
  }
  if (XmlNode* first = document.ChildAt(0)) {
    first->FindPath("new[3].#text", kPathCreate);
    first->FindPath("x.@attr", kPathCreate);
    DecodeEntities(first->value(), kDecodeLineEnds);
  }
  // Encoding then decoding gives back any text, bytes of every value included.
  if (DecodeEntities(EncodeEntities(input)) != input) std::abort();
  return 0;
}
