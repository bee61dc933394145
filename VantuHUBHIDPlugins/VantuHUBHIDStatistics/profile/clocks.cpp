// SPDX-License-Identifier: Apache-2.0
// The two times of a line that are not in the report: calendar time and the machine's boot time.
#include <sys/sysctl.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <ctime>

#include "CoreFoundation/CoreFoundation.h"
#include "IOKit/IOKitLib.h"
#include "profile/profile_decoder.h"

namespace {

constexpr std::uint64_t kNanosecondsPerMicrosecond = 1000;
constexpr std::uint64_t kMicrosecondsPerSecond = 1'000'000;

// One simultaneous reading of both clocks, in nanoseconds.
struct ClockPair {
  std::int64_t hub = 0;
  std::int64_t calendar = 0;
};

std::int64_t signed_number(CFDictionaryRef dictionary, CFStringRef key) {
  const CFTypeRef value = CFDictionaryGetValue(dictionary, key);
  std::int64_t number = 0;
  if (value != nullptr && CFGetTypeID(value) == CFNumberGetTypeID()) {
    CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &number);
  }
  return number;
}

// The pair in the service's "timesync" property; false when that is missing or no dictionary.
bool read_clock_pair(io_service_t service, ClockPair& pair) {
  const CFTypeRef property = IORegistryEntryCreateCFProperty(service, CFSTR("timesync"), kCFAllocatorDefault, 0);
  if (property == nullptr) {
    return false;
  }
  const bool is_dictionary = CFGetTypeID(property) == CFDictionaryGetTypeID();
  if (is_dictionary) {
    const auto dictionary = static_cast<CFDictionaryRef>(property);
    pair = {signed_number(dictionary, CFSTR("hub")), signed_number(dictionary, CFSTR("calendar"))};
  }
  CFRelease(property);
  return is_dictionary;
}

// Asked afresh each time: the pair may change between two reports.
bool current_clock_pair(ClockPair& pair) {
  const io_service_t service = IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceMatching("VantuHUBTimesync"));
  if (service == IO_OBJECT_NULL) {
    return false;
  }
  const bool found = read_clock_pair(service, pair);
  IOObjectRelease(service);
  return found;
}

// Not strftime: its month names follow LC_TIME, and a line's must not.
std::string local_time_text(std::uint64_t time_us) {
  static constexpr std::array<const char*, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const auto seconds = static_cast<std::time_t>(time_us / kMicrosecondsPerSecond);
  const auto remainder = static_cast<unsigned>(time_us % kMicrosecondsPerSecond);
  std::tm local{};
  tzset();  // localtime_r alone need not notice that TZ has changed
  localtime_r(&seconds, &local);
  std::array<char, 30> text;
  std::snprintf(text.data(), text.size(), "%s %02d %02d:%02d:%02d.%06u",
                kMonths[static_cast<std::size_t>(local.tm_mon)], local.tm_mday, local.tm_hour, local.tm_min,
                local.tm_sec, remainder);
  return text.data();
}

}  // namespace

bool profile_decoder::hub_time_to_wall_time(unsigned long long timestamp, std::string& out) {
  ClockPair pair;
  if (!current_clock_pair(pair)) {
    return false;
  }
  // Kept: unsigned and wrapping, so a report from before the pair's origin shows a time far ahead, not an error.
  const std::uint64_t time_ns = timestamp * kNanosecondsPerMicrosecond + static_cast<std::uint64_t>(pair.calendar) -
                                static_cast<std::uint64_t>(pair.hub);
  out = local_time_text(time_ns / kNanosecondsPerMicrosecond);
  return true;
}

bool profile_decoder::get_boot_time(unsigned long long& out) {
  std::array<int, 2> name = {CTL_KERN, KERN_BOOTTIME};
  timeval boot_time{};
  std::size_t length_bytes = sizeof boot_time;
  if (sysctl(name.data(), static_cast<unsigned>(name.size()), &boot_time, &length_bytes, nullptr, 0) != 0) {
    return false;
  }
  // The kernel fills 32 bits of the microseconds and means them signed.
  const auto microseconds = static_cast<std::int32_t>(boot_time.tv_usec);
  out = static_cast<std::uint64_t>(boot_time.tv_sec) * kMicrosecondsPerSecond +
        static_cast<std::uint64_t>(std::int64_t{microseconds});
  return true;
}
