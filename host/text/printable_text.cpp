// SPDX-License-Identifier: Apache-2.0
#include "host/text/printable_text.h"

#include <algorithm>
#include <cstdint>

#include "CoreFoundation/CoreFoundation.h"

namespace hub::host {
namespace {

bool is_utf8(std::string_view text) {
  const CFStringRef string = CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
                                                     static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false);
  if (string == nullptr) {
    return false;
  }
  CFRelease(string);
  return true;
}

void append_hex(char character, std::string& text) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  const auto byte = static_cast<std::uint8_t>(character);
  text += {'\\', 'x', kDigits[byte / 16U], kDigits[byte % 16U]};
}

// The bytes of the control character, if any, that the text starts with: U+0000 to U+001F, U+007F, U+0080 to U+009F.
std::size_t control_length(std::string_view text) {
  const auto byte_at = [text](std::size_t index) { return static_cast<std::uint8_t>(text[index]); };
  if (byte_at(0) < ' ' || byte_at(0) == 0x7F) {
    return 1;
  }
  return text.size() > 1 && byte_at(0) == 0xC2 && byte_at(1) < 0xA0 ? 2 : 0;
}

}  // namespace

std::string printable(std::string_view text) {
  const bool utf8 = is_utf8(text);
  std::string shown;
  while (!text.empty()) {
    const bool foreign = !utf8 && static_cast<std::uint8_t>(text.front()) >= 0x80;
    const std::size_t hidden = foreign ? 1 : control_length(text);
    for (const char character : text.substr(0, hidden)) {
      append_hex(character, shown);
    }
    if (hidden == 0) {
      shown += text.front();
    }
    text.remove_prefix(std::max<std::size_t>(hidden, 1));
  }
  return shown;
}

// Bytes that continue a character take no room.
std::size_t width_of(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char byte) { return (static_cast<unsigned>(byte) & 0xC0U) != 0x80U; }));
}

}  // namespace hub::host
