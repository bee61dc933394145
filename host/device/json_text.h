// SPDX-License-Identifier: Apache-2.0
// JSON as a tree of values, and errors that tell a place in it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace hub::host {

struct JsonValue;
struct JsonMember;

struct JsonNull {};

// An integer beyond 64 bits, as it is written.
struct JsonLongInteger {
  std::string digits;
};

using JsonArray = std::vector<JsonValue>;
using JsonObject = std::vector<JsonMember>;  // in the text's order, keys unique

struct JsonValue {
  // Integers are signed where 64 bits allow it. A number with a fraction or an exponent is a double, whatever its
  // value.
  std::variant<JsonNull, bool, std::int64_t, std::uint64_t, JsonLongInteger, double, std::string, JsonArray, JsonObject>
      value;
};

struct JsonMember {
  std::string key;
  JsonValue value;
};

// "WHERE: expected WHAT, found WHAT"; where is a path ($.registry[0].name) or, in what is no JSON, a line and column.
class JsonError : public std::runtime_error {
 public:
  JsonError(const std::string& where, const std::string& expected, const std::string& found)
      : std::runtime_error(where + ": expected " + expected + ", found " + found) {}
};

// How deep objects and arrays may stand in each other.
inline constexpr std::size_t kMaxJsonDepth = 256;

// Reads one JSON value with // and /* */ comments around its parts. Throws JsonError: the text is empty, no UTF-8 (in
// comments too), begins with a byte-order mark, holds a NUL byte or a lone surrogate, is no JSON or goes on behind it;
// an object has a key twice; a number is out of a double's range; values stand too deep in each other. Time and memory
// are linear in the text. [any thread]
JsonValue read_json_text(std::string_view text);

// A path's step into an object (.name, ["215"]) or an array ([2]).
std::string path_step(std::string_view key);
std::string path_step(std::size_t index);

// In double quotes on one line; a long text is told by its size.
std::string in_quotes(std::string_view text);

// "1 byte", "5 bytes"
std::string in_bytes(std::size_t count);

// What a value is, in an error: 300, "on", an array of 3.
std::string description(const JsonValue& value);

}  // namespace hub::host
