// SPDX-License-Identifier: Apache-2.0
// The pairs of a dictionary, in the order in which their keys were set, and where each key stands. Keys and values are
// pointers that mean nothing here.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

#include "corefoundation/contents.h"
#include "corefoundation/object.h"

namespace hub::platform {

// All in one block of memory: the pairs, the hash of each key and, when there are more pairs than a look-up goes
// through one by one, a table of slots: open addressing, a pair's position plus one, or 0.
class PairTable {
 public:
  static constexpr std::size_t kNowhere = SIZE_MAX;

  // `expected` pairs find room at once, within reason.
  PairTable(CFAllocatorRef allocator, std::size_t expected)
      : allocator_(allocator), first_capacity_(std::bit_ceil(std::clamp(expected, kScanned, kMostExpected))) {}
  PairTable(const PairTable&) = delete;
  PairTable& operator=(const PairTable&) = delete;
  ~PairTable() { deallocate(allocator_, pairs_); }

  [[nodiscard]] std::size_t size() const { return size_; }
  [[nodiscard]] std::span<const KeyAndValue> pairs() const { return {pairs_, size_}; }
  [[nodiscard]] const KeyAndValue& operator[](std::size_t position) const { return pairs_[position]; }
  [[nodiscard]] KeyAndValue& operator[](std::size_t position) { return pairs_[position]; }

  // The position of this very key among the pairs that are gone through one by one, or kNowhere. Most who ask have the
  // constant string that the pair was set with.
  [[nodiscard]] std::size_t find_same(const void* key) const {
    for (std::size_t position = 0; capacity_ <= kScanned && position < size_; ++position) {
      if (pairs_[position].key == key) {
        return position;
      }
    }
    return kNowhere;
  }

  // The position of the key of this hash that `is_it` is true for, or kNowhere.
  template <typename IsIt>
  [[nodiscard]] std::size_t find(std::uint32_t hash, const IsIt& is_it) const {
    if (capacity_ <= kScanned) {
      for (std::size_t position = 0; position < size_; ++position) {
        if (hashes_[position] == hash && is_it(pairs_[position].key)) {
          return position;
        }
      }
      return kNowhere;
    }
    for (std::size_t slot = first_slot(hash); slots_[slot] != 0; slot = next_slot(slot)) {
      const std::size_t position = slots_[slot] - 1;
      if (hashes_[position] == hash && is_it(pairs_[position].key)) {
        return position;
      }
    }
    return kNowhere;
  }

  // Makes sure that one more pair can be appended. Throws std::bad_alloc and changes nothing when there is no memory.
  void make_room() {
    if (size_ == capacity_) {
      grow();
    }
  }

  // There is room, and the key is not there yet.
  void append(const void* key, const void* value, std::uint32_t hash);

  // The pairs behind it move up by one.
  void remove(std::size_t position);

  void clear();

 private:
  static constexpr std::size_t kScanned = 8;
  static constexpr std::size_t kSlotsPerPair = 2;
  static constexpr std::size_t kGrowth = 4;  // dozens of entries move once
  static constexpr std::size_t kMostExpected = 1024;

  [[nodiscard]] std::size_t slot_count() const { return capacity_ > kScanned ? capacity_ * kSlotsPerPair : 0; }
  [[nodiscard]] std::size_t first_slot(std::uint32_t hash) const { return hash & (slot_count() - 1); }
  [[nodiscard]] std::size_t next_slot(std::size_t slot) const { return (slot + 1) & (slot_count() - 1); }
  void grow();
  void fill_slots();
  void take_slot(std::size_t position);

  CFAllocatorRef allocator_;
  std::size_t first_capacity_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;  // a power of two
  KeyAndValue* pairs_ = nullptr;
  std::uint32_t* hashes_ = nullptr;
  std::uint32_t* slots_ = nullptr;
};

}  // namespace hub::platform
