// Numbers and sizes as people type them on a command line or in a dialog: locale-independent,
// whole-text (no trailing characters), range-checked. One reader for every "WxH" and count the
// program takes.
#pragma once

#include <cstdint>
#include <string_view>

namespace quorvane::platform {

// A decimal integer (optional sign) in [minimum, maximum]; false for anything else.
bool ParseInteger(std::string_view text, int64_t minimum, int64_t maximum, int64_t* value);

// A decimal number ("1.8", "-45", "2e1") in [minimum, maximum]; false for anything else,
// including NaN and infinities.
bool ParseDecimal(std::string_view text, double minimum, double maximum, double* value);

// "WIDTHxHEIGHT" ("800x600"), each side an integer in [minimum, maximum]; false otherwise.
bool ParseDimensions(std::string_view text, int minimum, int maximum, int* width, int* height);

}  // namespace quorvane::platform
