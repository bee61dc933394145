// SPDX-License-Identifier: Apache-2.0
// The text of items: " 'key':value,". Collects it in a buffer of its own and hands it to a stream's buffer in pieces,
// so that no number costs a locale look-up and no item a heap allocation.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <streambuf>
#include <string_view>

namespace hub::profile {

// Writes a list of bytes as "[1,20,255]" and returns the end; `out` has room for byte_list_length(bytes).
char* put_byte_list(char* out, std::span<const std::byte> bytes);
std::size_t byte_list_length(std::span<const std::byte> bytes);

// All columns are least widths in bytes of text: shorter values get blanks in front, longer ones are written whole.
// What goes to the stream's buffer bypasses the stream's formatting and state; an exception of the buffer passes
// through.
class ItemWriter {
 public:
  explicit ItemWriter(std::streambuf& out) : out_(out) {}
  ItemWriter(const ItemWriter&) = delete;
  ItemWriter& operator=(const ItemWriter&) = delete;

  void text(std::string_view value);                         // as it stands
  void key(std::string_view name);                           // " 'name':"
  void quoted(std::string_view value, std::size_t column);   // "'value'"
  void number(std::uint64_t value, std::size_t column);      // unsigned decimal
  void quoted_hex(std::uint64_t value, std::size_t column);  // "'ff'": the column is that of the first quote
  void real(double value, std::size_t column);               // six significant digits, as "%g" has them
  void byte_list(std::span<const std::byte> bytes, std::size_t column);  // "[1,20]", of a report's 48 bytes at most

  // Hands over what has been collected. Must be the last call: nothing is written on destruction.
  void flush();

 private:
  void pad(std::size_t length, std::size_t column);
  char* room(std::size_t length);  // where so many bytes can be written; advance() says how far they were
  void advance(const char* end);

  static constexpr std::size_t kBufferSize = 1024;

  std::streambuf& out_;
  std::size_t used_ = 0;
  std::array<char, kBufferSize> buffer_;
};

}  // namespace hub::profile
