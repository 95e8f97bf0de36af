#include "platform/number_text.h"

#include <charconv>
#include <cmath>

namespace quorvane::platform {

bool ParseInteger(std::string_view text, int64_t minimum, int64_t maximum, int64_t* value) {
  // from_chars takes no "+", which people do type.
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
  int64_t parsed = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), parsed);
  if (error != std::errc() || end != text.data() + text.size()) return false;
  if (parsed < minimum || parsed > maximum) return false;
  *value = parsed;
  return true;
}

bool ParseDecimal(std::string_view text, double minimum, double maximum, double* value) {
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
  double parsed = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), parsed);
  if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(parsed)) {
    return false;
  }
  if (parsed < minimum || parsed > maximum) return false;
  *value = parsed;
  return true;
}

bool ParseDimensions(std::string_view text, int minimum, int maximum, int* width, int* height) {
  const size_t x = text.find('x');
  if (x == std::string_view::npos) return false;
  int64_t w = 0, h = 0;
  if (!ParseInteger(text.substr(0, x), minimum, maximum, &w) ||
      !ParseInteger(text.substr(x + 1), minimum, maximum, &h)) {
    return false;
  }
  *width = static_cast<int>(w);
  *height = static_cast<int>(h);
  return true;
}

}  // namespace quorvane::platform
