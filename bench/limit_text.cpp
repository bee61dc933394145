// SPDX-License-Identifier: Apache-2.0
// All that is fixed is copied in lengths that the compiler knows; names stand ready with quotes and blanks; a number of
// 32 bits has ten digits at most, so that items of them have their place in the line before their value is known.
#include "bench/limit_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "bench/three_types.h"
#include "profile/NEBLogDecoder.h"

namespace hub::bench {
namespace {

constexpr std::size_t kColumn = 10;

// Text that is copied whole, its length is only what the next one's place depends on.
struct Piece {
  std::array<char, 44> text;
  std::uint32_t length;
};

Piece make_piece(std::string_view text) {
  Piece piece{};
  text.copy(piece.text.data(), piece.text.size());
  piece.length = static_cast<std::uint32_t>(text.size());
  return piece;
}

// " 'key':     'value',"
Piece named_item(std::string_view key, const std::string& value, std::size_t column) {
  const std::string blanks(value.size() + 2 < column ? column - value.size() - 2 : 0, ' ');
  return make_piece(" '" + std::string(key) + "':" + blanks + "'" + value + "',");
}

// Items of names by id.
struct Names {
  Names() {
    for (unsigned category = 0; category < kCategories; ++category) {
      categories[category] = named_item("category", NEBLogDecoder::category_to_string(category), 8);
      for (unsigned component = 0; component < kComponents; ++component) {
        const std::string name = NEBLogDecoder::component_to_string(category, component);
        components[category][component] = named_item("component", name, 8);
        for (unsigned event = 0; event < kEvents; ++event) {
          const std::string text = NEBLogDecoder::_decoders[category]->event_name(component, event);
          events[category][component][event] = named_item("event", text, 12);
        }
      }
    }
  }

