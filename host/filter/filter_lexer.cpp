// SPDX-License-Identifier: Apache-2.0
#include "host/filter/filter_lexer.h"

#include <charconv>
#include <optional>
#include <utility>

#include "host/filter/filter_error.h"

namespace hub::host {
namespace {

struct SymbolRow {
  std::string_view written;
  TokenKind kind;
};

// Those that begin like another one stand behind the longer.
// clang-format off
constexpr SymbolRow kSymbols[] = {
    {"||", TokenKind::kOr},
    {"&&", TokenKind::kAnd},
    {"==", TokenKind::kEqual},
    {"!=", TokenKind::kNotEqual},
    {"<=", TokenKind::kLessOrEqual},
    {">=", TokenKind::kGreaterOrEqual},
    {"=~", TokenKind::kMatches},
    {"<",  TokenKind::kLess},
    {">",  TokenKind::kGreater},
    {"!",  TokenKind::kNot},
    {"(",  TokenKind::kOpen},
    {")",  TokenKind::kClose},
    {",",  TokenKind::kComma},
};

// What is no symbol, and what may have been meant.
struct SlipRow {
  char written;
  std::string_view meant;
};
constexpr SlipRow kSlips[] = {
    {'=', "\"==\" or \"=~\""},
    {'&', "\"&&\""},
    {'|', "\"||\""},
};

struct EscapeRow {
  char written;
  char meant;
};
constexpr EscapeRow kEscapes[] = {
    {'"',  '"'},
    {'\'', '\''},
    {'\\', '\\'},
    {'n',  '\n'},
    {'t',  '\t'},
};
// clang-format on

bool is_blank(char character) {
  return character == ' ' || character == '\t' || character == '\n' || character == '\r';
}
bool is_digit(char character) { return character >= '0' && character <= '9'; }
bool begins_word(char character) {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') || character == '_';
}
bool is_in_word(char character) {
  return begins_word(character) || is_digit(character) || character == '-' || character == '.';
}

std::optional<std::uint64_t> parse_hexadecimal(std::string_view digits) {
  constexpr int kBase = 16;
  std::uint64_t number = 0;
  const char* end = digits.data() + digits.size();
  const auto [stopped_at, error] = std::from_chars(digits.data(), end, number, kBase);
  return error == std::errc() && stopped_at == end ? std::optional(number) : std::nullopt;
}

}  // namespace

std::string description(const Token& token) {
  return token.kind == TokenKind::kEnd ? "the end" : quoted_briefly(token.written);
}

void FilterLexer::refuse(std::size_t at, const std::string& problem) const {
  throw FilterError(problem, expression_, at);
}

Token FilterLexer::next() {
  take_while(is_blank);
  if (rest().empty()) {
    return take(TokenKind::kEnd, 0);
  }
  const char first = rest().front();
  if (begins_word(first)) {
    return word();
  }
  if (is_digit(first) || first == '-') {
    return number();
  }
  return first == '"' || first == '\'' ? text() : symbol();
}

bool FilterLexer::at_digit(std::size_t ahead) const { return ahead < rest().size() && is_digit(rest()[ahead]); }

std::string_view FilterLexer::take_while(bool (*belongs)(char character)) {
  const std::size_t begin = offset_;
  while (offset_ < expression_.size() && belongs(expression_[offset_])) {
    ++offset_;
  }
  return expression_.substr(begin, offset_ - begin);
}

Token FilterLexer::take(TokenKind kind, std::size_t size_bytes) {
  Token token;
  token.kind = kind;
  token.at = offset_;
  token.written = rest().substr(0, size_bytes);
  offset_ += size_bytes;
  return token;
}

Token FilterLexer::symbol() {
  for (const SymbolRow& row : kSymbols) {
    if (rest().starts_with(row.written)) {
      return take(row.kind, row.written.size());
    }
  }
  for (const SlipRow& row : kSlips) {
    if (rest().starts_with(row.written)) {
      refuse(offset_, "expected " + std::string(row.meant) + ", found " + quoted_briefly(rest().substr(0, 1)));
    }
  }
  refuse(offset_, "expected a field, a value or an operator; other characters stand in quotes only");
}

Token FilterLexer::word() {
  Token token = take(TokenKind::kWord, 0);
  token.written = take_while(is_in_word);
  token.text = token.written;
  return token;
}

Token FilterLexer::number() {
  Token token = take(TokenKind::kNumber, 0);
  token.number = rest().starts_with("0x") ? hexadecimal_number() : decimal_number();
  if (!rest().empty() && is_in_word(rest().front())) {
    take_while(is_in_word);
    refuse(token.at, "expected a number such as 12, 0x1f or -1.5, or a text in quotes, found " +
                         quoted_briefly(expression_.substr(token.at, offset_ - token.at)));
  }
  token.written = expression_.substr(token.at, offset_ - token.at);
  return token;
}

FilterNumber FilterLexer::hexadecimal_number() {
  const std::size_t begin = offset_;
  offset_ += std::string_view("0x").size();
  const auto is_hexadecimal = [](char character) {
    return is_digit(character) || (character >= 'a' && character <= 'f') || (character >= 'A' && character <= 'F');
  };
  const std::string_view digits = take_while(is_hexadecimal);
  const auto whole = parse_hexadecimal(digits);
  if (!whole) {
    refuse(begin,
           digits.empty() ? "expected hexadecimal digits behind \"0x\"" : "expected a number of at most 64 bits");
  }
  return {false, *whole, {}};
}

FilterNumber FilterLexer::decimal_number() {
  const std::size_t begin = offset_;
  FilterNumber number;
  if (rest().front() == '-') {
    number.negative = true;
    ++offset_;
  }
  if (!at_digit(0)) {
    refuse(begin, "expected digits behind \"-\"");
  }
  const auto whole = parse_decimal(take_while(is_digit));
  if (!whole) {
    refuse(begin, "expected a number of at most 64 bits");
  }
  number.whole = *whole;
  if (rest().starts_with('.') && at_digit(1)) {
    ++offset_;
    number.fraction = take_while(is_digit);
    number.fraction.resize(number.fraction.find_last_not_of('0') + 1);
  }
  number.negative = number.negative && (number.whole != 0 || !number.fraction.empty());
  return number;
}

Token FilterLexer::text() {
  Token token = take(TokenKind::kText, 1);
  const char quote = token.written.front();
  while (!rest().starts_with(quote)) {
    if (rest().empty()) {
      refuse(token.at, std::string("expected ") + quote + " at the end of the text that begins here");
    }
    token.text += rest().front() == '\\' ? escaped_character() : expression_[offset_++];
  }
  ++offset_;
  token.written = expression_.substr(token.at, offset_ - token.at);
  return token;
}

char FilterLexer::escaped_character() {
  const std::string_view behind = rest().substr(1);
  for (const EscapeRow& row : kEscapes) {
    if (behind.starts_with(row.written)) {
      offset_ += 2;
      return row.meant;
    }
  }
  constexpr std::size_t kDigits = 2;
  const auto byte =
      behind.starts_with('x') && behind.size() > kDigits ? parse_hexadecimal(behind.substr(1, kDigits)) : std::nullopt;
  if (!byte) {
    refuse(offset_, R"(expected \", \', \\, \n, \t or \x with two hexadecimal digits; a backslash itself is \\)");
  }
  offset_ += 2 + kDigits;
  return static_cast<char>(*byte);
}

}  // namespace hub::host
