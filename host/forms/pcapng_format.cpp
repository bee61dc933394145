// SPDX-License-Identifier: Apache-2.0
#include "host/forms/pcapng_format.h"

#include <array>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace hub::host {
namespace {

constexpr std::uint32_t kSectionHeaderBlock = 0x0A0D0D0A;
constexpr std::uint32_t kInterfaceDescriptionBlock = 1;
constexpr std::uint32_t kEnhancedPacketBlock = 6;

constexpr std::uint32_t kByteOrderMagic = 0x1A2B3C4D;
constexpr std::uint16_t kMajorVersion = 1;
constexpr std::uint16_t kMinorVersion = 0;
constexpr std::uint64_t kSectionLengthNotTold = ~std::uint64_t{0};
constexpr std::uint16_t kLinkTypeUser0 = 147;
constexpr std::uint16_t kReserved = 0;
constexpr std::uint32_t kNoPacketLimit = 0;
constexpr std::uint32_t kFirstInterface = 0;

constexpr std::uint16_t kEndOfOptions = 0;
constexpr std::uint16_t kInterfaceName = 2;
constexpr std::uint16_t kSectionApplication = 4;
constexpr std::uint16_t kTimeResolution = 9;
constexpr std::string_view kMicroseconds = "\x06";  // negative power of ten of a second

constexpr std::uint64_t kNanosecondsPerMicrosecond = 1000;

// A number, little-endian.
template <typename Number, typename Out>
void put(Out& out, Number number) {
  std::array<char, sizeof(Number)> bytes;
  for (std::size_t index = 0; index < bytes.size(); ++index) {
    bytes[index] = static_cast<char>(number >> (8 * index) & 0xFF);
  }
  out += std::string_view(bytes.data(), bytes.size());
}

// Padded to a multiple of four bytes, which the length does not count.
void put_option(std::string& out, std::uint16_t code, std::string_view value) {
  put(out, code);
  put(out, static_cast<std::uint16_t>(value.size()));
  out += value;
  out.append((4 - value.size() % 4) % 4, '\0');
}

// The length of a block, which stands in front of its body and behind it.
constexpr std::uint32_t block_length_bytes(std::size_t body_bytes) {
  return static_cast<std::uint32_t>(3 * sizeof(std::uint32_t) + body_bytes);
}

void put_block(TextBuffer& out, std::uint32_t type, std::string_view body) {
  put(out, type);
  put(out, block_length_bytes(body.size()));
  out += body;
  put(out, block_length_bytes(body.size()));
}

std::string section_header(std::string_view application) {
  std::string body;
  put(body, kByteOrderMagic);
  put(body, kMajorVersion);
  put(body, kMinorVersion);
  put(body, kSectionLengthNotTold);
  if (!application.empty()) {
    put_option(body, kSectionApplication, application);
    put_option(body, kEndOfOptions, {});
  }
  return body;
}

std::string interface_description(std::string_view device) {
  std::string body;
  put(body, kLinkTypeUser0);
  put(body, kReserved);
  put(body, kNoPacketLimit);
  put_option(body, kInterfaceName, device);
  put_option(body, kTimeResolution, kMicroseconds);
  put_option(body, kEndOfOptions, {});
  return body;
}

void check_length(std::string_view what, std::string_view text) {
  if (text.size() > kMaxPcapngTextBytes) {
    throw std::length_error(std::string(what) + " has " + std::to_string(text.size()) + " bytes, expected at most " +
                            std::to_string(kMaxPcapngTextBytes));
  }
}

}  // namespace

PcapngFormat::PcapngFormat(PcapngOrigin origin) : origin_(std::move(origin)) {
  check_length("the application's name", origin_.application);
  check_length("the device's name", origin_.device);
}

void PcapngFormat::begin(TextBuffer& out) {
  put_block(out, kSectionHeaderBlock, section_header(origin_.application));
  put_block(out, kInterfaceDescriptionBlock, interface_description(origin_.device));
}

bool PcapngFormat::append(const _HubProfileReport& report, TextBuffer& out) {
  constexpr std::uint32_t kPacketBytes = sizeof report;
  constexpr std::uint32_t kBlockBytes = block_length_bytes(5 * sizeof(std::uint32_t) + kPacketBytes);
  const std::uint64_t time_us =
      origin_.clock_pair ? calendar_time_us(*origin_.clock_pair, report.timestamp) : report.timestamp;
  put(out, kEnhancedPacketBlock);
  put(out, kBlockBytes);
  put(out, kFirstInterface);
  put(out, static_cast<std::uint32_t>(time_us >> 32));
  put(out, static_cast<std::uint32_t>(time_us));
  put(out, kPacketBytes);  // as captured
  put(out, kPacketBytes);  // as sent
  out += std::string_view(reinterpret_cast<const char*>(&report), kPacketBytes);
  put(out, kBlockBytes);
  return true;
}

std::uint64_t calendar_time_us(const ClockPair& pair, std::uint64_t timestamp_us) {
  const std::uint64_t time_ns = timestamp_us * kNanosecondsPerMicrosecond + static_cast<std::uint64_t>(pair.calendar) -
                                static_cast<std::uint64_t>(pair.hub);
  return time_ns / kNanosecondsPerMicrosecond;
}

}  // namespace hub::host
