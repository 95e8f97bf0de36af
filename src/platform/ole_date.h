// OLE Automation dates: a double counting days since 1899-12-30, the date type of album
// indexes. Holds the valid range, the no-date value, the "%04d-%02d-%02d" writer and a
// tolerant parser that accepts at least what the writer writes, with or without a time.
#pragma once

#include <string>
#include <string_view>

namespace quorvane::platform {

using OleDate = double;

inline constexpr OleDate kOleDateMin = -657434.0;  // 0100-01-01
inline constexpr OleDate kOleDateMax = 2958465.0;  // 9999-12-31
inline constexpr OleDate kNoDate = -657435.0;

struct CivilTime {
  int year = 1899, month = 12, day = 30;
  int hour = 0, minute = 0, second = 0;
};

// True for kOleDateMin <= date <= kOleDateMax (so kNoDate and NaN are invalid).
bool IsValidOleDate(OleDate date);

// The OLE date of a civil time. Fails (returns false) when a field is out of range or the
// result lies outside the valid range. Before 1899-12-30 the time of day counts away from
// zero, as OLE dates do: -1.25 is 1899-12-29 06:00.
bool OleDateFromCivil(const CivilTime& civil, OleDate* date);

// The civil time of a valid date, rounded to the second. False for an invalid date.
bool CivilFromOleDate(OleDate date, CivilTime* civil);

// "%04d-%02d-%02d" of the date's day; empty for an invalid date.
std::string FormatOleDate(OleDate date);

// Parses "YYYY-MM-DD" (also with "/" or "." between the numbers), optionally followed by a
// time "HH:MM" or "HH:MM:SS" after a space or "T"; white space around is allowed. Returns
// false and leaves *date untouched for anything else or an impossible date.
bool ParseOleDate(std::string_view text, OleDate* date);

// Seconds since 1970-01-01 UTC to an OLE date in the same clock (no time-zone shift).
OleDate OleDateFromUnixSeconds(long long seconds);

}  // namespace quorvane::platform
