// SPDX-License-Identifier: Apache-2.0
#include "host/device/reply_bytes.h"

#include <algorithm>
#include <cmath>
#include <concepts>
#include <limits>
#include <optional>
#include <string>
#include <type_traits>
#include <variant>

#include "host/device/neighbour_file.h"

namespace hub::host {
namespace {

// { "hex": "0a 0b" }
void append_hex(const JsonPlace& object, Bytes& bytes) {
  read_fields(object, {{"hex", [&](const JsonPlace& at) { append_hex_digits(at, bytes); }, Need::kRequired}});
}

// { "file": "name.bin", "offset": 0, "length": 1536 }
void append_file(const JsonPlace& object, Bytes& bytes) {
  FilePart part;
  read_fields(object, {{"file", into(part.file, itself), Need::kRequired},
                       {"offset", into(part.offset, itself)},
                       {"length", into(part.length, itself)}});
  append_file_part(part, bytes);
}

// { "text": "ACME", "size": 32 }. Replies are small; a size beyond this is a slip, and would only fill memory.
constexpr std::size_t kLargestTextSizeBytes = 16777216;

std::size_t read_text_size(const JsonPlace& at, std::size_t length_bytes) {
  const std::string note = ", with a text of " + in_bytes(length_bytes);
  const std::size_t largest = std::max(kLargestTextSizeBytes, length_bytes);
  return read_integer_bits(at, static_cast<std::int64_t>(length_bytes), largest, note);
}

void append_text(const JsonPlace& object, Bytes& bytes) {
  std::optional<JsonPlace> text_place;
  std::optional<JsonPlace> size_place;
  read_fields(object, {{"text", into(text_place, itself), Need::kRequired}, {"size", into(size_place, itself)}});
  const auto& text = text_place->get<std::string>("a text");
  const std::size_t size = size_place ? read_text_size(*size_place, text.size()) : text.size();
  const std::size_t before = bytes.size();
  bytes.resize(before + size);
  std::transform(text.begin(), text.end(), bytes.begin() + static_cast<std::ptrdiff_t>(before),
                 [](char character) { return static_cast<std::byte>(character); });
}

// One number, or a list of them.
template <typename Append>
void append_numbers(const JsonPlace& object, std::string_view key, const Append& append) {
  const auto one_or_list = [&](const JsonPlace& at) {
    if (at.get_if<JsonArray>() != nullptr) {
      for_each_element(at, append);
    } else {
      append(at);
    }
  };
  read_fields(object, {{key, one_or_list, Need::kRequired}});
}

// { "u8": 1 } to { "i64": [1, 2] }
template <std::integral Integer>
void append_integers(const JsonPlace& object, Bytes& bytes) {
  const std::string key = (std::is_signed_v<Integer> ? "i" : "u") + std::to_string(8 * sizeof(Integer));
  append_numbers(object, key, [&bytes](const JsonPlace& at) {
    append_little_endian(static_cast<std::uint64_t>(read_integer<Integer>(at)), sizeof(Integer), bytes);
  });
}

// Any number as a double. What is beyond 64 bits is out of every range that this is used for, as infinity is.
struct ToDouble {
  std::optional<double> operator()(std::int64_t number) const { return static_cast<double>(number); }
  std::optional<double> operator()(std::uint64_t number) const { return static_cast<double>(number); }
  std::optional<double> operator()(double number) const { return number; }
  template <typename Other>
  std::optional<double> operator()(const Other& /*no number, or beyond 64 bits*/) const {
    return std::nullopt;
  }
};

// The nearest signed 16.16, halves away from zero. Scaling by a power of two is exact, so the rounding is the only one.
std::int32_t read_fixed(const JsonPlace& at) {
  constexpr double kOne = 65536;
  const std::optional<double> number = std::visit(ToDouble{}, at.value().value);
  const double rounded = std::round(number.value_or(0) * kOne);
  if (!number || rounded < std::numeric_limits<std::int32_t>::min() ||
      rounded > std::numeric_limits<std::int32_t>::max()) {
    at.refuse("a number whose nearest 16.16 is from -32768 to 32767.9999847412109375");
  }
  return static_cast<std::int32_t>(rounded);
}

// { "fixed": 1.5 }
void append_fixed(const JsonPlace& object, Bytes& bytes) {
  append_numbers(object, "fixed", [&bytes](const JsonPlace& at) {
    append_little_endian(static_cast<std::uint32_t>(read_fixed(at)), sizeof(std::int32_t), bytes);
  });
}

constexpr ByteForm kByteForms[] = {
    {"hex", append_hex},
    {"file", append_file},
    {"text", append_text},
    {"u8", append_integers<std::uint8_t>},
    {"u16", append_integers<std::uint16_t>},
    {"u32", append_integers<std::uint32_t>},
    {"u64", append_integers<std::uint64_t>},
    {"i8", append_integers<std::int8_t>},
    {"i16", append_integers<std::int16_t>},
    {"i32", append_integers<std::int32_t>},
    {"i64", append_integers<std::int64_t>},
    {"fixed", append_fixed},
};

constexpr unsigned kNoDigit = 16;

unsigned digit_of(char character) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  const bool capital = character >= 'A' && character <= 'F';
  return static_cast<unsigned>(
      std::min<std::size_t>(kDigits.find(capital ? static_cast<char>(character - 'A' + 'a') : character), kNoDigit));
}

bool is_blank(char character) { return character == ' ' || character == '\t'; }

}  // namespace

std::span<const ByteForm> byte_forms() { return kByteForms; }

void append_hex_digits(const JsonPlace& text_place, Bytes& bytes) {
  const auto& text = text_place.get<std::string>("hexadecimal digits and blanks");
  std::optional<unsigned> high;
  for (std::size_t index = 0; index < text.size(); ++index) {
    if (is_blank(text[index])) {
      continue;
    }
    const unsigned digit = digit_of(text[index]);
    if (digit == kNoDigit) {
      text_place.refuse("hexadecimal digits and blanks",
                        "something else at byte " + std::to_string(index) + " of " + description(text_place.value()));
    }
    if (high) {
      bytes.push_back(static_cast<std::byte>(*high << 4U | digit));
      high.reset();
    } else {
      high = digit;
    }
  }
  if (high) {
    text_place.refuse("an even number of hexadecimal digits");
  }
}

void append_little_endian(std::uint64_t number, std::size_t width_bytes, Bytes& bytes) {
  for (std::size_t index = 0; index < width_bytes; ++index) {
    bytes.push_back(static_cast<std::byte>(number >> (8 * index)));
  }
}

}  // namespace hub::host
