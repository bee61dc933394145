// SPDX-License-Identifier: Apache-2.0
#include "host/filter/filter_parser.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "host/filter/filter_error.h"
#include "host/filter/filter_lexer.h"

namespace hub::host {
namespace {

struct OperatorRow {
  TokenKind token;
  Operator operation;
};

// clang-format off
constexpr OperatorRow kOperators[] = {
    {TokenKind::kEqual,          Operator::kEqual},
    {TokenKind::kNotEqual,       Operator::kNotEqual},
    {TokenKind::kLess,           Operator::kLess},
    {TokenKind::kLessOrEqual,    Operator::kLessOrEqual},
    {TokenKind::kGreater,        Operator::kGreater},
    {TokenKind::kGreaterOrEqual, Operator::kGreaterOrEqual},
    {TokenKind::kMatches,        Operator::kMatches},
};
// clang-format on

class Parser {
 public:
  explicit Parser(std::string_view expression) : expression_(expression), lexer_(expression) { advance(); }

  ParsedFilter parse() {
    FilterTree tree = any();
    if (token_.kind != TokenKind::kEnd) {
      refuse("expected \"&&\", \"||\" or the end");
    }
    return {std::move(tree), std::move(comparisons_)};
  }

 private:
  FilterTree any() { return several(TokenKind::kOr, FilterTree::Kind::kAny, &Parser::all); }
  FilterTree all() { return several(TokenKind::kAnd, FilterTree::Kind::kAll, &Parser::one); }

  FilterTree several(TokenKind separator, FilterTree::Kind kind, FilterTree (Parser::*part)()) {
    FilterTree first = (this->*part)();
    if (token_.kind != separator) {
      return first;
    }
    FilterTree tree;
    tree.kind = kind;
    tree.parts.push_back(std::move(first));
    while (token_.kind == separator) {
      advance();
      tree.parts.push_back((this->*part)());
    }
    return tree;
  }

  FilterTree one() {
    bool is_negated = false;
    while (token_.kind == TokenKind::kNot) {
      is_negated = !is_negated;
      advance();
    }
    FilterTree tree = token_.kind == TokenKind::kOpen ? in_parentheses() : comparison();
    tree.is_negated = tree.is_negated != is_negated;
    return tree;
  }

  FilterTree in_parentheses() {
    if (depth_ == kDeepestFilter) {
      refuse("expected at most " + std::to_string(kDeepestFilter) + " parentheses in each other");
    }
    ++depth_;
    advance();
    FilterTree tree = any();
    expect(TokenKind::kClose, "expected \"&&\", \"||\" or \")\"");
    --depth_;
    return tree;
  }

  FilterTree comparison() {
    RecordField field = take_field();
    WrittenComparison written{std::move(field), Operator::kIn, token_.at, {}};
    if (token_.kind == TokenKind::kWord && token_.text == "in") {
      advance();
      written.values = take_list();
    } else {
      written.operation = take_operator(written.field);
      written.values.push_back(take_value());
    }
    FilterTree tree;
    tree.comparison = comparisons_.size();
    comparisons_.emplace_back(std::move(written), expression_);
    return tree;
  }

  RecordField take_field() {
    if (token_.kind != TokenKind::kWord) {
      refuse("expected a field, \"!\" or \"(\"");
    }
    auto field = RecordField::named(token_.text);
    if (!field) {
      const std::string question = did_you_mean(token_.text, RecordField::all_names());
      throw FilterError("unknown field " + description(token_) +
                            (question.empty() ? "; expected an item of a line, such as event or duration" : question),
                        expression_, token_.at);
    }
    advance();
    return std::move(*field);
  }

  Operator take_operator(const RecordField& field) {
    const auto* row = std::find_if(std::begin(kOperators), std::end(kOperators),
                                   [this](const OperatorRow& candidate) { return candidate.token == token_.kind; });
    if (row == std::end(kOperators)) {
      refuse("expected ==, !=, <, <=, >, >=, =~ or in behind " + quoted_briefly(field.name()));
    }
    if (row->operation == Operator::kMatches && ++patterns_ > kMostFilterPatterns) {
      refuse("expected at most " + std::to_string(kMostFilterPatterns) + " times \"=~\"");
    }
    advance();
    return row->operation;
  }

  std::vector<FilterValue> take_list() {
    expect(TokenKind::kOpen, "expected \"(\" behind \"in\"");
    std::vector<FilterValue> values{take_value()};
    while (token_.kind == TokenKind::kComma) {
      advance();
      values.push_back(take_value());
    }
    expect(TokenKind::kClose, "expected \",\" or \")\" behind a value of the list");
    return values;
  }

  FilterValue take_value() {
    FilterValue value{token_.at, {}, std::nullopt};
    if (token_.kind == TokenKind::kNumber) {
      value.number = std::move(token_.number);
    } else if (token_.kind == TokenKind::kText || token_.kind == TokenKind::kWord) {
      value.text = std::move(token_.text);
    } else {
      refuse("expected a number or a text");
    }
    advance();
    return value;
  }

  void expect(TokenKind kind, const std::string& problem) {
    if (token_.kind != kind) {
      refuse(problem);
    }
    advance();
  }

  void advance() { token_ = lexer_.next(); }

  [[noreturn]] void refuse(const std::string& problem) const {
    throw FilterError(problem + ", found " + description(token_), expression_, token_.at);
  }

  std::string_view expression_;
  FilterLexer lexer_;
  Token token_;
  std::size_t depth_ = 0;
  std::size_t patterns_ = 0;
  std::vector<Comparison> comparisons_;
};

}  // namespace

ParsedFilter parse_filter(std::string_view expression) {
  if (expression.size() > kLongestFilterBytes) {
    throw FilterError("expected an expression of at most " + std::to_string(kLongestFilterBytes) + " bytes, found " +
                          std::to_string(expression.size()),
                      expression, kLongestFilterBytes);
  }
  return Parser(expression).parse();
}

}  // namespace hub::host
