#include "webalbum/expression.h"

#include <cstdlib>

namespace quorvane::webalbum {
namespace {

enum class TokenKind { kName, kNumber, kString, kSymbol };

struct Token {
  TokenKind kind = TokenKind::kSymbol;
  std::string text;
};

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

std::vector<Token> Tokenize(std::string_view text) {
  std::vector<Token> tokens;
  size_t i = 0;
  while (i < text.size()) {
    const char c = text[i];
    if (IsBlank(c)) {
      ++i;
    } else if (IsLetter(c)) {
      const size_t start = i;
      while (i < text.size() && (IsLetter(text[i]) || IsDigit(text[i]) || text[i] == '_')) ++i;
      tokens.push_back({TokenKind::kName, std::string(text.substr(start, i - start))});
    } else if (IsDigit(c) || (c == '-' && i + 1 < text.size() && IsDigit(text[i + 1]))) {
      // Designs in the field rely on the minus swallowing the digit after it ("-12" is "-2").
      std::string number;
      if (c == '-') {
        number = "-";
        i += 2;
      }
      while (i < text.size() && IsDigit(text[i])) number += text[i++];
      tokens.push_back({TokenKind::kNumber, std::move(number)});
    } else if (c == '"') {
      const size_t close = text.find('"', i + 1);
      const size_t end = close == std::string_view::npos ? text.size() : close + 1;
      tokens.push_back({TokenKind::kString, std::string(text.substr(i, end - i))});
      i = end;
    } else if (c == '|' || c == '&' || c == '=') {
      const size_t start = i;
      while (i < text.size() && text[i] == c) ++i;
      tokens.push_back({TokenKind::kSymbol, std::string(text.substr(start, i - start))});
    } else if (c == '<' || c == '>' || c == '!') {
      const size_t length = i + 1 < text.size() && text[i + 1] == '=' ? 2 : 1;
      tokens.push_back({TokenKind::kSymbol, std::string(text.substr(i, length))});
      i += length;
    } else if (c == '(' || c == ')') {
      tokens.push_back({TokenKind::kSymbol, std::string(1, c)});
      ++i;
    } else {
      ++i;
    }
  }
  return tokens;
}

// Deep nesting is only ever hostile input; past this depth a parenthesis opens nothing.
constexpr int kMaxDepth = 200;

class Evaluator {
 public:
  Evaluator(ExpressionScope& scope, std::vector<Token> tokens)
      : scope_(scope), tokens_(std::move(tokens)) {}

  // Runs up to the end of the tokens or a ")" (consumed).
  std::string Expression(int depth) {
    std::string result;
    bool negate = false;
    while (next_ < tokens_.size()) {
      const Token& token = tokens_[next_++];
      const std::string& t = token.text;
      if (token.kind == TokenKind::kSymbol && t == ")") break;
      if (token.kind == TokenKind::kSymbol) {
        if (t == "!") {
          negate = true;
        } else if (t == "||") {
          if (result == "1") {
            SkipOperand();
          } else {
            result = Operand(depth) == "1" ? "1" : "0";
          }
        } else if (t == "&&") {
          if (result == "1") {
            result = Operand(depth) == "1" ? "1" : "0";
          } else {
            SkipOperand();
            result = "0";
          }
        } else if (t == "==" || t == "!=") {
          const bool equal = Operand(depth) == result;
          result = equal == (t == "==") ? "1" : "0";
        } else if (t == "<" || t == "<=" || t == ">" || t == ">=") {
          const long left = std::atol(result.c_str());
          const long right = std::atol(Operand(depth).c_str());
          bool holds = false;
          if (t == "<") holds = left < right;
          if (t == "<=") holds = left <= right;
          if (t == ">") holds = left > right;
          if (t == ">=") holds = left >= right;
          result = holds ? "1" : "0";
        } else {
          --next_;
          result = Operand(depth);
        }
      } else if (token.kind == TokenKind::kName && (t == "include_if" || t == "if")) {
        result = Operand(depth);
      } else {
        --next_;
        result = Operand(depth);
      }
    }
    if (negate) result = result == "0" ? "1" : "0";
    return result;
  }

