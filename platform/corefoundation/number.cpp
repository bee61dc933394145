// SPDX-License-Identifier: Apache-2.0
#include "CoreFoundation/CFNumber.h"

#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>

#include "corefoundation/number_object.h"
#include "corefoundation/object.h"
#include "failures/failures.h"

namespace {

consteval CFNumberType fixed_integer(std::size_t width_bytes) {
  switch (width_bytes) {
    case 1:
      return kCFNumberSInt8Type;
    case 2:
      return kCFNumberSInt16Type;
    case 4:
      return kCFNumberSInt32Type;
    default:
      return kCFNumberSInt64Type;
  }
}

constexpr CFNumberType kNoType = 0;

// For every type a caller may name, the fixed-width one that it stands for on this machine.
constexpr auto kFixedTypes = [] {
  std::array<CFNumberType, kCFNumberCFIndexType + 1> types{};
  types[kCFNumberSInt8Type] = kCFNumberSInt8Type;
  types[kCFNumberSInt16Type] = kCFNumberSInt16Type;
  types[kCFNumberSInt32Type] = kCFNumberSInt32Type;
  types[kCFNumberSInt64Type] = kCFNumberSInt64Type;
  types[kCFNumberFloat32Type] = kCFNumberFloat32Type;
  types[kCFNumberFloat64Type] = kCFNumberFloat64Type;
  types[kCFNumberCharType] = fixed_integer(sizeof(char));
  types[kCFNumberShortType] = fixed_integer(sizeof(short));
  types[kCFNumberIntType] = fixed_integer(sizeof(int));
  types[kCFNumberLongType] = fixed_integer(sizeof(long));
  types[kCFNumberLongLongType] = fixed_integer(sizeof(long long));
  types[kCFNumberFloatType] = kCFNumberFloat32Type;
  types[kCFNumberDoubleType] = kCFNumberFloat64Type;
  types[kCFNumberCFIndexType] = fixed_integer(sizeof(CFIndex));
  return types;
}();

CFNumberType fixed_type_of(CFNumberType type) {
  const auto place = static_cast<std::size_t>(type);  // of a negative one, beyond the table
  return place < kFixedTypes.size() ? kFixedTypes[place] : kNoType;
}

template <typename T>
T load(const void* from) {
  T value;
  std::memcpy(&value, from, sizeof value);
  return value;
}

template <typename T>
void store(void* to, T value) {
  std::memcpy(to, &value, sizeof value);
}

}  // namespace

namespace hub::platform {
namespace {

constexpr double kTwoTo63 = 9223372036854775808.0;

bool fits_64_bits(double real) { return real >= -kTwoTo63 && real < kTwoTo63; }

// Towards zero, held at the limits; NaN gives 0.
std::int64_t nearest_integer(double real) {
  if (std::isnan(real)) {
    return 0;
  }
  if (!fits_64_bits(real)) {
    return real < 0 ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
  }
  return static_cast<std::int64_t>(real);
}

bool is_exact_integer(double real) { return fits_64_bits(real) && std::trunc(real) == real; }

bool numbers_equal(const Object& first, const Object& second) {
  const auto& left = static_cast<const __CFNumber&>(first);
  const auto& right = static_cast<const __CFNumber&>(second);
  if (left.is_real() && right.is_real()) {
    return left.real == right.real;
  }
  if (!left.is_real() && !right.is_real()) {
    return left.integer == right.integer;
  }
  const double real = left.is_real() ? left.real : right.real;
  const std::int64_t integer = left.is_real() ? right.integer : left.integer;
  return is_exact_integer(real) && nearest_integer(real) == integer;
}

CFHashCode hash_of_number(const Object& object) {
  const auto& number = static_cast<const __CFNumber&>(object);
  if (number.is_real() && !is_exact_integer(number.real)) {
    return std::hash<double>{}(number.real);
  }
  return std::hash<std::int64_t>{}(number.is_real() ? nearest_integer(number.real) : number.integer);
}

constexpr ObjectClass kNumberClass{kNumberTypeId, nullptr, numbers_equal, hash_of_number};

const __CFNumber& number_of(CFNumberRef number, const char* function) {
  return static_cast<const __CFNumber&>(object_of(number, kNumberClass, function));
}

template <typename T>
bool store_integer(const __CFNumber& number, void* value) {
  const std::int64_t integer = number.is_real() ? nearest_integer(number.real) : number.integer;
  const T narrow = static_cast<T>(integer);
  store(value, narrow);
  return narrow == integer && (!number.is_real() || is_exact_integer(number.real));
}

template <typename T>
bool store_real(const __CFNumber& number, void* value) {
  const double real = number.is_real() ? number.real : static_cast<double>(number.integer);
  const T narrow = static_cast<T>(real);
  store(value, narrow);
  if (number.is_real()) {
    return static_cast<double>(narrow) == real || std::isnan(real);
  }
  return is_exact_integer(static_cast<double>(narrow)) &&
         nearest_integer(static_cast<double>(narrow)) == number.integer;
}

}  // namespace

}  // namespace hub::platform

using namespace hub::platform;

__CFNumber::__CFNumber(CFAllocatorRef owner, CFNumberType its_type, const void* value)
    : Object(kNumberClass, owner, 1), fixed_type(its_type) {
  switch (fixed_type) {
    case kCFNumberSInt8Type:
      integer = load<std::int8_t>(value);
      break;
    case kCFNumberSInt16Type:
      integer = load<std::int16_t>(value);
      break;
    case kCFNumberSInt32Type:
      integer = load<std::int32_t>(value);
      break;
    case kCFNumberFloat32Type:
      real = static_cast<double>(load<float>(value));
      break;
    case kCFNumberFloat64Type:
      real = load<double>(value);
      break;
    default:
      integer = load<std::int64_t>(value);
      break;
  }
}

CFTypeID CFNumberGetTypeID(void) { return kNumberTypeId; }

CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType type, const void* value) {
  if (fails(Fallible::kCFNumberCreate)) {
    return nullptr;
  }
  const CFNumberType fixed_type = fixed_type_of(type);
  return fixed_type != kNoType ? create_object<__CFNumber>(allocator, 0, fixed_type, value) : nullptr;
}

CFNumberType CFNumberGetType(CFNumberRef number) { return number_of(number, "CFNumberGetType").fixed_type; }

Boolean CFNumberIsFloatType(CFNumberRef number) { return number_of(number, "CFNumberIsFloatType").is_real(); }

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value) {
  if (fails(Fallible::kCFNumberGetValue)) {
    return false;
  }
  const __CFNumber& object = number_of(number, "CFNumberGetValue");
  if (type == kCFNumberSInt64Type && !object.is_real()) [[likely]] {
    store(value, object.integer);
    return true;
  }
  switch (fixed_type_of(type)) {
    case kCFNumberSInt8Type:
      return store_integer<std::int8_t>(object, value);
    case kCFNumberSInt16Type:
      return store_integer<std::int16_t>(object, value);
    case kCFNumberSInt32Type:
      return store_integer<std::int32_t>(object, value);
    case kCFNumberSInt64Type:
      return store_integer<std::int64_t>(object, value);
    case kCFNumberFloat32Type:
      return store_real<float>(object, value);
    case kCFNumberFloat64Type:
      return store_real<double>(object, value);
    default:
      return false;
  }
}
