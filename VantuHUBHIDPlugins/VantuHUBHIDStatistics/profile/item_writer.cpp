// SPDX-License-Identifier: Apache-2.0
#include "profile/item_writer.h"

#include <algorithm>
#include <cassert>
#include <charconv>
#include <cstring>

namespace hub::profile {
namespace {

constexpr std::size_t kLongestNumber = 24;  // of 64 bits in decimal or hexadecimal, or six digits with an exponent

// Every byte's decimal text, and a comma behind it.
struct ByteText {
  std::array<char, 4> text;
  std::uint8_t length;  // the comma included
};

constexpr ByteText make_byte_text(unsigned byte) {
  ByteText entry{};
  const auto put = [&entry](unsigned character) { entry.text[entry.length++] = static_cast<char>(character); };
  if (byte >= 100) {
    put('0' + byte / 100);
  }
  if (byte >= 10) {
    put('0' + byte / 10 % 10);
  }
  put('0' + byte % 10);
  put(',');
  return entry;
}

constexpr std::array<ByteText, 256> make_byte_texts() {
  std::array<ByteText, 256> texts{};
  for (unsigned byte = 0; byte < texts.size(); ++byte) {
    texts[byte] = make_byte_text(byte);
  }
  return texts;
}

constexpr std::array<ByteText, 256> kByteTexts = make_byte_texts();

const ByteText& byte_text(std::byte byte) { return kByteTexts[std::to_integer<std::size_t>(byte)]; }

}  // namespace

std::size_t byte_list_length(std::span<const std::byte> bytes) {
  std::size_t length = bytes.empty() ? 2 : 1;  // each byte's comma but the last, whose place the closing bracket takes
  for (const std::byte byte : bytes) {
    length += byte_text(byte).length;
  }
  return length;
}

char* put_byte_list(char* out, std::span<const std::byte> bytes) {
  *out++ = '[';
  for (const std::byte byte : bytes) {
    const ByteText& entry = byte_text(byte);
    out = std::copy_n(entry.text.data(), entry.length, out);
  }
  if (!bytes.empty()) {
    --out;  // the last comma
  }
  *out++ = ']';
  return out;
}

void ItemWriter::text(std::string_view value) {
  if (value.size() > kBufferSize - used_) {
    flush();
    if (value.size() > kBufferSize) {
      out_.sputn(value.data(), static_cast<std::streamsize>(value.size()));
      return;
    }
  }
  value.copy(buffer_.data() + used_, value.size());
  used_ += value.size();
}

void ItemWriter::key(std::string_view name) {
  text(" '");
  text(name);
  text("':");
}

void ItemWriter::quoted(std::string_view value, std::size_t column) {
  constexpr std::size_t kTwoQuotes = 2;
  pad(value.size() + kTwoQuotes, column);
  text("'");
  text(value);
  text("'");
}

void ItemWriter::number(std::uint64_t value, std::size_t column) {
  std::array<char, kLongestNumber> digits;
  const char* end = std::to_chars(digits.begin(), digits.end(), value).ptr;
  const auto length = static_cast<std::size_t>(end - digits.data());
  pad(length, column);
  text({digits.data(), length});
}

void ItemWriter::quoted_hex(std::uint64_t value, std::size_t column) {
  constexpr int kHexadecimal = 16;
  pad(1, column);
  text("'");
  char* out = room(kLongestNumber);
  advance(std::to_chars(out, out + kLongestNumber, value, kHexadecimal).ptr);
  text("'");
}

void ItemWriter::real(double value, std::size_t column) {
  constexpr int kSignificantDigits = 6;
  std::array<char, kLongestNumber> digits;
  const char* end =
      std::to_chars(digits.begin(), digits.end(), value, std::chars_format::general, kSignificantDigits).ptr;
  const auto length = static_cast<std::size_t>(end - digits.data());
  pad(length, column);
  text({digits.data(), length});
}

void ItemWriter::byte_list(std::span<const std::byte> bytes, std::size_t column) {
  const std::size_t length = byte_list_length(bytes);
  pad(length, column);
  advance(put_byte_list(room(length), bytes));
}

void ItemWriter::flush() {
  out_.sputn(buffer_.data(), static_cast<std::streamsize>(used_));
  used_ = 0;
}

void ItemWriter::pad(std::size_t length, std::size_t column) {
  if (length < column) {
    const std::size_t blanks = column - length;
    std::memset(room(blanks), ' ', blanks);
    used_ += blanks;
  }
}

char* ItemWriter::room(std::size_t length) {
  assert(length <= kBufferSize);
  if (length > kBufferSize - used_) {
    flush();
  }
  return buffer_.data() + used_;
}

void ItemWriter::advance(const char* end) { used_ = static_cast<std::size_t>(end - buffer_.data()); }

}  // namespace hub::profile
