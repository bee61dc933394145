// SPDX-License-Identifier: Apache-2.0
#include "host/device/json_text.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstdio>
#include <functional>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

#include "host/text/utf8_text.h"

namespace hub::host {
namespace {

// Columns count characters, from 1.
std::string line_and_column(std::string_view text, std::size_t offset) {
  const std::string_view before = text.substr(0, offset);
  const auto line = std::count(before.begin(), before.end(), '\n') + 1;
  const std::string_view row = before.substr(before.rfind('\n') + 1);
  const auto column = std::count_if(row.begin(), row.end(), [](char c) { return (c & 0xC0) != 0x80; }) + 1;
  return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

std::string hex_byte(char character) {
  std::array<char, 5> text{};
  std::snprintf(text.data(), text.size(), "0x%02X", static_cast<unsigned char>(character));
  return text.data();
}

// The parser takes a mark at the start, any byte in comments, and a NUL byte for the end.
void refuse_bytes_that_are_no_text(std::string_view text) {
  if (text.empty()) {
    throw JsonError(line_and_column(text, 0), "JSON", "an empty file");
  }
  if (text.starts_with("\xEF\xBB\xBF")) {
    throw JsonError(line_and_column(text, 0), "JSON without a byte-order mark", "one");
  }
  if (const std::size_t valid = utf8_prefix_bytes(text); valid < text.size()) {
    throw JsonError(line_and_column(text, valid), "UTF-8", "the byte " + hex_byte(text[valid]));
  }
  if (const std::size_t zero = text.find('\0'); zero != std::string_view::npos) {
    throw JsonError(line_and_column(text, zero), "JSON", "a NUL byte");
  }
}

// A key that an object has a second time; the first such in the text. Null when there is none.
const std::string* repeated_key(const JsonObject& object) {
  std::vector<const std::string*> keys;
  keys.reserve(object.size());
  for (const JsonMember& member : object) {
    keys.push_back(&member.key);
  }
  std::sort(keys.begin(), keys.end(), [](const std::string* left, const std::string* right) {
    const int order = left->compare(*right);
    return order != 0 ? order < 0 : std::less<>()(left, right);
  });
  const std::string* first = nullptr;
  for (std::size_t index = 1; index < keys.size(); ++index) {
    if (*keys[index] == *keys[index - 1] && (first == nullptr || std::less<>()(keys[index], first))) {
      first = keys[index];
    }
  }
  return first;
}

// What stands before a mark and behind it; all and nothing when it does not occur.
std::pair<std::string, std::string> split_at(const std::string& text, const std::string& mark) {
  const std::size_t at = text.find(mark);
  return at == std::string::npos ? std::pair(text, std::string())
                                 : std::pair(text.substr(0, at), text.substr(at + mark.size()));
}

// What the parser says, in the words of our errors: "... - unexpected ','; expected ']'" or, of what is no token at
// all,
// "... - invalid literal; last read: 'tx'; expected ']'".
JsonError syntax_error(const std::string& where, const std::string& message) {
  const std::string reason = split_at(message, " - ").second;
  if (const auto [found, token] = split_at(reason, "; last read: "); !token.empty()) {
    return {where, "JSON", found};
  }
  const auto [unexpected, expected] = split_at(reason, "; expected ");
  return {where, expected, split_at(unexpected, "unexpected ").second};
}

// Takes the parser's events and builds the tree.
class TreeBuilder final : public nlohmann::json_sax<nlohmann::json> {
 public:
  explicit TreeBuilder(std::string_view text) : text_(text) {}

  [[nodiscard]] JsonValue take() { return std::move(root_); }

  bool null() override { return add({JsonNull{}}); }
  bool boolean(bool truth) override { return add({truth}); }
  bool number_integer(std::int64_t number) override { return add({number}); }
  bool number_unsigned(std::uint64_t number) override {
    constexpr auto kHighest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    return number <= kHighest ? add({static_cast<std::int64_t>(number)}) : add({number});
  }
  bool number_float(double number, const std::string& raw) override {
    const bool is_integer = raw.find_first_not_of("-0123456789") == std::string::npos;
    return is_integer ? add({JsonLongInteger{raw}}) : add({number});
  }
  bool string(std::string& text) override { return add({std::move(text)}); }
  bool binary(nlohmann::json::binary_t& /*bytes*/) override { return false; }  // not in a text

  bool start_object(std::size_t /*size*/) override { return open({JsonObject{}}); }
  bool start_array(std::size_t /*size*/) override { return open({JsonArray{}}); }
  bool key(std::string& name) override {
    levels_.back().key = std::move(name);
    return true;
  }
  bool end_object() override {
    if (const std::string* repeated = repeated_key(std::get<JsonObject>(levels_.back().container.value))) {
      levels_.back().key = *repeated;
      throw JsonError(path(), "each key once", in_quotes(*repeated) + " again");
    }
    return close();
  }
  bool end_array() override { return close(); }

  bool parse_error(std::size_t position, const std::string& token, const nlohmann::json::exception& error) override {
    constexpr int kNumberOverflow = 406;
    if (error.id == kNumberOverflow) {
      throw JsonError(path(), "a number in the range of a double", in_quotes(token));
    }
    throw syntax_error(line_and_column(text_, position - 1), error.what());
  }

 private:
  // An object or array that has begun, and where the next value goes in it.
  struct Level {
    JsonValue container;
    std::string key;
  };

  bool open(JsonValue container) {
    if (levels_.size() == kMaxJsonDepth) {
      throw JsonError(path(), "at most " + std::to_string(kMaxJsonDepth) + " objects and arrays in each other", "more");
    }
    levels_.push_back({std::move(container), {}});
    return true;
  }

  bool close() {
    JsonValue container = std::move(levels_.back().container);
    levels_.pop_back();
    return add(std::move(container));
  }

  bool add(JsonValue value) {
    if (levels_.empty()) {
      root_ = std::move(value);
      return true;
    }
    Level& level = levels_.back();
    if (auto* array = std::get_if<JsonArray>(&level.container.value)) {
      array->push_back(std::move(value));
    } else {
      std::get<JsonObject>(level.container.value).push_back({std::move(level.key), std::move(value)});
    }
    return true;
  }

  // Where the next value stands.
  [[nodiscard]] std::string path() const {
    std::string path = "$";
    for (const Level& level : levels_) {
      const auto* array = std::get_if<JsonArray>(&level.container.value);
      path += array != nullptr ? path_step(array->size()) : path_step(level.key);
    }
    return path;
  }

  std::string_view text_;
  std::vector<Level> levels_;
  JsonValue root_;
};

}  // namespace

JsonValue read_json_text(std::string_view text) {
  refuse_bytes_that_are_no_text(text);
  TreeBuilder builder(text);
  constexpr bool kToTheEnd = true;
  constexpr bool kWithComments = true;
  [[maybe_unused]] const bool whole =
      nlohmann::json::sax_parse(text, &builder, nlohmann::json::input_format_t::json, kToTheEnd, kWithComments);
  assert(whole);  // what is not whole was thrown
  return builder.take();
}

}  // namespace hub::host
