// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "IOKit/IOKitLib.h"
#include "corefoundation/misuse.h"
#include "corefoundation/never_destroyed.h"
#include "corefoundation/owned.h"
#include "corefoundation/string_object.h"
#include "failures/failures.h"
#include "registry/registry.h"
#include "registry/sole_thread_mutex.h"

namespace hub::platform {
namespace {

using OwnedDictionary = Owned<CFDictionaryRef>;

OwnedDictionary retained(CFDictionaryRef dictionary) {
  return OwnedDictionary(dictionary != nullptr ? static_cast<CFDictionaryRef>(CFRetain(dictionary)) : nullptr);
}

struct Entry : std::enable_shared_from_this<Entry> {
  Entry(RegistryEntryId its_id, const std::string& its_name, const std::string& its_class,
        CFDictionaryRef its_properties)
      : id(its_id), name(its_name), class_name(its_class), properties(retained(its_properties)) {}

  RegistryEntryId id;
  std::string name;
  std::string class_name;
  OwnedDictionary properties;
  std::weak_ptr<Entry> parent;
  std::vector<std::shared_ptr<Entry>> children;
  std::shared_ptr<ServiceBackend> backend;
  io_object_t handle = IO_OBJECT_NULL;  // given when it is first asked for
  std::size_t held_references = 0;      // to the handle
  bool is_removed = false;              // from the registry: lives as long as the handle is held
};

using EntryPointer = std::shared_ptr<Entry>;

// The whole text: one that goes on behind a zero byte is another.
bool is_text(CFTypeRef value, std::string_view text) {
  const Object& object = object_of(value, "IOServiceGetMatchingService");
  return object.type->type_id == kStringTypeId && static_cast<const __CFString&>(object).view() == text;
}

bool is_number(CFTypeRef value, std::uint64_t number) {
  std::int64_t wanted = 0;
  return CFGetTypeID(value) == CFNumberGetTypeID() &&
         CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &wanted) &&
         static_cast<std::uint64_t>(wanted) == number;
}

// What a matching dictionary can ask for.
struct MatchingKey {
  CFStringRef (*key)();
  bool (*fits)(const Entry& entry, CFTypeRef wanted);
};

constexpr MatchingKey kMatchingKeys[] = {
    {[] { return CFSTR(kIOProviderClassKey); },
     [](const Entry& entry, CFTypeRef wanted) { return is_text(wanted, entry.class_name); }},
    {[] { return CFSTR(kIONameMatchKey); },
     [](const Entry& entry, CFTypeRef wanted) { return is_text(wanted, entry.name); }},
    {[] { return CFSTR(kIORegistryEntryIDKey); },
     [](const Entry& entry, CFTypeRef wanted) { return is_number(wanted, entry.id); }},
};

// What one dictionary asks for, looked up once for the whole search.
class Criteria {
 public:
  explicit Criteria(CFDictionaryRef matching) {
    const auto asked = static_cast<std::size_t>(CFDictionaryGetCount(matching));
    for (const MatchingKey& row : kMatchingKeys) {
      CFTypeRef value = nullptr;
      if (count_ < asked && CFDictionaryGetValueIfPresent(matching, row.key(), &value)) {
        wanted_[count_++] = {&row, value};
      }
    }
    has_unknown_key_ = count_ < asked;
  }

  [[nodiscard]] bool fit(const Entry& entry) const {
    for (std::size_t index = 0; index < count_; ++index) {
      const Wanted& wanted = wanted_[index];
      if (wanted.value == nullptr || !wanted.row->fits(entry, wanted.value)) {
        return false;
      }
    }
    return !has_unknown_key_;
  }

 private:
  struct Wanted {
    const MatchingKey* row;
    CFTypeRef value;
  };

