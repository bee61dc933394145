// SPDX-License-Identifier: Apache-2.0
// The words of a filter.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "host/filter/filter_number.h"

namespace hub::host {

enum class TokenKind : std::uint8_t {
  kEnd,
  kWord,
  kNumber,
  kText,
  kOr,
  kAnd,
  kNot,
  kOpen,
  kClose,
  kComma,
  kEqual,
  kNotEqual,
  kLess,
  kLessOrEqual,
  kGreater,
  kGreaterOrEqual,
  kMatches,
};

struct Token {
  TokenKind kind = TokenKind::kEnd;
  std::size_t at = 0;        // offset of its first byte
  std::string_view written;  // as it stands there
  std::string text;          // kWord, kText: what it means
  FilterNumber number;       // kNumber
};

// What a message says of a token: its text in quotes, or "the end".
std::string description(const Token& token);

// Takes an expression apart. The expression must outlive the lexer and its tokens.
class FilterLexer {
 public:
  explicit FilterLexer(std::string_view expression) : expression_(expression) {}

  // The next token; behind the last one, kEnd each time. Throws FilterError.
  Token next();

 private:
  [[nodiscard]] std::string_view rest() const { return expression_.substr(offset_); }
  [[nodiscard]] bool at_digit(std::size_t ahead) const;
  std::string_view take_while(bool (*belongs)(char character));

  Token take(TokenKind kind, std::size_t size_bytes);
  Token symbol();
  Token word();
  Token number();
  Token text();

  FilterNumber decimal_number();
  FilterNumber hexadecimal_number();
  char escaped_character();

  [[noreturn]] void refuse(std::size_t at, const std::string& problem) const;

  std::string_view expression_;
  std::size_t offset_ = 0;
};

}  // namespace hub::host
