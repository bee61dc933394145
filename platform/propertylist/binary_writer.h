// SPDX-License-Identifier: Apache-2.0
// Collected items to the bytes of a binary property list.
#pragma once

#include <cstddef>
#include <span>

#include "propertylist/binary_items.h"

namespace hub::platform {

// Knows the size before anything is written. Uses the items, which outlive it.
class BinaryWriter {
 public:
  explicit BinaryWriter(const BinaryItems& items);

  [[nodiscard]] std::size_t size_bytes() const;

  // Writes size_bytes() bytes.
  void write(std::byte* to) const;

 private:
  [[nodiscard]] std::size_t size_of(const BinaryItem& item) const;
  std::byte* write_item(const BinaryItem& item, std::byte* to) const;
  std::byte* write_references(const BinaryItem& item, std::byte* to) const;
  void write_trailer(std::byte* to) const;

  std::span<const BinaryItem> items_;
  std::span<const std::size_t> references_;
  std::size_t reference_size_;
  std::size_t offset_table_start_;
  std::size_t offset_size_;
};

}  // namespace hub::platform
