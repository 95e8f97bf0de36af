// Base64 in the standard alphabet with "=" padding: the transfer encoding of attachments and
// of the SMTP log-in dialogues. The encoder works in pieces so a large file is encoded while
// it is read, never held whole.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quorvane::mail {

// The whole of `bytes` on one line, padded. Never fails.
std::string Base64Encode(std::string_view bytes);

// Decodes `text`, skipping CR, LF, blanks and tabs; stops at the first "=". Returns false (and
// leaves *out with what was decoded so far) on a character outside the alphabet.
bool Base64Decode(std::string_view text, std::string* out);

// Appends the encoding of `bytes` cut into lines of 76 characters, each followed by CRLF (the
// last, shorter one too). Meant to be called on pieces of one stream: every piece but the last
// must be a multiple of 57 bytes long so that lines never straddle pieces.
void AppendBase64Lines(std::string_view bytes, std::string* out);

// The number of bytes AppendBase64Lines adds for `size` input bytes.
size_t Base64LinesSize(size_t size);

}  // namespace quorvane::mail
