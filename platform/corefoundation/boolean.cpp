// SPDX-License-Identifier: Apache-2.0
#include "CoreFoundation/CFBoolean.h"

#include "corefoundation/contents.h"
#include "corefoundation/object.h"

struct __CFBoolean : hub::platform::Object {
  constexpr __CFBoolean(const hub::platform::ObjectClass& object_class, bool its_value)
      : Object(object_class, nullptr, hub::platform::kConstantObject), value(its_value) {}

  bool value;
};

namespace hub::platform {
namespace {

// Constants only: an object equals itself, and nothing is ever destroyed.
bool booleans_equal(const Object& first, const Object& second) { return &first == &second; }

CFHashCode hash_of_boolean(const Object& object) { return static_cast<const __CFBoolean&>(object).value ? 1 : 0; }

constexpr ObjectClass kBooleanClass{kBooleanTypeId, nullptr, booleans_equal, hash_of_boolean};

constinit const __CFBoolean true_object{kBooleanClass, true};
constinit const __CFBoolean false_object{kBooleanClass, false};

}  // namespace

bool contents_of_boolean(const Object& boolean) { return static_cast<const __CFBoolean&>(boolean).value; }

}  // namespace hub::platform

using namespace hub::platform;

constinit const CFBooleanRef kCFBooleanTrue = &true_object;
constinit const CFBooleanRef kCFBooleanFalse = &false_object;

CFTypeID CFBooleanGetTypeID(void) { return kBooleanTypeId; }

Boolean CFBooleanGetValue(CFBooleanRef boolean) {
  return static_cast<const __CFBoolean&>(object_of(boolean, kBooleanClass, "CFBooleanGetValue")).value;
}
