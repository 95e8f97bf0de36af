#include "platform/ole_date.h"

#include <cmath>
#include <cstdio>

namespace quorvane::platform {
namespace {

// Days between 1970-01-01 and the given proleptic Gregorian date (H. Hinnant's algorithm).
long long DaysFromCivil(long long y, unsigned m, unsigned d) {
  y -= m <= 2;
  const long long era = (y >= 0 ? y : y - 399) / 400;
  const unsigned yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<long long>(doe) - 719468;
}

void CivilFromDays(long long z, int* year, int* month, int* day) {
  z += 719468;
  const long long era = (z >= 0 ? z : z - 146096) / 146097;
  const unsigned doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const long long y = static_cast<long long>(yoe) + era * 400;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  *day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  *month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  *year = static_cast<int>(y + (*month <= 2));
}

bool IsLeap(int y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }

int DaysInMonth(int y, int m) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return m == 2 && IsLeap(y) ? 29 : kDays[m - 1];
}

const long long kEpochOffset = DaysFromCivil(1899, 12, 30);  // 1970 days of the OLE epoch

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// Reads 1..max_digits decimal digits at text[*pos].
bool ReadNumber(std::string_view text, size_t* pos, int max_digits, int* value) {
  int v = 0, n = 0;
  while (*pos < text.size() && n < max_digits && text[*pos] >= '0' && text[*pos] <= '9') {
    v = v * 10 + (text[*pos] - '0');
    ++*pos;
    ++n;
  }
  if (n == 0) return false;
  *value = v;
  return true;
}

}  // namespace

bool IsValidOleDate(OleDate date) { return date >= kOleDateMin && date <= kOleDateMax; }

bool OleDateFromCivil(const CivilTime& c, OleDate* date) {
  if (c.year < 100 || c.year > 9999 || c.month < 1 || c.month > 12 || c.day < 1 ||
      c.day > DaysInMonth(c.year, c.month) || c.hour < 0 || c.hour > 23 || c.minute < 0 ||
      c.minute > 59 || c.second < 0 || c.second > 59) {
    return false;
  }
  const long long days =
      DaysFromCivil(c.year, static_cast<unsigned>(c.month), static_cast<unsigned>(c.day)) -
      kEpochOffset;
  const double fraction = (c.hour * 3600.0 + c.minute * 60.0 + c.second) / 86400.0;
  const OleDate result =
      days >= 0 ? static_cast<double>(days) + fraction : static_cast<double>(days) - fraction;
  if (!IsValidOleDate(result)) return false;
  *date = result;
  return true;
}

bool CivilFromOleDate(OleDate date, CivilTime* civil) {
  if (!IsValidOleDate(date)) return false;
  double whole = std::trunc(date);
  long long seconds = std::llround(std::fabs(date - whole) * 86400.0);
  if (seconds >= 86400) {  // rounding carried into the next day
    seconds -= 86400;
    whole += date < 0 ? -1.0 : 1.0;
  }
  CivilFromDays(static_cast<long long>(whole) + kEpochOffset, &civil->year, &civil->month,
                &civil->day);
  civil->hour = static_cast<int>(seconds / 3600);
  civil->minute = static_cast<int>(seconds / 60 % 60);
  civil->second = static_cast<int>(seconds % 60);
  return true;
}

std::string FormatOleDate(OleDate date) {
  CivilTime c;
  if (!CivilFromOleDate(date, &c)) return {};
  char text[16];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d", c.year, c.month, c.day);
  return text;
}

bool ParseOleDate(std::string_view text, OleDate* date) {
  size_t pos = 0;
  while (pos < text.size() && IsSpace(text[pos])) ++pos;
  CivilTime c;
  if (!ReadNumber(text, &pos, 4, &c.year)) return false;
  if (pos >= text.size()) return false;
  const char separator = text[pos];
  if (separator != '-' && separator != '/' && separator != '.') return false;
  ++pos;
  if (!ReadNumber(text, &pos, 2, &c.month)) return false;
  if (pos >= text.size() || text[pos] != separator) return false;
  ++pos;
  if (!ReadNumber(text, &pos, 2, &c.day)) return false;
  if (pos < text.size() && (text[pos] == 'T' || IsSpace(text[pos]))) {
    size_t time_pos = pos + 1;
    while (time_pos < text.size() && IsSpace(text[time_pos])) ++time_pos;
    if (time_pos < text.size()) {
      if (!ReadNumber(text, &time_pos, 2, &c.hour)) return false;
      if (time_pos >= text.size() || text[time_pos] != ':') return false;
      ++time_pos;
      if (!ReadNumber(text, &time_pos, 2, &c.minute)) return false;
      if (time_pos < text.size() && text[time_pos] == ':') {
        ++time_pos;
        if (!ReadNumber(text, &time_pos, 2, &c.second)) return false;
      }
    }
    pos = time_pos;
  }
  while (pos < text.size() && IsSpace(text[pos])) ++pos;
  if (pos != text.size()) return false;
  return OleDateFromCivil(c, date);
}

OleDate OleDateFromUnixSeconds(long long seconds) {
  long long days = seconds / 86400;
  long long second_of_day = seconds % 86400;
  if (second_of_day < 0) {
    second_of_day += 86400;
    --days;
  }
  const double whole = static_cast<double>(days - kEpochOffset);
  const double fraction = static_cast<double>(second_of_day) / 86400.0;
  return whole >= 0 ? whole + fraction : whole - fraction;
}

}  // namespace quorvane::platform
