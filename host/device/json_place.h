// SPDX-License-Identifier: Apache-2.0
// Reading a JSON tree into our own types: a value that knows where it stands, and readers to put together. All of them
// throw JsonError, which tells the place, what was expected there and what was found.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "host/device/json_text.h"

namespace hub::host {

// A value and the way to it. Refers to the tree and to the places above it, which outlive it.
class JsonPlace {
 public:
  // The whole text; `folder` is where the names of files in it begin.
  JsonPlace(const JsonValue& root, const std::filesystem::path& folder) : value_(&root), folder_(&folder) {}
  JsonPlace(const JsonPlace& object, const JsonMember& member)
      : value_(&member.value), folder_(object.folder_), above_(&object), key_(&member.key) {}
  JsonPlace(const JsonPlace& array, const JsonArray& elements, std::size_t index)
      : value_(&elements[index]), folder_(array.folder_), above_(&array), index_(index) {}

  [[nodiscard]] const JsonValue& value() const { return *value_; }
  [[nodiscard]] const std::filesystem::path& folder() const { return *folder_; }
  [[nodiscard]] std::string path() const;

  // The value when it is of this type, else null.
  template <typename Type>
  [[nodiscard]] const Type* get_if() const {
    return std::get_if<Type>(&value_->value);
  }

  // The value, which is of this type; else it is refused.
  template <typename Type>
  [[nodiscard]] const Type& get(const std::string& expected) const {
    const Type* value = get_if<Type>();
    return value != nullptr ? *value : refuse<const Type&>(expected);
  }

  [[noreturn]] void refuse(const std::string& expected) const { refuse(expected, description(*value_)); }
  [[noreturn]] void refuse(const std::string& expected, const std::string& found) const {
    throw JsonError(path(), expected, found);
  }

 private:
  template <typename Type>
  [[noreturn]] Type refuse(const std::string& expected) const {
    refuse(expected, description(*value_));
  }

  const JsonValue* value_;
  const std::filesystem::path* folder_;
  const JsonPlace* above_ = nullptr;  // none: the whole text
  const std::string* key_ = nullptr;  // none: an array's element
  std::size_t index_ = 0;
};

enum class Need { kOptional, kRequired };

// A key that an object may have, or must, and what reads its value.
struct JsonField {
  std::string_view key;
  std::function<void(const JsonPlace&)> read;
  Need need = Need::kOptional;
};

// Reads an object whose keys are all among the fields, in the text's order.
void read_fields(const JsonPlace& object, std::initializer_list<JsonField> fields);

// "a", "b" and "c"
std::string enumeration(const std::vector<std::string_view>& keys);

// A field's reader that keeps what another returns.
template <typename Target, typename Read>
auto into(Target& target, Read read) {
  return [&target, read](const JsonPlace& at) { target = read(at); };
}

// A reader for values that are looked at later, together with others.
inline JsonPlace itself(const JsonPlace& at) { return at; }

// Calls with the place of each element.
template <typename Use>
void for_each_element(const JsonPlace& at, const Use& use) {
  const auto& elements = at.get<JsonArray>("an array");
  for (std::size_t index = 0; index < elements.size(); ++index) {
    use(JsonPlace(at, elements, index));
  }
}

// A reader of arrays from one of their elements.
template <typename Read>
auto list_of(Read read) {
  return [read](const JsonPlace& at) {
    std::vector<std::invoke_result_t<Read, const JsonPlace&>> list;
    for_each_element(at, [&](const JsonPlace& element) { list.push_back(read(element)); });
    return list;
  };
}

// An integer from low to high, as the 64 bits that it is in two's complement. `note` follows the range in the error.
std::uint64_t read_integer_bits(const JsonPlace& at, std::int64_t low, std::uint64_t high,
                                const std::string& note = {});

// Any integer of the type, or one from low to its highest.
template <typename Integer, Integer kLow = std::numeric_limits<Integer>::min()>
Integer read_integer(const JsonPlace& at) {
  constexpr Integer kHigh = std::numeric_limits<Integer>::max();
  return static_cast<Integer>(
      read_integer_bits(at, static_cast<std::int64_t>(kLow), static_cast<std::uint64_t>(kHigh)));
}

// 32 bits as they are: an integer from -2147483648 to 4294967295.
std::int32_t read_32_bits(const JsonPlace& at, const std::string& note = {});

bool read_boolean(const JsonPlace& at);

// A name: not empty, without NUL.
std::string read_name(const JsonPlace& at);

// The number that 1 to 8 hexadecimal digits behind 0x are. Nothing when the text is anything else.
std::optional<std::uint32_t> parse_hex_number(std::string_view text);

}  // namespace hub::host
