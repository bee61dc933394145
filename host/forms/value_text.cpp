// SPDX-License-Identifier: Apache-2.0
#include "host/forms/value_text.h"

#include <array>

#include "host/text/utf8_text.h"

namespace hub::host {
namespace {

// How a character stands in a JSON string; no text: as it is.
struct Escape {
  std::array<char, 6> text;
  std::uint8_t length;
};

constexpr std::size_t kCharactersWithEscape = 0xA0;
constexpr std::size_t kAsciiEnd = 0x80;

consteval Escape short_escape(char letter) { return {{'\\', letter}, 2}; }

consteval Escape numbered_escape(std::size_t character) {
  return {{'\\', 'u', '0', '0', kHexadecimalDigits[character / 16], kHexadecimalDigits[character % 16]}, 6};
}

consteval std::array<Escape, kCharactersWithEscape> make_escapes() {
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

consteval std::array<std::uint8_t, 256> make_traits() {
  std::array<std::uint8_t, 256> traits{};
  for (std::size_t byte = 0; byte < traits.size(); ++byte) {
    traits[byte] = byte >= kAsciiEnd || kEscapes[byte].length > 0 ? kHasJsonEscape : kPlainText;
  }
  traits[' '] |= kHasBlank;
  for (const char delimiter : {',', '"', '\r', '\n'}) {
    traits[static_cast<std::uint8_t>(delimiter)] |= kHasCsvDelimiter;
  }
  return traits;
}

constexpr std::array<std::uint8_t, 256> kTraits = make_traits();

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

// Appends the first character, escaped where that must be, and takes it off the text. False when the first byte belongs
// to no character: then the replacement character stands for it.
bool append_character(TextBuffer& out, std::string_view& text) {
  const std::size_t length = utf8_character_bytes(text);
  const std::string_view character = text.substr(0, length);
  const std::string_view escape = length > 0 ? escape_of(character) : kReplacementCharacter;
  out += escape.empty() ? character : escape;
  text.remove_prefix(length > 0 ? length : 1);
  return length > 0;
}

}  // namespace

std::uint8_t traits_of(std::string_view text) {
  std::uint8_t traits = kPlainText;
  for (const char character : text) {
    traits |= kTraits[static_cast<std::uint8_t>(character)];
  }
  return traits;
}

bool append_json_string(TextBuffer& out, std::string_view text) {
  bool is_all_characters = true;
  out += '"';
  if ((traits_of(text) & kHasJsonEscape) == 0) {
    out += text;
    text = {};
  }
  while (!text.empty()) {
    is_all_characters &= append_character(out, text);
  }
  out += '"';
  return is_all_characters;
}

void append_json_name(TextBuffer& out, std::string_view name, std::uint64_t number) {
  out += '"';
  append_name(out, name, number);
  out += '"';
}

}  // namespace hub::host
