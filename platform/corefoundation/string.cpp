// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string_view>
#include <utility>

#include "CoreFoundation/CFString.h"
#include "corefoundation/constant_memory.h"
#include "corefoundation/misuse.h"
#include "corefoundation/never_destroyed.h"
#include "corefoundation/object.h"
#include "corefoundation/string_object.h"
#include "corefoundation/utf8.h"
#include "failures/failures.h"

namespace hub::platform {
namespace {

bool strings_equal(const Object& first, const Object& second) {
  return static_cast<const __CFString&>(first).view() == static_cast<const __CFString&>(second).view();
}

CFHashCode hash_of_string(const Object& object) { return static_cast<const __CFString&>(object).hash(); }

const __CFString& string_of(CFStringRef string, const char* function) {
  return static_cast<const __CFString&>(object_of(string, kStringClass, function));
}

// Whether a text that is (or is not) all ASCII can be held in this encoding.
bool can_hold(CFStringEncoding encoding, bool ascii) {
  switch (encoding) {
    case kCFStringEncodingUTF8:
      return true;
    case kCFStringEncodingASCII:
    case kCFStringEncodingMacRoman:
      return ascii;
    default:
      return false;
  }
}

__CFString* create_string(CFAllocatorRef allocator, std::string_view text, CFStringEncoding encoding) {
  const Utf8Text examined = examine_utf8(text);
  if (!examined.valid || !can_hold(encoding, examined.ascii)) {
    return nullptr;
  }
  return create_object<__CFString>(allocator, text.size() + 1, text, examined);
}

// A new constant, found by its own text from now on.
template <typename ByText>
CFStringRef remember_constant(ByText& strings, std::string_view text) try {
  const Utf8Text examined = examine_utf8(text);
  if (!examined.valid) {
    misuse("CFSTR", "the literal is not UTF-8");
  }
  const auto* string = create_constant<__CFString>(text.size() + 1, text, examined);
  strings.emplace(string->view(), string);
  return string;
} catch (const std::bad_alloc&) {
  misuse("CFSTR", "there is no memory for a constant");
}

}  // namespace

constinit const ObjectClass kStringClass{kStringTypeId, nullptr, strings_equal, hash_of_string};

}  // namespace hub::platform

using namespace hub::platform;

CFTypeID CFStringGetTypeID(void) { return kStringTypeId; }

CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* text, CFStringEncoding encoding) {
  if (fails(Fallible::kCFStringCreateWithCString)) {
    return nullptr;
  }
  return create_string(allocator, text, encoding);
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length_bytes,
                                    CFStringEncoding encoding, Boolean) {
  if (fails(Fallible::kCFStringCreateWithBytes)) {
    return nullptr;
  }
  if (length_bytes < 0) {
    misuse("CFStringCreateWithBytes", "a negative length");
  }
  const std::string_view text(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length_bytes));
  return create_string(allocator, text, encoding);
}

CFIndex CFStringGetLength(CFStringRef string) {
  return static_cast<CFIndex>(string_of(string, "CFStringGetLength").utf16_length);
}

const char* CFStringGetCStringPtr(CFStringRef string, CFStringEncoding encoding) {
  if (fails(Fallible::kCFStringGetCStringPtr)) {
    return nullptr;
  }
  const __CFString& object = string_of(string, "CFStringGetCStringPtr");
  return can_hold(encoding, object.ascii) ? object.bytes() : nullptr;
}

Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex buffer_size_bytes, CFStringEncoding encoding) {
  if (fails(Fallible::kCFStringGetCString)) {
    return false;
  }
  const __CFString& object = string_of(string, "CFStringGetCString");
  if (!can_hold(encoding, object.ascii) || buffer_size_bytes <= static_cast<CFIndex>(object.length_bytes)) {
    return false;
  }
  std::memcpy(buffer, object.bytes(), object.length_bytes + 1);
  return true;
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
  constexpr CFIndex kUtf8BytesPerUnit = 3;  // a pair of surrogates takes four bytes, fewer than two single units
  constexpr CFIndex kLargest = std::numeric_limits<CFIndex>::max();
  if (encoding == kCFStringEncodingUTF8) {
    return length <= kLargest / kUtf8BytesPerUnit ? length * kUtf8BytesPerUnit : kLargest;
  }
  return can_hold(encoding, true) ? length : -1;
}

CFStringRef __CFStringMakeConstantString(const char* text) {
  using ByText = std::map<std::string_view, CFStringRef, std::less<>,
                          ConstantAllocator<std::pair<const std::string_view, CFStringRef>>>;
  // Never destroyed: constant strings outlive everything that may still use them while the process ends.
  static NeverDestroyed<ByText> strings;
  static NeverDestroyed<std::mutex> mutex;
  const std::lock_guard lock(mutex.get());
  const auto found = strings.get().find(text);
  if (found != strings.get().end()) {
    return found->second;
  }
  return remember_constant(strings.get(), text);
}
