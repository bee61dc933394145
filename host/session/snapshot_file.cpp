// SPDX-License-Identifier: Apache-2.0
#include "host/session/snapshot_file.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <string_view>
#include <system_error>
#include <vector>

#include "host/io/descriptor.h"

namespace hub::host {
namespace {

using Bytes = std::span<const std::byte>;

constexpr std::size_t kTypeAt = 0;
constexpr std::size_t kDataSizeAt = 4;
constexpr std::size_t kTitleAt = 136;
constexpr std::size_t kTitleSize = 64;
constexpr std::size_t kHeadSize = 200;
constexpr std::uint32_t kPropertyListType = 1;

[[noreturn]] void refuse(const std::string& file, std::size_t offset, const std::string& what) {
  throw SnapshotError(file + ": offset " + std::to_string(offset) + ": " + what);
}

std::uint32_t load_u32(Bytes bytes, std::size_t offset) {
  std::uint32_t value = 0;
  for (std::size_t index = sizeof value; index > 0; --index) {
    value = value << 8U | std::to_integer<std::uint32_t>(bytes[offset + index - 1]);
  }
  return value;
}

std::size_t record_size(Bytes head) { return kHeadSize + load_u32(head, kDataSizeAt); }

void check_head(Bytes record, const std::string& file) {
  if (record.size() < kHeadSize) {
    refuse(file, record.size(), "the end, expected a head of " + std::to_string(kHeadSize) + " bytes");
  }
  if (const std::uint32_t type = load_u32(record, kTypeAt); type != kPropertyListType) {
    refuse(file, kTypeAt,
           "type " + std::to_string(type) + ", expected " + std::to_string(kPropertyListType) + ", a property list");
  }
  if (record.size() < record_size(record)) {
    refuse(file, kDataSizeAt,
           std::to_string(load_u32(record, kDataSizeAt)) + " bytes of data, expected the " +
               std::to_string(record.size() - kHeadSize) + " that follow the head");
  }
  if (record.size() > record_size(record)) {
    refuse(file, record_size(record), "more bytes, expected the end");
  }
}

std::string read_title(Bytes record, const std::string& file) {
  const Bytes field = record.subspan(kTitleAt, kTitleSize);
  const auto end = std::find(field.begin(), field.end(), std::byte{0});
  if (end == field.end()) {
    refuse(file, kTitleAt, "a title without an end, expected a zero within " + std::to_string(kTitleSize) + " bytes");
  }
  return {reinterpret_cast<const char*>(field.data()), static_cast<std::size_t>(end - field.begin())};
}

platform::PropertyListValue read_contents(Bytes record, const std::string& file) try {
  return platform::read_property_list(record.subspan(kHeadSize));
} catch (const platform::PropertyListError& error) {
  refuse(file, kHeadSize, std::string("a damaged property list: from there, ") + error.what());
}

// Reads on until there are so many bytes or the end is reached: a file has the memory of what is there, not of what it
// says.
void read_up_to(int descriptor, std::size_t size_bytes, std::vector<std::byte>& bytes) {
  constexpr std::size_t kBlockSize = 65536;
  while (bytes.size() < size_bytes) {
    const std::size_t before = bytes.size();
    bytes.resize(before + std::min(kBlockSize, size_bytes - before));
    const std::size_t length = read_some(descriptor, std::span(bytes).subspan(before));
    bytes.resize(before + length);
    if (length == 0) {
      return;
    }
  }
}

// The whole record, and one byte more when there is one.
std::vector<std::byte> read_record(const std::string& file) try {
  const Descriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  if (descriptor.number() < 0) {
    throw std::system_error(errno, std::generic_category());
  }
  std::vector<std::byte> record;
  read_up_to(descriptor.number(), kHeadSize, record);
  if (record.size() == kHeadSize && load_u32(record, kTypeAt) == kPropertyListType) {
    read_up_to(descriptor.number(), record_size(record) + 1, record);
  }
  return record;
} catch (const std::system_error& error) {
  throw SnapshotError(file + ": cannot be read: " + error.code().message());
}

}  // namespace

Snapshot read_snapshot(std::span<const std::byte> record, const std::string& file) {
  check_head(record, file);
  return {read_title(record, file), read_contents(record, file)};
}

Snapshot read_snapshot_file(const std::string& file) { return read_snapshot(read_record(file), file); }

}  // namespace hub::host
