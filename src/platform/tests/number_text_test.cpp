#include "platform/number_text.h"

#include <gtest/gtest.h>

#include "platform/result_code.h"

namespace quorvane::platform {
namespace {

TEST(NumberTextTest, IntegersAreWholeTextAndInRange) {
  int64_t value = -1;
  EXPECT_TRUE(ParseInteger("+42", 0, 100, &value));
  EXPECT_EQ(value, 42);
  EXPECT_TRUE(ParseInteger("-7", -10, 10, &value));
  EXPECT_EQ(value, -7);
  for (std::string_view bad : {"", "+", "4 2", "42x", " 42", "0x10", "101", "+-1", "1e2"}) {
    EXPECT_FALSE(ParseInteger(bad, 0, 100, &value)) << bad;
  }
  EXPECT_FALSE(ParseInteger("99999999999999999999", 0, INT64_MAX, &value));
  EXPECT_EQ(value, -7);  // failures leave the value alone
}

TEST(NumberTextTest, DecimalsRefuseNonFiniteAndOutOfRange) {
  double value = 0;
  EXPECT_TRUE(ParseDecimal("1.8", 0.1, 10, &value));
  EXPECT_DOUBLE_EQ(value, 1.8);
  EXPECT_TRUE(ParseDecimal("2e1", 0, 100, &value));
  EXPECT_DOUBLE_EQ(value, 20);
  for (std::string_view bad : {"nan", "inf", "1,5", "1.5.", "0.05", "", "."}) {
    EXPECT_FALSE(ParseDecimal(bad, 0.1, 10, &value)) << bad;
  }
}

TEST(NumberTextTest, DimensionsTakeWidthXHeight) {
  int w = 0, h = 0;
  EXPECT_TRUE(ParseDimensions("800x600", 1, 65500, &w, &h));
  EXPECT_EQ(w, 800);
  EXPECT_EQ(h, 600);
  for (std::string_view bad :
       {"800", "800x", "x600", "800X600", "0x5", "800x600x2", "3x65501", "8 00x600", "-1x5"}) {
    EXPECT_FALSE(ParseDimensions(bad, 1, 65500, &w, &h)) << bad;
  }
  EXPECT_EQ(w, 800);
}

TEST(ResultCodeTest, FailuresHaveTheSystemsMessagesOthersTheirNumber) {
  EXPECT_FALSE(IsFailure(kOk));
  EXPECT_FALSE(IsFailure(kNothingToDo));
  EXPECT_TRUE(IsFailure(kCancelled));
  EXPECT_EQ(ResultCodeText(kFailed), "Unspecified error");
  EXPECT_EQ(ResultCodeText(kNotImplemented), "Not implemented");
  EXPECT_EQ(ResultCodeText(kCancelled), "The operation was canceled by the user.");
  EXPECT_EQ(ResultCodeText(0x8007ABCD), "Error 0x8007abcd");
}

}  // namespace
}  // namespace quorvane::platform
