// SPDX-License-Identifier: Apache-2.0
// What all snapshots share: their record, and the entries of their dictionaries. [plug-in queue]
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "CoreFoundation/CoreFoundation.h"
#include "os/state.h"
#include "owned_object.h"

// A new record with the contents as a binary property list; the platform frees it. The title is cut to 63 bytes. NULL
// when the contents cannot be serialised or there is no memory.
os_state_data_t copyStateData(CFPropertyListRef contents, const char* title);

// An empty dictionary of objects, of which so many are expected; NULL when there is no memory.
OwnedObject<CFMutableDictionaryRef> createStateDictionary(CFIndex expectedEntries = 0);

// Set an entry, under a key that is a UTF-8 text. What cannot be made is left out: a number or text without memory, a
// text that is no ASCII.
void addNumber32(CFMutableDictionaryRef dictionary, const char* key, std::int32_t value);
void addNumber64(CFMutableDictionaryRef dictionary, const char* key, std::int64_t value);
void addString(CFMutableDictionaryRef dictionary, const char* key, const char* text);

// A text of at most kSize - 1 bytes, formatted as by snprintf; what does not fit is cut off.
template <std::size_t kSize>
class FormattedText {
 public:
  template <typename... Arguments>
  explicit FormattedText(const char* format, Arguments... arguments) {
    std::snprintf(text_, kSize, format, arguments...);
  }

  [[nodiscard]] const char* get() const { return text_; }

 private:
  char text_[kSize];
};
