// Header values with bytes above 127 travel as one RFC 2047 "Q" encoded word: the whole value,
// unfolded, whatever its length. Pure ASCII values are left alone.
#pragma once

#include <string>
#include <string_view>

namespace quorvane::mail {

// "=?<charset>?q?...?=" when any byte of `value` is above 127, else `value` unchanged. Blanks
// become "_"; "=", "?", "_" and bytes above 127 (and control bytes) become "=XX".
std::string EncodeHeaderValue(std::string_view value, std::string_view charset);

// Undoes EncodeHeaderValue for a value that is one whole encoded word ("q" or "Q"); any other
// value is returned unchanged.
std::string DecodeHeaderValue(std::string_view value);

// Dot-stuffing for the DATA stream: every LF followed by "." gets a second ".". A "." at the
// very start of `text` is left single.
std::string DotStuff(std::string_view text);

// Undoes DotStuff.
std::string DotUnstuff(std::string_view text);

}  // namespace quorvane::mail
