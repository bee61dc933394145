// SPDX-License-Identifier: Apache-2.0
#include "propertylist/binary_writer.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string_view>

#include "propertylist/big_endian.h"
#include "propertylist/binary_format.h"
#include "propertylist/utf16.h"

namespace hub::platform {
namespace {

constexpr std::size_t kSingleSize = 4;
constexpr std::size_t kDoubleSize = 8;
constexpr std::size_t kUtf16UnitSize = 2;

std::size_t head_size(std::size_t length) { return length < kLengthBehindMarker ? 1 : 2 + smallest_size(length); }

// A number whose marker tells its size as a power of two.
std::byte* write_number(BinaryMarker marker, std::uint64_t bits, std::size_t size_bytes, std::byte* to) {
  *to = static_cast<std::byte>(marker | std::countr_zero(size_bytes));
  return store_be(bits, size_bytes, to + 1);
}

std::byte* write_integer(std::uint64_t value, std::byte* to) {
  return write_number(kIntegerMarker, value, smallest_size(value), to);
}

std::byte* write_head(BinaryMarker marker, std::size_t length, std::byte* to) {
  if (length < kLengthBehindMarker) {
    *to = static_cast<std::byte>(marker | length);
    return to + 1;
  }
  *to = static_cast<std::byte>(marker | kLengthBehindMarker);
  return write_integer(length, to + 1);
}

std::byte* write_bytes(std::string_view bytes, std::byte* to) {
  std::memcpy(to, bytes.data(), bytes.size());
  return to + bytes.size();
}

}  // namespace

// Both sizes leave room for one more than the largest value that occurs: readers hold them against the number of
// objects and the table's own offset.
BinaryWriter::BinaryWriter(const BinaryItems& items)
    : items_(items.items()),
      references_(items.references()),
      reference_size_(smallest_size(items_.size())),
      offset_table_start_(kBinaryHead.size()) {
  for (const BinaryItem& item : items_) {
    offset_table_start_ += size_of(item);
  }
  offset_size_ = smallest_size(offset_table_start_);
}

std::size_t BinaryWriter::size_bytes() const {
  return offset_table_start_ + items_.size() * offset_size_ + kTrailerSize;
}

std::size_t BinaryWriter::size_of(const BinaryItem& item) const {
  switch (item.kind) {
    case BinaryItem::kFalse:
    case BinaryItem::kTrue:
      return 1;
    case BinaryItem::kInteger:
      return 1 + smallest_size(item.bits);
    case BinaryItem::kSingle:
      return 1 + kSingleSize;
    case BinaryItem::kDouble:
      return 1 + kDoubleSize;
    case BinaryItem::kData:
    case BinaryItem::kAscii:
      return head_size(item.length) + item.length;
    case BinaryItem::kUtf16:
      return head_size(item.length) + item.length * kUtf16UnitSize;
    default:
      return head_size(item.length) + item.references() * reference_size_;
  }
}

void BinaryWriter::write(std::byte* to) const {
  std::byte* const start = to;
  std::byte* offset_at = start + offset_table_start_;
  to = write_bytes(kBinaryHead, to);
  for (const BinaryItem& item : items_) {
    offset_at = store_be(static_cast<std::uint64_t>(to - start), offset_size_, offset_at);
    to = write_item(item, to);
  }
  write_trailer(offset_at);
}

std::byte* BinaryWriter::write_item(const BinaryItem& item, std::byte* to) const {
  switch (item.kind) {
    case BinaryItem::kFalse:
    case BinaryItem::kTrue:
      return store_be(item.kind == BinaryItem::kTrue ? kTrueMarker : kFalseMarker, 1, to);
    case BinaryItem::kInteger:
      return write_integer(item.bits, to);
    case BinaryItem::kSingle:
      return write_number(kRealMarker, item.bits, kSingleSize, to);
    case BinaryItem::kDouble:
      return write_number(kRealMarker, item.bits, kDoubleSize, to);
    case BinaryItem::kData:
      return write_bytes(item.bytes, write_head(kDataMarker, item.length, to));
    case BinaryItem::kAscii:
      return write_bytes(item.bytes, write_head(kAsciiMarker, item.length, to));
    case BinaryItem::kUtf16:
      return write_utf16(item.bytes, write_head(kUtf16Marker, item.length, to));
    case BinaryItem::kArray:
      return write_references(item, write_head(kArrayMarker, item.length, to));
    default:
      return write_references(item, write_head(kDictionaryMarker, item.length, to));
  }
}

std::byte* BinaryWriter::write_references(const BinaryItem& item, std::byte* to) const {
  const std::span places = references_.subspan(item.first_reference, item.references());
  if (reference_size_ == 1) {  // as in every snapshot
    return std::transform(places.begin(), places.end(), to, [](std::size_t place) { return std::byte(place); });
  }
  for (const std::size_t place : places) {
    to = store_be(place, reference_size_, to);
  }
  return to;
}

void BinaryWriter::write_trailer(std::byte* to) const {
  constexpr std::size_t kUnusedSize = kOffsetSizeAt;
  to = store_be(0, kUnusedSize, to);
  to = store_be(offset_size_, 1, to);
  to = store_be(reference_size_, 1, to);
  to = store_be(items_.size(), 8, to);
  to = store_be(0, 8, to);  // the top object
  store_be(offset_table_start_, 8, to);
}

}  // namespace hub::platform
