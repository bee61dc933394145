// SPDX-License-Identifier: Apache-2.0
#include "corefoundation/pair_table.h"

#include <algorithm>
#include <new>
#include <utility>

namespace hub::platform {

void PairTable::append(const void* key, const void* value, std::uint32_t hash) {
  pairs_[size_].key = key;
  pairs_[size_].value = value;
  hashes_[size_] = hash;
  ++size_;
  if (slot_count() != 0) {
    take_slot(size_ - 1);
  }
}

void PairTable::remove(std::size_t position) {
  std::copy(pairs_ + position + 1, pairs_ + size_, pairs_ + position);
  std::copy(hashes_ + position + 1, hashes_ + size_, hashes_ + position);
  --size_;
  fill_slots();
}

void PairTable::clear() {
  size_ = 0;
  fill_slots();
}

void PairTable::grow() {
  const std::size_t capacity = std::max(first_capacity_, capacity_ * kGrowth);
  const std::size_t slots = capacity > kScanned ? capacity * kSlotsPerPair : 0;
  void* block = allocate(allocator_, capacity * (sizeof *pairs_ + sizeof *hashes_) + slots * sizeof *slots_);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  auto* pairs = static_cast<KeyAndValue*>(block);
  auto* hashes = reinterpret_cast<std::uint32_t*>(pairs + capacity);
  std::copy(pairs_, pairs_ + size_, pairs);
  std::copy(hashes_, hashes_ + size_, hashes);
  deallocate(allocator_, std::exchange(pairs_, pairs));
  hashes_ = hashes;
  slots_ = hashes + capacity;
  capacity_ = capacity;
  fill_slots();
}

void PairTable::fill_slots() {
  if (slot_count() == 0) {
    return;
  }
  std::fill_n(slots_, slot_count(), 0U);
  for (std::size_t position = 0; position < size_; ++position) {
    take_slot(position);
  }
}

void PairTable::take_slot(std::size_t position) {
  std::size_t slot = first_slot(hashes_[position]);
  while (slots_[slot] != 0) {
    slot = next_slot(slot);
  }
  slots_[slot] = static_cast<std::uint32_t>(position + 1);
}

}  // namespace hub::platform
