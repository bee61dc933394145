// SPDX-License-Identifier: Apache-2.0
#include "propertylist/binary_items.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <new>

#include "corefoundation/byte_hash.h"

namespace hub::platform {
namespace {

constexpr const char* kFunction = "CFPropertyListCreateData";  // as misuses are told
constexpr std::size_t kRefused = SIZE_MAX;                     // in place of an item
constexpr std::size_t kSlotsPerItem = 2;                       // at least: the table is never more than half full

// For so many members of a collection room is made at once; of very many, few may be different.
constexpr std::size_t kMostRoomAhead = 1024;

// That of a sensor's snapshot, or of the lines of one read.
constexpr std::size_t kFirstRoom = 64;

// Neighbouring numbers and addresses spread over the whole table.
std::uint32_t spread(std::uint64_t bits) {
  constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15;
  return static_cast<std::uint32_t>(bits * kSpread >> 32U);
}

// Each of these fills an item that is new: what it does not name stays as it is.
void describe_bits(BinaryItem::Kind kind, std::uint64_t bits, BinaryItem& item) {
  item.kind = kind;
  item.bits = bits;
  item.hash = spread(bits);
}

void describe(const NumberContents& number, BinaryItem& item) {
  switch (number.fixed_type) {
    case kCFNumberFloat32Type:
      describe_bits(BinaryItem::kSingle, std::bit_cast<std::uint32_t>(static_cast<float>(number.real)), item);
      break;
    case kCFNumberFloat64Type:
      describe_bits(BinaryItem::kDouble, std::bit_cast<std::uint64_t>(number.real), item);
      break;
    default:
      describe_bits(BinaryItem::kInteger, static_cast<std::uint64_t>(number.integer), item);
      break;
  }
}

void describe(const StringContents& text, BinaryItem& item) {
  item.kind = text.ascii ? BinaryItem::kAscii : BinaryItem::kUtf16;
  item.length = text.utf16_length;
  item.bytes = text.utf8;
  item.hash = spread(text.hash);
}

void describe_data(std::string_view bytes, BinaryItem& item) {
  item.kind = BinaryItem::kData;
  item.length = bytes.size();
  item.bytes = bytes;
  item.hash = spread(ByteHash::of(bytes));
}

void describe_collection(BinaryItem::Kind kind, const Object& object, std::size_t length, BinaryItem& item) {
  describe_bits(kind, reinterpret_cast<std::uintptr_t>(&object), item);
  item.length = length;
}

// False for an object that no property list holds.
bool describe(const Object& object, BinaryItem& item) {
  switch (object.type->type_id) {
    case kStringTypeId:
      describe(contents_of_string(object), item);
      return true;
    case kNumberTypeId:
      describe(contents_of_number(object), item);
      return true;
    case kBooleanTypeId:
      item.kind = contents_of_boolean(object) ? BinaryItem::kTrue : BinaryItem::kFalse;
      return true;
    case kDataTypeId:
      describe_data(contents_of_data(object), item);
      return true;
    case kArrayTypeId:
      describe_collection(BinaryItem::kArray, object, contents_of_array(object).size(), item);
      return true;
    case kDictionaryTypeId:
      describe_collection(BinaryItem::kDictionary, object, contents_of_dictionary(object).size(), item);
      return true;
    default:
      return false;
  }
}

}  // namespace

BinaryItems::BinaryItems(CFAllocatorRef allocator)
    : items_(StandardAllocator<BinaryItem>(allocator)),
      references_(StandardAllocator<std::size_t>(allocator)),
      path_(StandardAllocator<Level>(allocator)),
      slots_(StandardAllocator<Slot>(allocator)) {}

bool BinaryItems::collect(CFTypeRef tree) {
  make_room_for(kFirstRoom);
  if (add(tree) == kRefused) {
    return false;
  }
  while (!path_.empty()) {
    Level& level = path_.back();
    if (level.next == level.members()) {
      items_[level.item].on_path = false;
      path_.pop_back();
    } else if (!add_member(level)) {
      return false;
    }
  }
  return true;
}

// The level may have moved in memory afterwards.
bool BinaryItems::add_member(Level& level) {
  const std::size_t reference = level.first_reference + level.next;
  const CFTypeRef member = level.member();
  ++level.next;
  const std::size_t item = add(member);
  references_[reference] = item;
  return item != kRefused;
}

// No key has members: all of them go in at once.
bool BinaryItems::add_keys(std::span<const KeyAndValue> pairs, std::size_t reference) {
  for (const KeyAndValue& pair : pairs) {
    if (pair.key == nullptr || object_of(pair.key, kFunction).type->type_id != kStringTypeId) {
      return false;
    }
    references_[reference++] = add(pair.key);
  }
  return true;
}

// The place of the item; kRefused when it cannot be one, or contains itself.
std::size_t BinaryItems::add(CFTypeRef value) {
  if (value == nullptr) {
    return kRefused;
  }
  const Object& object = object_of(value, kFunction);
  if (items_.size() == room_) {
    make_room_for(1);
  }
  BinaryItem& item = items_.emplace_back();  // described where it stands, and taken back when it is known
  if (!describe(object, item)) {
    return kRefused;
  }
  Slot& slot = slot_of(item);
  if (slot.place_plus_one != 0) {
    items_.pop_back();
    const std::size_t known = slot.place_plus_one - 1;
    return items_[known].on_path ? kRefused : known;
  }
  const std::size_t place = items_.size() - 1;
  slot = {item.hash, static_cast<std::uint32_t>(place + 1)};
  return !item.is_collection() || enter(object) ? place : kRefused;
}

// The collection is the last item: its keys are added, and its values or elements come next.
bool BinaryItems::enter(const Object& collection) {
  BinaryItem& item = items_.back();
  const std::size_t first_reference = references_.size();
  Level level{items_.size() - 1, first_reference, {}, {}};
  if (item.kind == BinaryItem::kArray) {
    level.values = contents_of_array(collection);
  } else {
    level.pairs = contents_of_dictionary(collection);
    level.first_reference += level.pairs.size();
  }
  item.on_path = true;
  item.first_reference = first_reference;
  references_.resize(first_reference + item.references());
  path_.push_back(level);
  make_room_for(std::min(level.members() + level.pairs.size(), kMostRoomAhead));
  return add_keys(level.pairs, first_reference);
}

void BinaryItems::make_room_for(std::size_t more_items) {
  const std::size_t items = items_.size() + more_items;
  if (items > room_) {
    grow_slots(items);
  }
}

void BinaryItems::grow_slots(std::size_t items) {
  if (items >= UINT32_MAX) {  // more than a slot can name
    throw std::bad_alloc();
  }
  slots_.assign(std::bit_ceil(items * kSlotsPerItem), Slot{});
  room_ = slots_.size() / kSlotsPerItem;
  items_.reserve(room_);
  for (std::size_t place = 0; place < items_.size(); ++place) {
    slot_of(items_[place]) = {items_[place].hash, static_cast<std::uint32_t>(place + 1)};
  }
}

}  // namespace hub::platform
