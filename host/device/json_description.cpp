// SPDX-License-Identifier: Apache-2.0
// How errors tell of places and values.
#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>

#include "host/device/json_text.h"

namespace hub::host {
namespace {

constexpr std::size_t kLongestShownBytes = 60;

bool is_letter(char character) {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') || character == '_';
}

bool is_digit(char character) { return character >= '0' && character <= '9'; }

bool is_word(std::string_view text) {
  return !text.empty() && is_letter(text.front()) &&
         std::all_of(text.begin(), text.end(), [](char c) { return is_letter(c) || is_digit(c); });
}

std::string escaped(char character) {
  constexpr unsigned char kDelete = 0x7F;
  const auto byte = static_cast<unsigned char>(character);
  if (character == '"' || character == '\\') {
    return {'\\', character};
  }
  if (byte >= ' ' && byte != kDelete) {
    return {character};
  }
  std::array<char, 8> escape{};
  std::snprintf(escape.data(), escape.size(), "\\u%04x", byte);
  return escape.data();
}

std::string between_quotes(std::string_view text) {
  std::string result = "\"";
  for (const char character : text) {
    result += escaped(character);
  }
  return result + '"';
}

// The shortest digits that give this double, and always recognisable as one.
std::string double_text(double number) {
  std::array<char, 32> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  const std::string text(digits.data(), end);
  return text.find_first_of(".e") == std::string::npos ? text + ".0" : text;
}

struct Description {
  std::string operator()(JsonNull) const { return "null"; }
  std::string operator()(bool truth) const { return truth ? "true" : "false"; }
  std::string operator()(std::int64_t number) const { return std::to_string(number); }
  std::string operator()(std::uint64_t number) const { return std::to_string(number); }
  std::string operator()(const JsonLongInteger& number) const {
    const std::size_t length = number.digits.size();
    return length > kLongestShownBytes ? "an integer of " + std::to_string(length) + " characters" : number.digits;
  }
  std::string operator()(double number) const { return double_text(number); }
  std::string operator()(const std::string& text) const { return in_quotes(text); }
  std::string operator()(const JsonArray& array) const { return "an array of " + std::to_string(array.size()); }
  std::string operator()(const JsonObject& object) const { return object.empty() ? "an empty object" : "an object"; }
};

}  // namespace

std::string path_step(std::string_view key) {
  return is_word(key) ? "." + std::string(key) : "[" + between_quotes(key) + "]";
}

std::string path_step(std::size_t index) { return "[" + std::to_string(index) + "]"; }

std::string in_quotes(std::string_view text) {
  return text.size() > kLongestShownBytes ? "a text of " + in_bytes(text.size()) : between_quotes(text);
}

std::string in_bytes(std::size_t count) { return std::to_string(count) + (count == 1 ? " byte" : " bytes"); }

std::string description(const JsonValue& value) { return std::visit(Description{}, value.value); }

}  // namespace hub::host
