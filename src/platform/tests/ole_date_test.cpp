#include "platform/ole_date.h"

#include <cmath>

#include <gtest/gtest.h>

namespace quorvane::platform {
namespace {

OleDate Parsed(std::string_view text) {
  OleDate date = kNoDate;
  EXPECT_TRUE(ParseOleDate(text, &date)) << text;
  return date;
}

TEST(OleDateTest, ValidRangeAndNoDate) {
  EXPECT_TRUE(IsValidOleDate(kOleDateMin));
  EXPECT_TRUE(IsValidOleDate(kOleDateMax));
  EXPECT_TRUE(IsValidOleDate(0.0));
  EXPECT_FALSE(IsValidOleDate(kNoDate));
  EXPECT_FALSE(IsValidOleDate(kOleDateMax + 0.5));
  EXPECT_FALSE(IsValidOleDate(std::nan("")));
  EXPECT_EQ(FormatOleDate(kNoDate), "");
  EXPECT_EQ(FormatOleDate(kOleDateMin), "0100-01-01");
  EXPECT_EQ(FormatOleDate(kOleDateMax), "9999-12-31");
}

TEST(OleDateTest, KnownDays) {
  EXPECT_EQ(Parsed("1899-12-30"), 0.0);
  EXPECT_EQ(Parsed("1900-01-01"), 2.0);
  EXPECT_EQ(Parsed("1970-01-01"), 25569.0);
  EXPECT_EQ(Parsed("2000-02-29"), 36585.0);
  EXPECT_EQ(Parsed("0100-01-01"), kOleDateMin);
  EXPECT_EQ(Parsed("9999-12-31"), kOleDateMax);
  EXPECT_EQ(Parsed("1899-12-29"), -1.0);
}

TEST(OleDateTest, TimeOfDayCountsAwayFromZeroBeforeTheEpoch) {
  EXPECT_DOUBLE_EQ(Parsed("1900-01-01 06:00"), 2.25);
  EXPECT_DOUBLE_EQ(Parsed("1899-12-29 06:00"), -1.25);
  CivilTime civil;
  ASSERT_TRUE(CivilFromOleDate(-1.25, &civil));
  EXPECT_EQ(civil.day, 29);
  EXPECT_EQ(civil.hour, 6);
  ASSERT_TRUE(CivilFromOleDate(2.75, &civil));
  EXPECT_EQ(civil.hour, 18);
  ASSERT_TRUE(CivilFromOleDate(Parsed("2024-02-29T23:59:59"), &civil));
  EXPECT_EQ(civil.year, 2024);
  EXPECT_EQ(civil.second, 59);
}

TEST(OleDateTest, FormatThenParseIsIdentityForWholeDays) {
  for (OleDate d = kOleDateMin; d <= kOleDateMax; d += 997.0) {
    EXPECT_EQ(Parsed(FormatOleDate(d)), d) << FormatOleDate(d);
  }
}

TEST(OleDateTest, AcceptedForms) {
  const OleDate day = Parsed("2003-07-14");
  for (const char* text : {"2003/07/14", "2003.7.14", " 2003-07-14 ", "2003-07-14 00:00",
                           "2003-07-14T00:00:00", "2003-07-14T"}) {
    EXPECT_EQ(Parsed(text), day) << text;
  }
  EXPECT_EQ(Parsed("2003-7-4"), day - 10);
  EXPECT_NEAR(Parsed("2003-07-14 12:30:30") - day, (12 * 3600 + 30 * 60 + 30) / 86400.0, 1e-9);
}

TEST(OleDateTest, RejectedForms) {
  for (const char* text : {"", "not a date", "2003-07", "2003-13-01", "2003-02-29", "2003-07-32",
                           "2003-07-14x", "2003-07/14", "0099-12-31", "2003-07-14 25:00",
                           "2003-07-14 12", "2003-07-14 12:60", "12003-01-01", "-2003-01-01"}) {
    OleDate date = 123.0;
    EXPECT_FALSE(ParseOleDate(text, &date)) << text;
    EXPECT_EQ(date, 123.0) << text;  // left untouched
  }
}

TEST(OleDateTest, FromUnixSeconds) {
  EXPECT_EQ(OleDateFromUnixSeconds(0), 25569.0);
  EXPECT_DOUBLE_EQ(OleDateFromUnixSeconds(86400 + 43200), 25570.5);
  EXPECT_EQ(FormatOleDate(OleDateFromUnixSeconds(1700000000)), "2023-11-14");
  // Before the OLE epoch the day part counts down and the time of day away from zero.
  EXPECT_DOUBLE_EQ(OleDateFromUnixSeconds(-2209226400LL), -1.25);  // 1899-12-29 06:00 UTC
}

}  // namespace
}  // namespace quorvane::platform
