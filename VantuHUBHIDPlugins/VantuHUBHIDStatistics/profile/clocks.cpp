// SPDX-License-Identifier: Apache-2.0
// The two times of a line that are not in the report: calendar time and the machine's boot time.
#include "profile/clocks.h"

#include <sys/sysctl.h>

#include <cstdint>
#include <cstring>
#include <ctime>
#include <string_view>
#include <utility>

#include "CoreFoundation/CoreFoundation.h"
#include "IOKit/IOKitLib.h"
#include "profile/profile_decoder.h"
#include "profile/thread_spare.h"

// Declared by its user, for no header must; some do.
extern "C" char** environ;  // NOLINT(readability-redundant-declaration)

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

// Not strftime: its month names follow LC_TIME, and a line's must not.
SecondText local_second_text(std::time_t seconds) {
  static constexpr std::string_view kMonths = "JanFebMarAprMayJunJulAugSepOctNovDec";
  std::tm local{};
  tzset();  // localtime_r alone need not notice that TZ has changed
  localtime_r(&seconds, &local);
  SecondText text{};
  char* out = text.data();
  out += kMonths.copy(out, 3, 3 * static_cast<std::size_t>(local.tm_mon));
  for (const auto& [before, number] :
       {std::pair{' ', local.tm_mday}, {' ', local.tm_hour}, {':', local.tm_min}, {':', local.tm_sec}}) {
    *out++ = before;
    out = put_two_digits(out, static_cast<unsigned>(number));
  }
  *out = '.';
  return text;
}

// Whether TZ is what it was. getenv() goes through all of the environment, which is too long a way for each record;
// here it is enough to see that nothing has moved in it: whoever changes TZ, adds or removes it, changes the entry that
// is looked at, or where the environment stands.
class ZoneWatch {
 public:
  [[nodiscard]] bool is_unchanged() const {
    if (environ != environment_ || environ == nullptr || environ[place_] != entry_) {
      return false;
    }
    return entry_ != nullptr ? std::strcmp(entry_, text_.data()) == 0 : place_ == 0 || environ[place_ - 1] == last_;
  }

  void look() {
    environment_ = nullptr;
    entry_ = nullptr;
    place_ = 0;
    if (environ == nullptr) {
      return;
    }
    while (environ[place_] != nullptr && !std::string_view(environ[place_]).starts_with("TZ=")) {
      ++place_;
    }
    const std::string_view entry = environ[place_] != nullptr ? environ[place_] : "";
    if (entry.size() < text_.size()) {  // a longer one is looked up each time
      environment_ = environ;
      entry_ = environ[place_];
      last_ = place_ > 0 ? environ[place_ - 1] : nullptr;
      text_[entry.copy(text_.data(), entry.size())] = '\0';
    }
  }

 private:
  char** environment_ = nullptr;
  std::size_t place_ = 0;  // of TZ; without one, of the environment's end
  char* entry_ = nullptr;  // what stands there
  char* last_ = nullptr;   // before the end: another when one entry has gone and TZ has come
  std::array<char, 64> text_{};
};

// The last second that this thread has written, for most reports are in the second of the one before. It is known by
// all that it depends on, the number and TZ, so a change of either is seen at once.
class LastSecond {
 public:
  const SecondText& text_of(std::time_t seconds) {
    if (seconds != seconds_ || !zone_.is_unchanged()) {
      zone_.look();
      text_ = local_second_text(seconds);
      seconds_ = seconds;
    }
    return text_;
  }

 private:
  std::time_t seconds_ = 0;
  ZoneWatch zone_;
  SecondText text_{};
};

[[gnu::tls_model("initial-exec")]] constinit thread_local LastSecond last_second;

}  // namespace

bool hub::profile::find_calendar_time(std::uint64_t timestamp_us, CalendarTime& out) {
  ClockPair pair;
  if (!current_clock_pair(pair)) {
    return false;
  }
  // Kept: unsigned and wrapping, so a report from before the pair's origin shows a time far ahead, not an error.
  const std::uint64_t time_ns = timestamp_us * kNanosecondsPerMicrosecond + static_cast<std::uint64_t>(pair.calendar) -
                                static_cast<std::uint64_t>(pair.hub);
  const std::uint64_t time_us = time_ns / kNanosecondsPerMicrosecond;
  out.second = &last_second.text_of(static_cast<std::time_t>(time_us / kMicrosecondsPerSecond));
  out.microseconds = static_cast<std::uint32_t>(time_us % kMicrosecondsPerSecond);
  return true;
}

bool profile_decoder::hub_time_to_wall_time(unsigned long long timestamp, std::string& out) {
  CalendarTime time;
  if (!find_calendar_time(timestamp, time)) {
    return false;
  }
  std::array<char, CalendarTime::kRoom> text;
  out.assign(text.data(), time.put(text.data()));
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