  std::array<Wanted, std::size(kMatchingKeys)> wanted_;
  std::size_t count_ = 0;
  bool has_unknown_key_;
};

// The first of these entries and all below them, in the tree's order, that the test holds for.
template <typename Test>
Entry* first_in_tree(const std::vector<EntryPointer>& entries, const Test& test) {
  for (const EntryPointer& entry : entries) {
    if (test(*entry)) {
      return entry.get();
    }
    if (Entry* below = first_in_tree(entry->children, test)) {
      return below;
    }
  }
  return nullptr;
}

class Registry {
 public:
  RegistryEntryId add(RegistryEntryId parent, const std::string& name, const std::string& class_name,
                      CFDictionaryRef properties, RegistryEntryId wanted_id) {
    if (name.size() >= sizeof(io_name_t)) {
      misuse("add_registry_entry", "a name longer than 127 bytes");
    }
    const std::lock_guard lock(mutex_);
    if (wanted_id != kAssignedId && by_id_.contains(wanted_id)) {
      misuse("add_registry_entry", "an id that an entry has already");
    }
    const RegistryEntryId id = wanted_id != kAssignedId ? wanted_id : unused_id();
    auto entry = std::make_shared<Entry>(id, name, class_name, properties);
    if (parent != kNoParent) {
      entry->parent = known(parent, "add_registry_entry");
    }
    std::vector<EntryPointer>& siblings = parent != kNoParent ? known(parent, "add_registry_entry")->children : roots_;
    make_room(siblings);
    by_id_.emplace(id, entry);
    siblings.push_back(std::move(entry));
    is_empty_.store(false, std::memory_order_relaxed);
    return id;
  }

  void set_properties(RegistryEntryId id, CFDictionaryRef properties) {
    OwnedDictionary replaced = retained(properties);  // what was there is released when the lock is gone
    const std::lock_guard lock(mutex_);
    std::swap(known(id, "set_registry_properties")->properties, replaced);
  }

  void set_backend(RegistryEntryId id, std::shared_ptr<ServiceBackend>& backend) {
    const std::lock_guard lock(mutex_);
    std::swap(known(id, "set_service_backend")->backend, backend);
  }

  std::optional<HeldEntry> held(io_registry_entry_t number) {
    const std::lock_guard lock(mutex_);
    const Entry* entry = entry_of(number);
    if (entry == nullptr) {
      return std::nullopt;
    }
    return HeldEntry{entry->id, entry->is_removed ? nullptr : entry->backend};
  }

  // What goes is released without the lock, and nothing is needed for it: not even memory.
  void clear() {
    std::map<RegistryEntryId, EntryPointer> removed_ids;
    std::vector<EntryPointer> removed_roots;
    std::size_t handles = 0;
    {
      const std::lock_guard lock(mutex_);
      removed_ids.swap(by_id_);
      removed_roots.swap(roots_);
      is_empty_.store(true, std::memory_order_relaxed);
      for (const EntryPointer& entry : by_handle_) {
        if (entry != nullptr) {
          entry->is_removed = true;
        }
      }
      handles = by_handle_.size();
    }
    for (std::size_t place = 0; place < handles; ++place) {
      empty_removed(place);
    }
  }

  std::size_t held_references() {
    const std::lock_guard lock(mutex_);
    std::size_t references = 0;
    for (const EntryPointer& entry : by_handle_) {
      references += entry != nullptr ? entry->held_references : 0;
    }
    return references;
  }

  std::size_t wrong_releases() {
    const std::lock_guard lock(mutex_);
    return wrong_releases_;
  }

  io_service_t first_matching(CFDictionaryRef matching) {
    if (is_empty_.load(std::memory_order_relaxed)) {
      return IO_OBJECT_NULL;
    }
    const Criteria criteria(matching);
    const std::lock_guard lock(mutex_);
    Entry* entry = first_in_tree(roots_, [&](const Entry& candidate) { return criteria.fit(candidate); });
    return entry != nullptr ? hand_out(*entry) : IO_OBJECT_NULL;
  }

  CFTypeRef copy_property(io_registry_entry_t number, CFStringRef key) {
    const std::lock_guard lock(mutex_);
    const Entry* entry = entry_of(number);
    if (entry == nullptr || entry->is_removed || entry->properties.get() == nullptr) {
      return nullptr;
    }
    const CFTypeRef value = CFDictionaryGetValue(entry->properties.get(), key);
    return value != nullptr ? CFRetain(value) : nullptr;
  }

  kern_return_t copy_name(io_registry_entry_t number, char* name) {
    const std::lock_guard lock(mutex_);
    const Entry* entry = entry_of(number);
    if (entry == nullptr) {
      return kIOReturnBadArgument;
    }
    std::memcpy(name, entry->name.c_str(), entry->name.size() + 1);
    return kIOReturnSuccess;
  }

  // Hands out the entry that `next` finds from the one behind a handle.
  template <typename Next>
  kern_return_t walk(io_registry_entry_t number, const char* plane, io_registry_entry_t* found, const Next& next) {
    *found = IO_OBJECT_NULL;
    const std::lock_guard lock(mutex_);
    const Entry* from = entry_of(number);
    if (from == nullptr || std::string_view(plane) != kIOServicePlane) {
      return kIOReturnBadArgument;
    }
    const EntryPointer entry = next(*from);
    if (entry == nullptr) {
      return kIOReturnNoDevice;
    }
    return hand_out_to(*found, *entry);
  }

