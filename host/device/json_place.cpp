// SPDX-License-Identifier: Apache-2.0
#include "host/device/json_place.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace hub::host {
namespace {

const JsonField* field_of(const std::string& key, std::initializer_list<JsonField> fields) {
  const auto* field = std::find_if(fields.begin(), fields.end(), [&](const JsonField& f) { return f.key == key; });
  return field == fields.end() ? nullptr : field;
}

std::string keys_of(std::initializer_list<JsonField> fields) {
  std::vector<std::string_view> keys;
  for (const JsonField& field : fields) {
    keys.push_back(field.key);
  }
  return (keys.size() == 1 ? "only the key " : "only the keys ") + enumeration(keys);
}

bool has_key(const JsonObject& object, std::string_view key) {
  return std::any_of(object.begin(), object.end(), [key](const JsonMember& member) { return member.key == key; });
}

// The bits of an integer from low to high.
struct BitsInRange {
  std::int64_t low;
  std::uint64_t high;

  std::optional<std::uint64_t> operator()(std::int64_t number) const {
    return number >= low && std::cmp_less_equal(number, high) ? std::optional(static_cast<std::uint64_t>(number))
                                                              : std::nullopt;
  }
  std::optional<std::uint64_t> operator()(std::uint64_t number) const {
    return number <= high ? std::optional(number) : std::nullopt;
  }
  template <typename Other>
  std::optional<std::uint64_t> operator()(const Other& /*no integer, or beyond 64 bits*/) const {
    return std::nullopt;
  }
};

}  // namespace

std::string JsonPlace::path() const {
  if (above_ == nullptr) {
    return "$";
  }
  return above_->path() + (key_ != nullptr ? path_step(*key_) : path_step(index_));
}

std::string enumeration(const std::vector<std::string_view>& keys) {
  std::string text;
  for (std::size_t index = 0; index < keys.size(); ++index) {
    text += index == 0 ? "" : index + 1 == keys.size() ? " and " : ", ";
    text += in_quotes(keys[index]);
  }
  return text;
}

void read_fields(const JsonPlace& object, std::initializer_list<JsonField> fields) {
  const auto& members = object.get<JsonObject>("an object");
  for (const JsonMember& member : members) {
    const JsonPlace place(object, member);
    const JsonField* field = field_of(member.key, fields);
    if (field == nullptr) {
      place.refuse(keys_of(fields), in_quotes(member.key));
    }
    field->read(place);
  }
  for (const JsonField& field : fields) {
    if (field.need == Need::kRequired && !has_key(members, field.key)) {
      throw JsonError(object.path() + path_step(field.key), "a value, which is required", "none");
    }
  }
}

std::uint64_t read_integer_bits(const JsonPlace& at, std::int64_t low, std::uint64_t high, const std::string& note) {
  const auto bits = std::visit(BitsInRange{low, high}, at.value().value);
  if (!bits) {
    at.refuse("an integer from " + std::to_string(low) + " to " + std::to_string(high) + note);
  }
  return *bits;
}

std::int32_t read_32_bits(const JsonPlace& at, const std::string& note) {
  constexpr auto kLow = std::numeric_limits<std::int32_t>::min();
  constexpr auto kHigh = std::numeric_limits<std::uint32_t>::max();
  return static_cast<std::int32_t>(read_integer_bits(at, kLow, kHigh, note));
}

bool read_boolean(const JsonPlace& at) { return at.get<bool>("true or false"); }

std::string read_name(const JsonPlace& at) {
  constexpr const char* kExpected = "a name, not empty and without NUL";
  const auto& name = at.get<std::string>(kExpected);
  if (name.empty() || name.find('\0') != std::string::npos) {
    at.refuse(kExpected);
  }
  return name;
}

std::optional<std::uint32_t> parse_hex_number(std::string_view text) {
  constexpr std::string_view kPrefix = "0x";
  constexpr std::size_t kMaxDigits = 8;
  constexpr int kHexadecimal = 16;
  if (!text.starts_with(kPrefix) || text.size() > kPrefix.size() + kMaxDigits) {
    return std::nullopt;
  }
  std::uint32_t number = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data() + kPrefix.size(), end, number, kHexadecimal);
  return result.ec == std::errc() && result.ptr == end ? std::optional(number) : std::nullopt;
}

}  // namespace hub::host
