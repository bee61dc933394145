// SPDX-License-Identifier: Apache-2.0
// The two times of a line that are not in the report: calendar time and the machine's boot time.
#include "profile/clocks.h"

#include <sys/sysctl.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <utility>

#include "CoreFoundation/CoreFoundation.h"
#include "IOKit/IOKitLib.h"
#include "profile/profile_decoder.h"
#include "profile/thread_spare.h"

using namespace hub::profile;

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

struct ReleaseDictionary {
  void operator()(const __CFDictionary* dictionary) const { CFRelease(dictionary); }
};

using SpareQuestion = ThreadSpare<const __CFDictionary, ReleaseDictionary>;

// The first time-sync service, to be released. The question is the same each time; it is asked anew each time.
io_service_t find_time_sync() {
  SpareQuestion::Pointer question = SpareQuestion::take();
  if (question == nullptr) {
    question.reset(IOServiceMatching("VantuHUBTimesync"));
  }
  if (question == nullptr) {
    return IO_OBJECT_NULL;
  }
  CFRetain(question.get());  // the reference that asking uses up
  const io_service_t service = IOServiceGetMatchingService(kIOMasterPortDefault, question.get());
  SpareQuestion::give_back(std::move(question));
  return service;
}

// Asked afresh each time: the pair may change between two reports.
bool current_clock_pair(ClockPair& pair) {
  const io_service_t service = find_time_sync();
  if (service == IO_OBJECT_NULL) {
    return false;
  }
  const bool found = read_clock_pair(service, pair);
  IOObjectRelease(service);
  return found;
}

// A number below 100 in two digits.
char* put_two_digits(char* out, unsigned number) {
  *out++ = static_cast<char>('0' + number / 10);
  *out++ = static_cast<char>('0' + number % 10);
  return out;
}

// "Nov 16 04:51:21". Not strftime: its month names follow LC_TIME, and a line's must not.
using SecondText = std::array<char, 15>;

SecondText local_second_text(std::time_t seconds) {
  static constexpr std::string_view kMonths = "JanFebMarAprMayJunJulAugSepOctNovDec";
  std::tm local{};
  tzset();  // localtime_r alone need not notice that TZ has changed
  localtime_r(&seconds, &local);
  SecondText text;
  char* out = text.data();
  out += kMonths.copy(out, 3, 3 * static_cast<std::size_t>(local.tm_mon));
  for (const auto& [before, number] :
       {std::pair{' ', local.tm_mday}, {' ', local.tm_hour}, {':', local.tm_min}, {':', local.tm_sec}}) {
    *out++ = before;
    out = put_two_digits(out, static_cast<unsigned>(number));
  }
  return text;
}

// The last second that this thread has written, for most reports are in the second of the one before. It is known by
// all that it depends on, the number and TZ, so a change of either is seen at once.
class LastSecond {
 public:
  const SecondText& text_of(std::time_t seconds) {
    const char* zone = std::getenv("TZ");
    if (seconds != seconds_ || !is_zone(zone)) {
      text_ = local_second_text(seconds);
      seconds_ = seconds;
      keep_zone(zone);
    }
    return text_;
  }

 private:
  enum class Zone : std::uint8_t { kUnknown, kUnset, kNamed };

  [[nodiscard]] bool is_zone(const char* zone) const {
    return zone != nullptr ? zone_ == Zone::kNamed && std::strcmp(zone, zone_name_.data()) == 0 : zone_ == Zone::kUnset;
  }

  // A name too long to be kept is looked up each time.
  void keep_zone(const char* zone) {
    zone_ = zone == nullptr ? Zone::kUnset : Zone::kUnknown;
    if (zone != nullptr && std::strlen(zone) < zone_name_.size()) {
      std::strcpy(zone_name_.data(), zone);
      zone_ = Zone::kNamed;
    }
  }

  std::time_t seconds_ = 0;
  Zone zone_ = Zone::kUnknown;
  std::array<char, 64> zone_name_{};
  SecondText text_{};
};

constinit thread_local LastSecond last_second;

CalendarText calendar_text(std::uint64_t time_us) {
  const SecondText& second = last_second.text_of(static_cast<std::time_t>(time_us / kMicrosecondsPerSecond));
  const auto remainder_us = static_cast<unsigned>(time_us % kMicrosecondsPerSecond);
  CalendarText text;
  char* out = std::copy(second.begin(), second.end(), text.characters.begin());
  *out++ = '.';
  for (const unsigned unit : {10'000U, 100U, 1U}) {
    out = put_two_digits(out, remainder_us / unit % 100);
  }
  return text;
}

}  // namespace

bool hub::profile::put_calendar_text(std::uint64_t timestamp_us, CalendarText& out) {
  ClockPair pair;
  if (!current_clock_pair(pair)) {
    return false;
  }
  // Kept: unsigned and wrapping, so a report from before the pair's origin shows a time far ahead, not an error.
  const std::uint64_t time_ns = timestamp_us * kNanosecondsPerMicrosecond + static_cast<std::uint64_t>(pair.calendar) -
                                static_cast<std::uint64_t>(pair.hub);
  out = calendar_text(time_ns / kNanosecondsPerMicrosecond);
  return true;
}

bool profile_decoder::hub_time_to_wall_time(unsigned long long timestamp, std::string& out) {
  CalendarText text;
  if (!put_calendar_text(timestamp, text)) {
    return false;
  }
  out = text.view();
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
