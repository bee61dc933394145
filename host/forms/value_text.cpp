// SPDX-License-Identifier: Apache-2.0
#include "host/forms/value_text.h"

#include <array>
#include <charconv>

#include "host/text/utf8_text.h"

namespace hub::host {
namespace {

constexpr std::string_view kHexDigits = "0123456789abcdef";

template <typename... Arguments>
void append_digits(std::string& out, Arguments... arguments) {
  std::array<char, 32> room;  // of 64 bits in decimal, or a double's 17 digits with sign, point and exponent
  char* const end = std::to_chars(room.begin(), room.end(), arguments...).ptr;
  out.append(room.begin(), end);
}

// How a character stands in a JSON string; no text: as it is.
struct Escape {
  std::array<char, 6> text;
  std::uint8_t length;
};

constexpr std::size_t kCharactersWithEscape = 0xA0;
constexpr std::size_t kAsciiEnd = 0x80;

constexpr Escape short_escape(char letter) { return {{'\\', letter}, 2}; }

constexpr Escape numbered_escape(std::size_t character) {
  return {{'\\', 'u', '0', '0', kHexDigits[character / 16], kHexDigits[character % 16]}, 6};
}

constexpr std::array<Escape, kCharactersWithEscape> make_escapes() {
  std::array<Escape, kCharactersWithEscape> escapes{};
  for (std::size_t control = 0; control < ' '; ++control) {
    escapes[control] = numbered_escape(control);
  }
  for (std::size_t control = 0x7F; control < escapes.size(); ++control) {
    escapes[control] = numbered_escape(control);
  }
  escapes['"'] = short_escape('"');
  escapes['\\'] = short_escape('\\');
  escapes['\b'] = short_escape('b');
  escapes['\f'] = short_escape('f');
  escapes['\n'] = short_escape('n');
  escapes['\r'] = short_escape('r');
  escapes['\t'] = short_escape('t');
  return escapes;
}

constexpr std::array<Escape, kCharactersWithEscape> kEscapes = make_escapes();

constexpr std::string_view kLineSeparator = "\u2028";
constexpr std::string_view kParagraphSeparator = "\u2029";

std::uint8_t byte_at(std::string_view text, std::size_t index) { return static_cast<std::uint8_t>(text[index]); }

// How many of the leading bytes are ASCII that stands in a string as it is.
std::size_t plain_bytes(std::string_view text) {
  std::size_t length = 0;
  while (length < text.size() && byte_at(text, length) < kAsciiEnd && kEscapes[byte_at(text, length)].length == 0) {
    ++length;
  }
  return length;
}

// The one of two bytes that has an escape is the control character of its second byte: U+0080 to U+009F.
std::string_view escape_of(std::string_view character) {
  const std::size_t number = character.size() == 1    ? byte_at(character, 0)
                             : character[0] == '\xC2' ? byte_at(character, 1)
                                                      : kCharactersWithEscape;
  if (number < kCharactersWithEscape) {
    return {kEscapes[number].text.data(), kEscapes[number].length};
  }
  if (character == kLineSeparator) {
    return "\\u2028";
  }
  return character == kParagraphSeparator ? "\\u2029" : "";
}

void append_character(std::string& out, std::string_view character) {
  const std::string_view escape = escape_of(character);
  out += escape.empty() ? character : escape;
}

}  // namespace

void append_decimal(std::string& out, std::uint64_t number) { append_digits(out, number); }

void append_hexadecimal(std::string& out, std::uint64_t number) { append_digits(out, number, 16); }

void append_real(std::string& out, double number) { append_digits(out, number); }

void append_hexadecimal(std::string& out, std::span<const std::byte> bytes) {
  for (const std::byte byte : bytes) {
    const auto number = std::to_integer<std::size_t>(byte);
    const char digits[] = {kHexDigits[number / 16], kHexDigits[number % 16]};
    out.append(digits, sizeof digits);
  }
}

void append_json_string(std::string& out, std::string_view text) {
  out += '"';
  while (!text.empty()) {
    const std::size_t plain = plain_bytes(text);
    out += text.substr(0, plain);
    text.remove_prefix(plain);
    if (text.empty()) {
      break;
    }
    const std::size_t length = utf8_character_bytes(text);
    if (length == 0) {
      out += kReplacementCharacter;
      text.remove_prefix(1);
    } else {
      append_character(out, text.substr(0, length));
      text.remove_prefix(length);
    }
  }
  out += '"';
}

}  // namespace hub::host