  kern_return_t retain(io_object_t number) {
    const std::lock_guard lock(mutex_);
    Entry* entry = entry_of(number);
    if (entry == nullptr) {
      return kIOReturnBadArgument;
    }
    ++entry->held_references;
    return kIOReturnSuccess;
  }

  kern_return_t release(io_object_t number) {
    const std::lock_guard lock(mutex_);
    Entry* entry = entry_of(number);
    if (entry == nullptr) {
      ++wrong_releases_;
      std::fprintf(stderr, "platform: IOObjectRelease: handle %u is not held\n", number);
      return kIOReturnBadArgument;
    }
    if (--entry->held_references == 0 && entry->is_removed) {
      by_handle_[place_of(number)].reset();
    }
    return kIOReturnSuccess;
  }

 private:
  // Takes out of a removed entry what only the registry's entries have, or the whole entry when nobody holds it.
  void empty_removed(std::size_t place) {
    EntryPointer removed;
    OwnedDictionary properties;
    std::shared_ptr<ServiceBackend> backend;
    std::vector<EntryPointer> children;
    const std::lock_guard lock(mutex_);
    EntryPointer& entry = by_handle_[place];
    if (entry == nullptr || !entry->is_removed) {
      return;
    }
    if (entry->held_references == 0) {
      removed = std::move(entry);
    } else {
      std::swap(properties, entry->properties);
      std::swap(backend, entry->backend);
      std::swap(children, entry->children);
    }
  }

  const EntryPointer& known(RegistryEntryId id, const char* function) {
    const auto entry = by_id_.find(id);
    if (entry == by_id_.end()) {
      misuse(function, "no such entry");
    }
    return entry->second;
  }

  RegistryEntryId unused_id() {
    while (by_id_.contains(next_id_)) {
      ++next_id_;
    }
    return next_id_++;
  }

  // The entry behind a handle that is held, or null.
  [[nodiscard]] Entry* entry_of(io_object_t number) const {
    Entry* entry = place_of(number) < by_handle_.size() ? by_handle_[place_of(number)].get() : nullptr;
    return entry != nullptr && entry->held_references > 0 ? entry : nullptr;
  }

  // Handles count from 1; of IO_OBJECT_NULL, beyond any table.
  static std::size_t place_of(io_object_t number) { return std::size_t{number} - 1; }

  // So that the next push_back does not fail: what is added in two places is in both or in none.
  static void make_room(std::vector<EntryPointer>& entries) {
    constexpr std::size_t kFirstCapacity = 4;
    if (entries.size() == entries.capacity()) {
      entries.reserve(std::max(kFirstCapacity, entries.size() * 2));
    }
  }

  // An entry keeps the handle that it gets first.
  io_object_t hand_out(Entry& entry) {
    if (entry.handle == IO_OBJECT_NULL) {
      by_handle_.push_back(entry.shared_from_this());  // it may fail: the entry has no handle then
      entry.handle = static_cast<io_object_t>(by_handle_.size());
    }
    ++entry.held_references;
    return entry.handle;
  }

  kern_return_t hand_out_to(io_registry_entry_t& found, Entry& entry) try {
    found = hand_out(entry);
    return kIOReturnSuccess;
  } catch (const std::bad_alloc&) {
    return kIOReturnNoMemory;
  }

  SoleThreadMutex mutex_;
  std::atomic<bool> is_empty_ = true;  // for those who ask for a service, each record's clocks among them
  std::vector<EntryPointer> roots_;
  std::map<RegistryEntryId, EntryPointer> by_id_;
  std::vector<EntryPointer> by_handle_;  // the first is that of handle 1
  RegistryEntryId next_id_ = 1;
  std::size_t wrong_releases_ = 0;
};

Registry& registry() {
  static NeverDestroyed<Registry> instance;  // the plug-in may ask until the very end of the process
  return instance.get();
}

}  // namespace

RegistryEntryId add_registry_entry(RegistryEntryId parent, const std::string& name, const std::string& class_name,
                                   CFDictionaryRef properties, RegistryEntryId id) {
  return registry().add(parent, name, class_name, properties, id);
}

