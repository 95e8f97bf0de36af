// The five-character entity encoding of XML text and attribute values, with the system's own
// entity table ("&#039;" is what an apostrophe becomes; "&nbsp;" decodes to a plain space).
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace quorvane::xml {

// DecodeEntities flags.
inline constexpr int kDecodeLineEnds = 1;    // a lone line feed becomes CR LF
inline constexpr int kDecodeTagHandOff = 2;  // decoded "<...>" runs go to the tag handler

// Receives a decoded tag, "<" and ">" included; its result replaces the tag, and no result
// drops it.
using TagHandler = std::function<std::optional<std::string>(std::string_view tag)>;

// Letters, digits and white space are copied; &, ", ', <, > become entities; other bytes
// (UTF-8 sequences included) are copied unchanged.
std::string EncodeEntities(std::string_view plain);

// Replaces the table's entities by their characters. An unknown name (or a numeric reference
// other than #039) is kept as "&name;", and an "&" with no ";" after it takes the rest of
// the text as its name.
std::string DecodeEntities(std::string_view encoded, int flags = 0,
                           const TagHandler* tag_handler = nullptr);
// DecodeEntities(encoded) appended to *out, for callers that reuse one buffer.
void AppendDecodedEntities(std::string_view encoded, std::string* out);

}  // namespace quorvane::xml
