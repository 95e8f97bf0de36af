#include "webalbum/expression.h"

#include <gtest/gtest.h>

namespace quorvane::webalbum {
namespace {

struct Case {
  const char* name;
  const char* text;
  const char* expected;
};

class ExpressionTest : public ::testing::TestWithParam<Case> {};

// Variables a = "1", b = "2", word = "hello", blank = ""; built-in Caption = "A cat".
TEST_P(ExpressionTest, EvaluatesLeftToRightWithoutPrecedence) {
  const NamedValues variables = {{"a", "1"}, {"b", "2"}, {"word", "hello"}, {"blank", ""}};
  NamedValues defined;
  ExpressionScope scope;
  scope.user_variables = &variables;
  scope.defined_names = &defined;
  scope.builtin = [](std::string_view name, std::string* value) {
    if (name != "Caption") return false;
    *value = "A cat";
    return true;
  };
  EXPECT_EQ(EvaluateExpression(scope, GetParam().text), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ExpressionTest,
    ::testing::Values(
        Case{"Empty", "", ""}, Case{"Variable", "word", "hello"},
        Case{"QuotedString", "\"x y\"", "x y"}, Case{"UnterminatedString", "\"open", "open"},
        Case{"Number", "42", "42"}, Case{"MinusSwallowsFirstDigit", "-12", "-2"},
        Case{"UnknownNameIsEmpty", "nothing", ""}, Case{"StringEquality", "word == \"hello\"", "1"},
        Case{"NotEqual", "a != 1", "0"}, Case{"EqualityIsCaseSensitive", "word == \"Hello\"", "0"},
        Case{"NumericLess", "a < b", "1"}, Case{"NumericNonNumberIsZero", "word <= 0", "1"},
        Case{"LoneEqualsIsAnOperand", "a = b", "2"},
        // ((a == 1) && b) == 1: b is "2", not "1".
        Case{"NoPrecedence", "a == 1 && b == 1", "0"},
        Case{"ParenthesesGroup", "(a == 1) && (b == 2)", "1"},
        Case{"OrShortCircuits", "true || define x", "1"},
        Case{"OrTakesNextOperand", "false || a", "1"}, Case{"AndNeedsExactOne", "true && b", "0"},
        Case{"Negation", "! a == 1", "0"}, Case{"NegationOfNonZero", "! word", "0"},
        Case{"NegationOfZero", "! false", "1"}, Case{"DefinedVariable", "defined word", "1"},
        Case{"DefinedEmptyVariable", "defined blank", "0"},
        Case{"DefinedBuiltin", "include_if defined Caption", "1"},
        Case{"DefinedUnknown", "include_if defined Missing", "0"},
        Case{"DefineThenDefined", "define x && defined x", "0"},
        Case{"DefineSetsName", "(define x) || defined x", "1"}, Case{"IfTakesOperand", "if b", "2"},
        Case{"StrayCloseStops", "a ) b", "1"}, Case{"OtherCharactersSkipped", "a # $ == 1", "1"},
        Case{"DeepParentheses", "((((((a))))))", "1"}),
    [](const ::testing::TestParamInfo<Case>& p) { return p.param.name; });

TEST(ExpressionDefine, DefinedNamesOutliveTheExpression) {
  NamedValues defined;
  ExpressionScope scope;
  scope.defined_names = &defined;
  EXPECT_EQ(EvaluateExpression(scope, "define shown"), "0");
  EXPECT_EQ(EvaluateExpression(scope, "defined shown"), "1");
  ASSERT_EQ(defined.size(), 1u);
  EXPECT_EQ(defined[0], (std::pair<std::string, std::string>("shown", "1")));
}

TEST(ExpressionHostile, UnbalancedAndDeepInputEnds) {
  ExpressionScope scope;
  EXPECT_EQ(EvaluateExpression(scope, std::string(100000, '(') + "1"), "1");
  EXPECT_EQ(EvaluateExpression(scope, std::string(1000, ')')), "");
}

}  // namespace
}  // namespace quorvane::webalbum
