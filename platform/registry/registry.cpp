// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
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
#include "corefoundation/owned.h"
#include "corefoundation/utf8.h"
#include "registry/registry_host.h"

namespace hub::platform {
namespace {

using OwnedDictionary = Owned<CFDictionaryRef>;

OwnedDictionary retained(CFDictionaryRef dictionary) {
  return OwnedDictionary(dictionary != nullptr ? static_cast<CFDictionaryRef>(CFRetain(dictionary)) : nullptr);
}

struct Entry {
  RegistryEntryId id;
  std::string name;
  std::string class_name;
  OwnedDictionary properties;
  std::vector<std::shared_ptr<Entry>> children;
};

using EntryPointer = std::shared_ptr<Entry>;

struct Handle {
  EntryPointer entry;
  std::size_t references;
};

// The whole text: one that goes on behind a zero byte is another.
bool is_text(CFTypeRef value, const std::string& text) {
  if (CFGetTypeID(value) != CFStringGetTypeID()) {
    return false;
  }
  const auto string = static_cast<CFStringRef>(value);
  return text == CFStringGetCStringPtr(string, kCFStringEncodingUTF8) &&
         CFStringGetLength(string) == static_cast<CFIndex>(examine_utf8(text).utf16_length);
}

// What a matching dictionary can ask for.
struct MatchingKey {
  CFStringRef (*key)();
  bool (*fits)(const Entry& entry, CFTypeRef wanted);
};

constexpr MatchingKey kMatchingKeys[] = {
    {[] { return CFSTR(kIOProviderClassKey); },
     [](const Entry& entry, CFTypeRef wanted) { return is_text(wanted, entry.class_name); }},
};

// What one dictionary asks for, looked up once for the whole search.
class Criteria {
 public:
  explicit Criteria(CFDictionaryRef matching) {
    CFIndex known = 0;
    for (std::size_t row = 0; row < wanted_.size(); ++row) {
      is_wanted_[row] = CFDictionaryGetValueIfPresent(matching, kMatchingKeys[row].key(), &wanted_[row]);
      known += is_wanted_[row] ? 1 : 0;
    }
    has_unknown_key_ = known < CFDictionaryGetCount(matching);
  }

  [[nodiscard]] bool fit(const Entry& entry) const {
    if (has_unknown_key_) {
      return false;
    }
    for (std::size_t row = 0; row < wanted_.size(); ++row) {
      if (is_wanted_[row] && (wanted_[row] == nullptr || !kMatchingKeys[row].fits(entry, wanted_[row]))) {
        return false;
      }
    }
    return true;
  }

 private:
  std::array<CFTypeRef, std::size(kMatchingKeys)> wanted_{};
  std::array<bool, std::size(kMatchingKeys)> is_wanted_{};
  bool has_unknown_key_;
};

// The first of these entries and all below them, in the tree's order, that the test holds for.
template <typename Test>
EntryPointer first_in_tree(const std::vector<EntryPointer>& entries, const Test& test) {
  for (const EntryPointer& entry : entries) {
    if (test(*entry)) {
      return entry;
    }
    if (EntryPointer below = first_in_tree(entry->children, test)) {
      return below;
    }
  }
  return nullptr;
}

class Registry {
 public:
  RegistryEntryId add(RegistryEntryId parent, const std::string& name, const std::string& class_name,
                      CFDictionaryRef properties) {
    const std::lock_guard lock(mutex_);
    auto entry = std::make_shared<Entry>(Entry{next_id_, name, class_name, retained(properties), {}});
    (parent == kNoParent ? roots_ : known(parent, "add_registry_entry")->children).push_back(std::move(entry));
    return next_id_++;
  }

  void set_properties(RegistryEntryId id, CFDictionaryRef properties) {
    OwnedDictionary replaced = retained(properties);  // what was there is released when the lock is gone
    const std::lock_guard lock(mutex_);
    std::swap(known(id, "set_registry_properties")->properties, replaced);
  }

  void clear() {
    std::vector<EntryPointer> removed;  // what goes is released when the lock is gone
    std::vector<OwnedDictionary> properties;
    const std::lock_guard lock(mutex_);
    removed.swap(roots_);
    for (auto& [number, handle] : handles_) {
      properties.push_back(std::move(handle.entry->properties));
      std::move(handle.entry->children.begin(), handle.entry->children.end(), std::back_inserter(removed));
      handle.entry->children.clear();
    }
  }

