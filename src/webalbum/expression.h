// The small condition language of design templates: fragment conditions on pages and the
// brace items of hand-written settings forms. Values are strings; truth is "1" and "0".
// Operators apply strictly left to right without precedence, as existing designs expect.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorvane::webalbum {

// Ordered (name, value) pairs; lookups walk them in order with a case-sensitive comparison.
using NamedValues = std::vector<std::pair<std::string, std::string>>;

// The value of `name` in `values`, or null when it is absent.
const std::string* FindNamed(const NamedValues& values, std::string_view name);
// Replaces the value of `name` in place, or appends the pair.
void SetNamed(NamedValues& values, std::string_view name, std::string_view value);

// Where the operands of an expression get their values.
struct ExpressionScope {
  const NamedValues* user_variables = nullptr;  // the design's variables
  NamedValues* defined_names = nullptr;         // filled by "define"; may be null
  // The built-in value of a name for the current page; false when the name is not one.
  std::function<bool(std::string_view name, std::string* value)> builtin;
};

// Evaluates `text`. Never fails: malformed input yields "" or "0". Adds to
// scope.defined_names for every "define". Thread-compatible.
std::string EvaluateExpression(ExpressionScope& scope, std::string_view text);

}  // namespace quorvane::webalbum
