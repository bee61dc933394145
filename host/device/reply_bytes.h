// SPDX-License-Identifier: Apache-2.0
// The ways in which a device file states bytes. All of it throws JsonError.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "host/device/json_place.h"
#include "host/device/replies.h"

namespace hub::host {

// An object that states bytes, told by one of its keys.
struct ByteForm {
  std::string_view key;
  void (*append)(const JsonPlace& object, Bytes& bytes);
};

// "hex", "file", "text", the integers from "u8" to "i64", "fixed".
std::span<const ByteForm> byte_forms();

// "0a 0b": pairs of hexadecimal digits; blanks are ignored.
void append_hex_digits(const JsonPlace& text, Bytes& bytes);

// The number's lowest bytes, the lowest first.
void append_little_endian(std::uint64_t number, std::size_t width_bytes, Bytes& bytes);

}  // namespace hub::host