 private:
  // One operand: a parenthesised expression, a keyword with its name, or a value.
  std::string Operand(int depth) {
    if (next_ >= tokens_.size()) return {};
    const Token& token = tokens_[next_++];
    const std::string& t = token.text;
    if (token.kind == TokenKind::kSymbol) {
      if (t == "(") return depth < kMaxDepth ? Expression(depth + 1) : std::string();
      return {};
    }
    if (token.kind == TokenKind::kName) {
      if (t == "true") return "1";
      if (t == "false") return "0";
      if (t == "define") {
        if (next_ < tokens_.size() && scope_.defined_names != nullptr) {
          SetNamed(*scope_.defined_names, tokens_[next_].text, "1");
        }
        if (next_ < tokens_.size()) ++next_;
        return "0";
      }
      if (t == "defined") {
        if (next_ >= tokens_.size()) return "0";
        return IsDefined(tokens_[next_++].text) ? "1" : "0";
      }
      if (t == "include_if" || t == "if") return Operand(depth);
    }
    return ValueOf(token);
  }

  void SkipOperand() {
    if (next_ >= tokens_.size()) return;
    const Token& token = tokens_[next_++];
    if (token.kind == TokenKind::kSymbol && token.text == "(") {
      int open = 1;
      while (next_ < tokens_.size() && open > 0) {
        const Token& inner = tokens_[next_++];
        if (inner.kind != TokenKind::kSymbol) continue;
        if (inner.text == "(") ++open;
        if (inner.text == ")") --open;
      }
    } else if (token.kind == TokenKind::kName &&
               (token.text == "define" || token.text == "defined")) {
      if (next_ < tokens_.size()) ++next_;
    }
  }

  bool IsDefined(const std::string& name) {
    if (scope_.user_variables != nullptr) {
      if (const std::string* value = FindNamed(*scope_.user_variables, name);
          value && !value->empty())
        return true;
    }
    if (scope_.defined_names != nullptr) {
      if (const std::string* value = FindNamed(*scope_.defined_names, name);
          value && !value->empty())
        return true;
    }
    std::string builtin;
    return scope_.builtin && scope_.builtin(name, &builtin) && !builtin.empty();
  }

  std::string ValueOf(const Token& token) {
    const std::string& name = token.text;
    if (scope_.user_variables != nullptr) {
      if (const std::string* value = FindNamed(*scope_.user_variables, name);
          value && !value->empty())
        return *value;
    }
    if (scope_.defined_names != nullptr) {
      if (const std::string* value = FindNamed(*scope_.defined_names, name);
          value && !value->empty())
        return *value;
    }
    std::string builtin;
    if (scope_.builtin && scope_.builtin(name, &builtin)) return builtin;
    if (token.kind == TokenKind::kNumber) return name;
    if (token.kind == TokenKind::kString) {
      const size_t end = name.size() >= 2 && name.back() == '"' ? name.size() - 1 : name.size();
      return name.substr(1, end - 1);
    }
    return {};
  }

  ExpressionScope& scope_;
  std::vector<Token> tokens_;
  size_t next_ = 0;
};

}  // namespace

const std::string* FindNamed(const NamedValues& values, std::string_view name) {
  for (const auto& [key, value] : values) {
    if (key == name) return &value;
  }
  return nullptr;
}

void SetNamed(NamedValues& values, std::string_view name, std::string_view value) {
  for (auto& [key, existing] : values) {
    if (key == name) {
      existing = value;
      return;
    }
  }
  values.emplace_back(name, value);
}

std::string EvaluateExpression(ExpressionScope& scope, std::string_view text) {
  Evaluator evaluator(scope, Tokenize(text));
  return evaluator.Expression(0);
}

}  // namespace quorvane::webalbum
