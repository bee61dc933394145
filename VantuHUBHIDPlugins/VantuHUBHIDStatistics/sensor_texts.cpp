// SPDX-License-Identifier: Apache-2.0
#include "sensor_texts.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "little_endian.h"

namespace {

template <typename... Arguments>
SensorText formatted(const char* format, Arguments... arguments) {
  SensorText text;
  std::snprintf(text.data(), text.size(), format, arguments...);
  return text;
}

// The text at the front of some bytes: up to its zero, or to their end.
std::string_view textOf(SensorReply bytes) {
  const auto end = std::find(bytes.begin(), bytes.end(), std::byte{0});
  return {reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(end - bytes.begin())};
}

int number(SensorReply reply, std::size_t at) { return static_cast<std::int32_t>(load_le<std::uint32_t>(reply, at)); }

// The element of a matrix of 16.16 numbers.
double fixed(SensorReply reply, std::size_t element) { return number(reply, 4 * element) * 0x1p-16; }

int signedByte(SensorReply reply, std::size_t at) { return static_cast<std::int8_t>(load_le<std::uint8_t>(reply, at)); }

}  // namespace

SensorText plainText(SensorReply reply) {
  const std::string_view text = textOf(reply);
  return formatted("%.*s", static_cast<int>(text.size()), text.data());
}

SensorText locationText(SensorReply reply) {
  const int letter = signedByte(reply, 0);
  return letter != 0 ? formatted("%c alternate=%d", letter, number(reply, 1)) : formatted("%s", "N/A");
}

SensorText fixedMatrixText(SensorReply reply) {
  return formatted("%f %f %f | %f %f %f | %f %f %f", fixed(reply, 0), fixed(reply, 1), fixed(reply, 2), fixed(reply, 3),
                   fixed(reply, 4), fixed(reply, 5), fixed(reply, 6), fixed(reply, 7), fixed(reply, 8));
}

SensorText offsetText(SensorReply reply) {
  return formatted("%d %d %d", number(reply, 0), number(reply, 4), number(reply, 8));
}

SensorText orientationText(SensorReply reply) {
  return formatted("%d %d %d, %d %d %d, %d %d %d", signedByte(reply, 0), signedByte(reply, 1), signedByte(reply, 2),
                   signedByte(reply, 3), signedByte(reply, 4), signedByte(reply, 5), signedByte(reply, 6),
                   signedByte(reply, 7), signedByte(reply, 8));
}

// A count of 32 bits, then words of 16. Kept: the index goes in steps of two while the words of an index are four bytes
// apart, so that every other pair of words is shown.
SensorText registersText(SensorReply reply) {
  constexpr std::size_t kFirstPairAt = 4;
  constexpr std::size_t kPairLength = 4;
  const auto count = load_le<std::uint32_t>(reply, 0);
  SensorText text{};
  std::size_t length = 0;
  for (std::size_t index = 0; index < count; index += 2) {
    const std::size_t at = kFirstPairAt + kPairLength * index;
    if (at + kPairLength > reply.size()) {
      break;
    }
    const int written = std::snprintf(text.data() + length, text.size() - length, "R%02x=%02x ",
                                      static_cast<unsigned>(load_le<std::uint16_t>(reply, at)),
                                      static_cast<unsigned>(load_le<std::uint16_t>(reply, at + 2)));
    length = std::min(length + static_cast<std::size_t>(written), text.size() - 1);
  }
  return text;
}

//   0  12  name, up to its zero
//  12   4  report interval
//  16   4  batch interval
//  20   4  threshold
//  24   4  time limit
//  28   1  in use
//  29   2  not shown
SensorText clientText(SensorReply client) {
  const std::string_view name = textOf(client.first(12));
  return formatted("%.*s: report=%d batch=%d threshold=%d timelimit=%d", static_cast<int>(name.size()), name.data(),
                   number(client, 12), number(client, 16), number(client, 20), number(client, 24));
}