  std::size_t held_references() {
    const std::lock_guard lock(mutex_);
    std::size_t references = 0;
    for (const auto& [number, handle] : handles_) {
      references += handle.references;
    }
    return references;
  }

  io_service_t first_matching(CFDictionaryRef matching) {
    const Criteria criteria(matching);
    const std::lock_guard lock(mutex_);
    const EntryPointer entry = first_in_tree(roots_, [&](const Entry& candidate) { return criteria.fit(candidate); });
    return entry != nullptr ? hand_out(entry) : IO_OBJECT_NULL;
  }

  CFTypeRef copy_property(io_registry_entry_t number, CFStringRef key) {
    const std::lock_guard lock(mutex_);
    const auto handle = handles_.find(number);
    if (handle == handles_.end() || handle->second.entry->properties.get() == nullptr) {
      return nullptr;
    }
    const CFTypeRef value = CFDictionaryGetValue(handle->second.entry->properties.get(), key);
    return value != nullptr ? CFRetain(value) : nullptr;
  }

  kern_return_t retain(io_object_t number) {
    const std::lock_guard lock(mutex_);
    const auto handle = handles_.find(number);
    if (handle == handles_.end()) {
      return kIOReturnBadArgument;
    }
    ++handle->second.references;
    return kIOReturnSuccess;
  }

  kern_return_t release(io_object_t number) {
    const std::lock_guard lock(mutex_);
    const auto handle = handles_.find(number);
    if (handle == handles_.end()) {
      return kIOReturnBadArgument;
    }
    if (--handle->second.references == 0) {
      handles_.erase(handle);
    }
    return kIOReturnSuccess;
  }

 private:
  EntryPointer known(RegistryEntryId id, const char* function) {
    EntryPointer entry = first_in_tree(roots_, [id](const Entry& candidate) { return candidate.id == id; });
    if (entry == nullptr) {
      misuse(function, "no such entry");
    }
    return entry;
  }

  io_object_t hand_out(const EntryPointer& entry) {
    for (auto& [number, handle] : handles_) {
      if (handle.entry == entry) {
        ++handle.references;
        return number;
      }
    }
    handles_.emplace(next_handle_, Handle{entry, 1});
    return next_handle_++;
  }

  std::mutex mutex_;
  std::vector<EntryPointer> roots_;
  std::map<io_object_t, Handle> handles_;
  RegistryEntryId next_id_ = 1;
  io_object_t next_handle_ = 1;
};

Registry& registry() {
  static auto& instance = *new Registry;  // never destroyed: the plug-in may ask until the very end of the process
  return instance;
}

}  // namespace

RegistryEntryId add_registry_entry(RegistryEntryId parent, const std::string& name, const std::string& class_name,
                                   CFDictionaryRef properties) {
  return registry().add(parent, name, class_name, properties);
}

void set_registry_properties(RegistryEntryId entry, CFDictionaryRef properties) {
  registry().set_properties(entry, properties);
}

void clear_registry() { registry().clear(); }

std::size_t held_registry_references() { return registry().held_references(); }

}  // namespace hub::platform

using hub::platform::registry;

CFMutableDictionaryRef IOServiceMatching(const char* class_name) try {
  const hub::platform::Owned wanted(CFStringCreateWithCString(kCFAllocatorDefault, class_name, kCFStringEncodingUTF8));
  hub::platform::Owned matching(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                          &kCFTypeDictionaryValueCallBacks));
  if (wanted.get() == nullptr || matching.get() == nullptr) {
    return nullptr;
  }
  CFDictionarySetValue(matching.get(), CFSTR(kIOProviderClassKey), wanted.get());
  return matching.release();
} catch (const std::bad_alloc&) {
  return nullptr;
}

io_service_t IOServiceGetMatchingService(mach_port_t, CFDictionaryRef matching) {
  const hub::platform::OwnedDictionary taken_over(matching);
  return matching != nullptr ? registry().first_matching(matching) : IO_OBJECT_NULL;
}

CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key, CFAllocatorRef, IOOptionBits) {
  return registry().copy_property(entry, key);
}

kern_return_t IOObjectRetain(io_object_t object) { return registry().retain(object); }

kern_return_t IOObjectRelease(io_object_t object) { return registry().release(object); }
