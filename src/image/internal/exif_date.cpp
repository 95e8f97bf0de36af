#include "image/internal/exif_date.h"

namespace quorvane::image::internal {
namespace {

// Reads exactly `digits` decimal digits at `pos`, advancing it.
bool ReadNumber(std::string_view text, size_t& pos, int digits, int* value) {
  if (pos + digits > text.size()) return false;
  int result = 0;
  for (int i = 0; i < digits; ++i) {
    const char c = text[pos + i];
    if (c < '0' || c > '9') return false;
    result = result * 10 + (c - '0');
  }
  pos += digits;
  *value = result;
  return true;
}

bool ReadSeparator(std::string_view text, size_t& pos, std::string_view allowed) {
  if (pos >= text.size() || allowed.find(text[pos]) == std::string_view::npos) return false;
  ++pos;
  return true;
}

int DaysInMonth(int year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[month - 1];
}

}  // namespace

std::optional<PhotoDateTime> ParseExifDateTime(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  PhotoDateTime date;
  size_t pos = 0;
  if (!ReadNumber(text, pos, 4, &date.year) || !ReadSeparator(text, pos, ":-/") ||
      !ReadNumber(text, pos, 2, &date.month) || !ReadSeparator(text, pos, ":-/") ||
      !ReadNumber(text, pos, 2, &date.day)) {
    return std::nullopt;
  }
  if (date.year < 1 || date.month < 1 || date.month > 12 || date.day < 1 ||
      date.day > DaysInMonth(date.year, date.month)) {
    return std::nullopt;
  }
  size_t time_pos = pos;
  PhotoDateTime with_time = date;
  if (ReadSeparator(text, time_pos, " T") && ReadNumber(text, time_pos, 2, &with_time.hour) &&
      ReadSeparator(text, time_pos, ":") && ReadNumber(text, time_pos, 2, &with_time.minute) &&
      ReadSeparator(text, time_pos, ":") && ReadNumber(text, time_pos, 2, &with_time.second) &&
      with_time.hour < 24 && with_time.minute < 60 && with_time.second < 61) {
    return with_time;
  }
  return date;
}

}  // namespace quorvane::image::internal