  Piece categories[kCategories];
  Piece components[kCategories][kComponents];
  Piece events[kCategories][kComponents][kEvents];
};

const Names kNames;

// A byte's decimal text, and a comma behind it.
struct ByteText {
  std::array<char, 4> text;
  std::uint32_t length;
};

std::array<ByteText, 256> make_byte_texts() {
  std::array<ByteText, 256> texts{};
  for (unsigned byte = 0; byte < texts.size(); ++byte) {
    const std::string text = std::to_string(byte) + ",";
    text.copy(texts[byte].text.data(), text.size());
    texts[byte].length = static_cast<std::uint32_t>(text.size());
  }
  return texts;
}

const std::array<ByteText, 256> kByteTexts = make_byte_texts();

using TwoDigits = std::array<char, 2>;

constexpr std::array<TwoDigits, 100> make_two_digits() {
  std::array<TwoDigits, 100> texts{};
  for (std::size_t number = 0; number < texts.size(); ++number) {
    texts[number] = {static_cast<char>('0' + number / 10), static_cast<char>('0' + number % 10)};
  }
  return texts;
}

constexpr std::array<TwoDigits, 100> kTwoDigits = make_two_digits();

template <typename Number>
Number load(const std::uint8_t* bytes) {
  Number value;
  std::memcpy(&value, bytes, sizeof(value));
  return value;
}

template <std::size_t kSize>
char* put(char* out, const char (&text)[kSize]) {
  std::memcpy(out, text, kSize - 1);
  return out + kSize - 1;
}

char* put(char* out, const Piece& piece) {
  std::memcpy(out, piece.text.data(), piece.text.size());
  return out + piece.length;
}

// In a column of ten.
char* put_number(char* out, std::uint32_t value) {
  std::memset(out, ' ', kColumn);
  char* digits = out + kColumn;
  while (value >= 100) {
    digits -= 2;
    std::memcpy(digits, kTwoDigits[value % 100].data(), 2);
    value /= 100;
  }
  if (value >= 10) {
    std::memcpy(digits - 2, kTwoDigits[value].data(), 2);
  } else {
    digits[-1] = static_cast<char>('0' + value);
  }
  return out + kColumn;
}

// A time, in a column of ten that it may exceed.
char* put_time(char* out, std::uint64_t value) {
  if (value <= 0xFFFF'FFFF) {
    return put_number(out, static_cast<std::uint32_t>(value));
  }
  return std::to_chars(out, out + 20, value).ptr;  // ten digits at least
}

// In quotes, the first of which ends a column of ten.
char* put_hex(char* out, std::uint32_t value) {
  out = put(out, "         '");
  out = std::to_chars(out, out + 8, value, 16).ptr;
  *out++ = '\'';
  return out;
}

// A byte and a comma.
char* put_byte(char* out, std::uint8_t byte) {
  const ByteText& entry = kByteTexts[byte];
  std::memcpy(out, entry.text.data(), entry.text.size());
  return out + entry.length;
}

char* put_sensor_name(char* out, const std::uint8_t* name) {
  constexpr std::size_t kLongestName = 12;
  constexpr std::size_t kNameColumn = 14;  // without the quotes
  const std::size_t length = strnlen(reinterpret_cast<const char*>(name), kLongestName);
  std::memset(out, ' ', kNameColumn);
  out += kNameColumn - length;
  *out++ = '\'';
  std::memcpy(out, name, kLongestName);
  out += length;
  *out++ = '\'';
  return out;
}

char* put_event(char* out, const std::uint8_t* payload) {
  out = put_number(put(out, " 'arg1':"), load<std::uint32_t>(payload));
  out = put_number(put(out, ", 'arg2':"), load<std::uint32_t>(payload + 4));
  out = put_number(put(out, ", 'arg3':"), load<std::uint32_t>(payload + 8));
  out = put_number(put(out, ", 'arg4':"), load<std::uint32_t>(payload + 12));
  out = put_number(put(out, ", 'arg5':"), load<std::uint32_t>(payload + 16));
  out = put_number(put(out, ", 'arg6':"), load<std::uint32_t>(payload + 20));
  out = put_hex(put(out, ", 'xarg1':"), load<std::uint32_t>(payload));
  out = put_hex(put(out, ", 'xarg2':"), load<std::uint32_t>(payload + 4));
  out = put_hex(put(out, ", 'xarg3':"), load<std::uint32_t>(payload + 8));
  out = put_hex(put(out, ", 'xarg4':"), load<std::uint32_t>(payload + 12));
  out = put_hex(put(out, ", 'xarg5':"), load<std::uint32_t>(payload + 16));
  out = put_hex(put(out, ", 'xarg6':"), load<std::uint32_t>(payload + 20));
  return put(out, ", 'type-id':3, 'category-id':");
}

char* put_function(char* out, const std::uint8_t* payload) {
  out = put_number(put(out, " 'function-id':"), load<std::uint32_t>(payload));
  out = put_number(put(out, ", 'extra-id':"), load<std::uint32_t>(payload + 4));
  out = put_number(put(out, ", 'thread-id':"), load<std::uint32_t>(payload + 8));
  out = put_number(put(out, ", 'duration':"), load<std::uint32_t>(payload + 12));
  out = put_number(put(out, ", 'depth':"), load<std::uint32_t>(payload + 16));
  out = put_number(put(out, ", 'thread_duration':"), load<std::uint32_t>(payload + 20));
  return put(out, ", 'type-id':5, 'category-id':");
}

char* put_sensor_info(char* out, const std::uint8_t* payload) {
  out = put_sensor_name(put(out, " 'name':"), payload + 19);
  out = put_number(put(out, ", 'report-interval':"), load<std::uint32_t>(payload));
  out = put_number(put(out, ", 'batch-interval':"), load<std::uint32_t>(payload + 4));
  out = put_number(put(out, ", 'threshold':"), load<std::uint32_t>(payload + 8));
  out = put_number(put(out, ", 'time-limit':"), load<std::uint32_t>(payload + 12));
  out = put_number(put(out, ", 'connected':"), payload[16]);
  out = put_number(put(out, ", 'decimation':"), payload[17]);
  out = put_number(put(out, ", 'gyroPowerMode':"), payload[18]);
  return put(out, ", 'type-id':8, 'category-id':");
}

}  // namespace

char* put_limit_text(char* out, const _HubProfileReport& record) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(&record);
  out = put(out, "{ ");
  out = put(out, kNames.categories[record.category_id]);
  out = put(out, kNames.components[record.category_id][record.component_id]);
  out = put(out, kNames.events[record.category_id][record.component_id][record.event_id]);
  switch (record.type_id) {
    case 3:
      out = put(out, " 'type':     'event', 'timestamp':");
      break;
    case 5:
      out = put(out, " 'type':  'function', 'timestamp':");
      break;
    default:
      out = put(out, " 'type':'sensorinfo', 'timestamp':");
  }
  out = put_time(out, load<std::uint64_t>(bytes + 8));
  out = put_number(put(out, ", 'sequence_num':"), load<std::uint32_t>(bytes + 4));
  *out++ = ',';
  switch (record.type_id) {
    case 3:
      out = put_event(out, record.payload);
      break;
    case 5:
      out = put_function(out, record.payload);
      break;
    default:
      out = put_sensor_info(out, record.payload);
  }
  out = put_byte(out, record.category_id);
  out = put_byte(put(out, " 'component-id':"), record.component_id);
  out = put_byte(put(out, " 'event-id':"), record.event_id);
  out = put(out, " 'binary-data':[");
  for (std::size_t index = 0; index < sizeof(record); ++index) {
    out = put_byte(out, bytes[index]);
  }
  out[-1] = ']';  // in place of the last comma
  *out = '}';
  return out + 1;
}

}  // namespace hub::bench
