// SPDX-License-Identifier: Apache-2.0
// The objects of a tree as a binary property list lists them: one after the other, equal ones once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "corefoundation/contents.h"
#include "corefoundation/object.h"

namespace hub::platform {

// One object of the file. Two items of the same kind, bits and bytes are one and the same: kinds of numbers differ
// where CFEqual compares values alone.
struct BinaryItem {
  enum Kind : std::uint8_t { kFalse, kTrue, kInteger, kSingle, kDouble, kData, kAscii, kUtf16, kArray, kDictionary };

  [[nodiscard]] bool is_collection() const { return kind == kArray || kind == kDictionary; }
  [[nodiscard]] bool same_as(const BinaryItem& other) const {
    return kind == other.kind && bits == other.bits && bytes == other.bytes;
  }
  // Of a collection: its references to keys, values and elements.
  [[nodiscard]] std::size_t references() const { return kind == kDictionary ? 2 * length : length; }

  Kind kind = kFalse;
  bool on_path = false;             // a collection whose members are being collected
  std::uint32_t hash = 0;           // of the kind's contents
  std::size_t length = 0;           // as the file counts it: bytes, characters, units, members, pairs
  std::size_t first_reference = 0;  // a collection's
  std::uint64_t bits = 0;           // a number's value or pattern; which object a collection is
  std::string_view bytes;           // of data, and of a text in UTF-8; lent by the object
};

// The items of one tree, a collection before its members, keys before values. A collection that stands in several
// places is one item. The memory is the allocator's; std::bad_alloc leaves every function when there is none.
class BinaryItems {
 public:
  explicit BinaryItems(CFAllocatorRef allocator);

  // Takes in a whole tree; once. False when it is no property list: an object of another type or none at all, a key
  // that is no text, or a collection inside itself.
  bool collect(CFTypeRef tree);

  [[nodiscard]] std::span<const BinaryItem> items() const { return items_; }

  // Items by their place, those of each collection in a row from its first_reference on.
  [[nodiscard]] std::span<const std::size_t> references() const { return references_; }

 private:
  // A collection on the way from the top of the tree to the member that comes next: an element or, when all keys are
  // there, a value.
  struct Level {
    [[nodiscard]] std::size_t members() const { return values.size() + pairs.size(); }
    [[nodiscard]] CFTypeRef member() const { return pairs.empty() ? values[next] : pairs[next].value; }

    std::size_t item;
    std::size_t first_reference;          // that of the first member
    std::span<const void* const> values;  // an array's
    std::span<const KeyAndValue> pairs;   // a dictionary's
    std::size_t next = 0;
  };

  // Open addressing: where an item of this hash stands, plus one, or 0.
  struct Slot {
    std::uint32_t hash;
    std::uint32_t place_plus_one;
  };

  // Where the item's place stands, or is to be put.
  Slot& slot_of(const BinaryItem& item) {
    const std::size_t mask = slots_.size() - 1;
    std::size_t index = item.hash & mask;
    while (slots_[index].place_plus_one != 0 &&
           (slots_[index].hash != item.hash || !items_[slots_[index].place_plus_one - 1].same_as(item))) {
      index = (index + 1) & mask;
    }
    return slots_[index];
  }

  std::size_t add(CFTypeRef value);
  bool add_member(Level& level);
  bool add_keys(std::span<const KeyAndValue> pairs, std::size_t reference);
  bool enter(const Object& collection);
  void make_room_for(std::size_t more_items);
  void grow_slots(std::size_t items);

  template <typename T>
  using Vector = std::vector<T, StandardAllocator<T>>;

  Vector<BinaryItem> items_;
  Vector<std::size_t> references_;
  Vector<Level> path_;
  Vector<Slot> slots_;    // their number is a power of two
  std::size_t room_ = 0;  // so many items have slots
};

}  // namespace hub::platform