void set_registry_properties(RegistryEntryId entry, CFDictionaryRef properties) {
  registry().set_properties(entry, properties);
}

void set_service_backend(RegistryEntryId entry, std::shared_ptr<ServiceBackend> backend) {
  registry().set_backend(entry, backend);
}

std::optional<HeldEntry> held_entry(io_registry_entry_t handle) { return registry().held(handle); }

void clear_registry() { registry().clear(); }

std::size_t held_registry_references() { return registry().held_references(); }

std::size_t wrong_registry_releases() { return registry().wrong_releases(); }

}  // namespace hub::platform

using hub::platform::failing_code;
using hub::platform::fails;
using hub::platform::Fallible;
using hub::platform::registry;

namespace {

// A matching dictionary of one pair; takes the value over. NULL when there is no memory for either.
CFMutableDictionaryRef matching_with(CFStringRef key, CFTypeRef value) {
  const hub::platform::Owned wanted(value);
  hub::platform::Owned matching(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                          &kCFTypeDictionaryValueCallBacks));
  if (wanted.get() == nullptr || matching.get() == nullptr) {
    return nullptr;
  }
  CFDictionarySetValue(matching.get(), key, wanted.get());
  return CFDictionaryGetCount(matching.get()) == 1 ? matching.release() : nullptr;  // an empty one would fit anything
}

CFStringRef create_text(const char* text) {
  return CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingUTF8);
}

}  // namespace

CFMutableDictionaryRef IOServiceMatching(const char* class_name) {
  if (fails(Fallible::kIOServiceMatching)) {
    return nullptr;
  }
  return matching_with(CFSTR(kIOProviderClassKey), create_text(class_name));
}

CFMutableDictionaryRef IOServiceNameMatching(const char* name) {
  if (fails(Fallible::kIOServiceNameMatching)) {
    return nullptr;
  }
  return matching_with(CFSTR(kIONameMatchKey), create_text(name));
}

CFMutableDictionaryRef IORegistryEntryIDMatching(uint64_t registry_id) {
  if (fails(Fallible::kIORegistryEntryIDMatching)) {
    return nullptr;
  }
  const auto number = static_cast<std::int64_t>(registry_id);
  return matching_with(CFSTR(kIORegistryEntryIDKey), CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &number));
}

io_service_t IOServiceGetMatchingService(mach_port_t, CFDictionaryRef matching) try {
  const hub::platform::OwnedDictionary taken_over(matching);
  const bool failing = fails(Fallible::kIOServiceGetMatchingService);
  return matching != nullptr && !failing ? registry().first_matching(matching) : IO_OBJECT_NULL;
} catch (const std::bad_alloc&) {
  return IO_OBJECT_NULL;
}

CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key, CFAllocatorRef, IOOptionBits) {
  if (fails(Fallible::kIORegistryEntryCreateCFProperty)) {
    return nullptr;
  }
  return registry().copy_property(entry, key);
}

kern_return_t IORegistryEntryGetParentEntry(io_registry_entry_t entry, const char* plane, io_registry_entry_t* parent) {
  if (const auto code = failing_code(Fallible::kIORegistryEntryGetParentEntry)) {
    *parent = IO_OBJECT_NULL;
    return *code;
  }
  return registry().walk(entry, plane, parent, [](const hub::platform::Entry& from) { return from.parent.lock(); });
}

kern_return_t IORegistryEntryGetChildEntry(io_registry_entry_t entry, const char* plane, io_registry_entry_t* child) {
  if (const auto code = failing_code(Fallible::kIORegistryEntryGetChildEntry)) {
    *child = IO_OBJECT_NULL;
    return *code;
  }
  return registry().walk(entry, plane, child, [](const hub::platform::Entry& from) {
    return from.children.empty() ? nullptr : from.children.front();
  });
}

kern_return_t IORegistryEntryGetName(io_registry_entry_t entry, io_name_t name) {
  if (const auto code = failing_code(Fallible::kIORegistryEntryGetName)) {
    return *code;
  }
  return registry().copy_name(entry, name);
}

kern_return_t IOObjectRetain(io_object_t object) {
  if (const auto code = failing_code(Fallible::kIOObjectRetain)) {
    return *code;
  }
  return registry().retain(object);
}

kern_return_t IOObjectRelease(io_object_t object) {
  kern_return_t code = kIOReturnSuccess;
  const bool failing = fails(Fallible::kIOObjectRelease, code);
  const kern_return_t result = registry().release(object);
  return failing ? code : result;
}
