// SPDX-License-Identifier: Apache-2.0
#include "propertylist/binary_items.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <functional>

namespace hub::platform {
namespace {

constexpr std::size_t kRefused = SIZE_MAX;  // in place of an item
constexpr std::size_t kSlotsPerItem = 2;    // at least: the table is never more than half full

// For so many members of a collection room is made at once; of very many, few may be different.
constexpr std::size_t kMostRoomAhead = 1024;

// Each of these fills an item that is new: what it does not name stays as it is.
void describe(const NumberContents& number, BinaryItem& item) {
  switch (number.fixed_type) {
    case kCFNumberFloat32Type:
      item.kind = BinaryItem::kSingle;
      item.bits = std::bit_cast<std::uint32_t>(static_cast<float>(number.real));
      break;
    case kCFNumberFloat64Type:
      item.kind = BinaryItem::kDouble;
      item.bits = std::bit_cast<std::uint64_t>(number.real);
      break;
    default:
      item.kind = BinaryItem::kInteger;
      item.bits = static_cast<std::uint64_t>(number.integer);
      break;
  }
}

void describe(const StringContents& text, BinaryItem& item) {
  item.kind = text.ascii ? BinaryItem::kAscii : BinaryItem::kUtf16;
  item.length = text.utf16_length;
  item.bytes = text.utf8;
}

void describe_data(std::string_view bytes, BinaryItem& item) {
  item.kind = BinaryItem::kData;
  item.length = bytes.size();
  item.bytes = bytes;
}

void describe_collection(BinaryItem::Kind kind, const Object& object, std::size_t length, BinaryItem& item) {
  item.kind = kind;
  item.length = length;
  item.bits = reinterpret_cast<std::uintptr_t>(&object);
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

// Neighbouring numbers and addresses spread over the whole table.
std::size_t hash_of(const BinaryItem& item) {
  constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15;
  const std::uint64_t contents = item.bytes.empty() ? item.bits : std::hash<std::string_view>{}(item.bytes);
  return contents * kSpread >> 32U;
}

}  // namespace

BinaryItems::BinaryItems(CFAllocatorRef allocator)
    : items_(StandardAllocator<BinaryItem>(allocator)),
      references_(StandardAllocator<std::size_t>(allocator)),
      path_(StandardAllocator<Level>(allocator)),
      slots_(StandardAllocator<std::size_t>(allocator)) {}

CFTypeRef BinaryItems::Level::member() const {
  if (pairs.empty()) {
    return values[next];
  }
  return at_key() ? pairs[next].key : pairs[next - pairs.size()].value;
}

bool BinaryItems::collect(CFTypeRef tree) {
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
  const std::size_t reference = items_[level.item].first_reference + level.next;
  const bool is_key = level.at_key();
  const CFTypeRef member = level.member();
  ++level.next;
  const std::size_t item = add(member);
  if (item == kRefused || (is_key && !items_[item].is_text())) {
    return false;
  }
  references_[reference] = item;
  return true;
}

// The place of the item; kRefused when it cannot be one, or contains itself.
std::size_t BinaryItems::add(CFTypeRef value) {
  if (value == nullptr) {
    return kRefused;
  }
  const Object& object = object_of(value, "CFPropertyListCreateData");
  make_room_for(1);
  BinaryItem& item = items_.emplace_back();  // described where it stands, and taken back when it is known
  if (!describe(object, item)) {
    return kRefused;
  }
  std::size_t& slot = slot_of(item);
  if (slot != 0) {
    items_.pop_back();
    const std::size_t known = slot - 1;
    return items_[known].on_path ? kRefused : known;
  }
  slot = items_.size();
  const std::size_t place = slot - 1;
  if (item.is_collection()) {
    enter(object);
  }
  return place;
}

// The collection is the last item: its members come next.
void BinaryItems::enter(const Object& collection) {
  BinaryItem& item = items_.back();
  Level level{items_.size() - 1, {}, {}};
  if (item.kind == BinaryItem::kArray) {
    level.values = contents_of_array(collection);
  } else {
    level.pairs = contents_of_dictionary(collection);
  }
  item.on_path = true;
  item.first_reference = references_.size();
  references_.resize(references_.size() + level.members());
  make_room_for(std::min(level.members(), kMostRoomAhead));
  path_.push_back(level);
}

// Where the item's place stands, or is to be put.
std::size_t& BinaryItems::slot_of(const BinaryItem& item) {
  std::size_t index = hash_of(item) & (slots_.size() - 1);
  while (slots_[index] != 0 && !items_[slots_[index] - 1].same_as(item)) {
    index = (index + 1) & (slots_.size() - 1);
  }
  return slots_[index];
}

void BinaryItems::make_room_for(std::size_t more_items) {
  const std::size_t items = items_.size() + more_items;
  if (items * kSlotsPerItem <= slots_.size()) {
    return;
  }
  slots_.assign(std::bit_ceil(items * kSlotsPerItem), 0);
  items_.reserve(slots_.size() / kSlotsPerItem);
  for (std::size_t place = 0; place < items_.size(); ++place) {
    slot_of(items_[place]) = place + 1;
  }
}

}  // namespace hub::platform
