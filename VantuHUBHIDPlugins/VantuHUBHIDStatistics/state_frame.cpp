// SPDX-License-Identifier: Apache-2.0
#include "state_frame.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace {

// Takes the value over.
void setValue(CFMutableDictionaryRef dictionary, const char* key, CFTypeRef value) {
  const OwnedObject owned(value);
  const OwnedObject name(CFStringCreateWithCString(kCFAllocatorDefault, key, kCFStringEncodingUTF8));
  if (owned.get() != nullptr && name.get() != nullptr) {
    CFDictionarySetValue(dictionary, name.get(), owned.get());
  }
}

}  // namespace

os_state_data_t copyStateData(CFPropertyListRef contents, const char* title) {
  const OwnedObject data(
      CFPropertyListCreateData(kCFAllocatorDefault, contents, kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
  if (data.get() == nullptr) {
    return nullptr;
  }
  const auto length = static_cast<std::size_t>(CFDataGetLength(data.get()));
  void* memory = std::malloc(sizeof(os_state_data_s) + length);
  if (memory == nullptr) {
    return nullptr;
  }
  auto* record = ::new (memory) os_state_data_s{};  // its head: the data behind it is written once
  record->type = OS_STATE_DATA_SERIALIZED_CF_OBJECT;
  record->data_size_bytes = static_cast<std::uint32_t>(length);
  std::string_view(title).copy(record->title, sizeof record->title - 1);
  std::memcpy(record->data, CFDataGetBytePtr(data.get()), length);
  return record;
}

OwnedObject<CFMutableDictionaryRef> createStateDictionary(CFIndex expectedEntries) {
  return OwnedObject(CFDictionaryCreateMutable(kCFAllocatorDefault, expectedEntries, &kCFTypeDictionaryKeyCallBacks,
                                               &kCFTypeDictionaryValueCallBacks));
}

void addNumber32(CFMutableDictionaryRef dictionary, const char* key, std::int32_t value) {
  setValue(dictionary, key, CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &value));
}

void addNumber64(CFMutableDictionaryRef dictionary, const char* key, std::int64_t value) {
  setValue(dictionary, key, CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value));
}

void addString(CFMutableDictionaryRef dictionary, const char* key, const char* text) {
  setValue(dictionary, key, CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingASCII));
}
