// Quoted-printable for text parts, in the two passes the mail format here has always used:
// escape the bytes that may not travel as they are, then cut lines longer than 77 characters
// with soft breaks that never split an escape.
#pragma once

#include <string>
#include <string_view>

namespace quorvane::mail {

// First pass: printable ASCII 33..126 other than "=", CR, LF, tab and blank are copied; every
// other byte becomes "=" and two upper-case hexadecimal digits. Trailing blanks stay as they are.
std::string QuotedPrintableEscape(std::string_view text);

// Second pass over escaped text: a line runs to its CR or LF (kept) or to the end; a line longer
// than 77 characters is cut after its last blank or tab within the first 77, else after the last
// whole escape, else after 77 characters, and the piece is followed by "=" CRLF.
std::string QuotedPrintableWrap(std::string_view escaped);

// Both passes.
std::string QuotedPrintableEncode(std::string_view text);

// Removes soft breaks ("=" CRLF or "=" LF) and turns "=XX" back into its byte; an "=" that starts
// no valid escape is kept as it is.
std::string QuotedPrintableDecode(std::string_view encoded);

}  // namespace quorvane::mail
