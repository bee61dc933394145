// SPDX-License-Identifier: Apache-2.0
// Calendar time: whatever the time-sync service has for a property, and whatever the report's own time is, a line ends
// with the calendar time that the two readings give, or has none when there is no dictionary.
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "corefoundation/corefoundation_host.h"
#include "fuzz/fuzzing.h"
#include "fuzz/properties.h"
#include "profile/NEBLogDecoder.h"
#include "registry/registry_host.h"
#include "system/system_host.h"

namespace {

using namespace hub;
using fuzz::require;

constexpr const char* kClocks[] = {"hub", "calendar"};

platform::RegistryEntryId time_sync = 0;

// The line's end with this calendar time.
std::string calendar_item(std::uint64_t time_us) {
  const auto seconds = static_cast<std::time_t>(time_us / 1'000'000);
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  std::array<char, 32> day{};
  std::strftime(day.data(), day.size(), "%b %d %H:%M:%S", &utc);
  std::array<char, 80> item{};
  std::snprintf(item.data(), item.size(), ", 'calendar-time':'%s.%06u'}", day.data(),
                static_cast<unsigned>(time_us % 1'000'000));
  return item.data();
}

void check(const fuzz::Property& clocks, const _HubProfileReport& report) {
  const std::string line = NEBLogDecoder::to_string(report);
  if (clocks.get() == nullptr || CFGetTypeID(clocks.get()) != CFDictionaryGetTypeID()) {
    require(line.find("calendar-time") == std::string::npos, "without clocks there is no calendar time", line);
    return;
  }
  const auto reading = [&](const char* key) {
    return static_cast<std::uint64_t>(fuzz::integer_in<std::int64_t>(clocks, key, 0));
  };
  const std::uint64_t time_ns = report.timestamp * 1000 + reading("calendar") - reading("hub");
  require(line.ends_with(calendar_item(time_ns / 1000)), "the calendar time is that of the readings", line);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*words*/) {
  platform::fail_boot_time(ENOENT);
  setenv("TZ", "UTC", 1);
  time_sync = platform::add_registry_entry(platform::kNoParent, "timesync", "VantuHUBTimesync", nullptr);
  NEBLogDecoder::to_string(_HubProfileReport{});  // what a thread keeps from its first line on
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  _HubProfileReport report{};
  report.timestamp = input.number<std::uint64_t>();
  const fuzz::Property clocks = fuzz::any_dictionary(input, kClocks);
  platform::set_registry_properties(time_sync, fuzz::properties_of("timesync", clocks).get());
  const std::int64_t held =
      platform::live_objects(CFDictionaryGetTypeID()) + platform::live_objects(CFNumberGetTypeID());
  check(clocks, report);
  require(platform::live_objects(CFDictionaryGetTypeID()) + platform::live_objects(CFNumberGetTypeID()) == held &&
              platform::held_registry_references() == 0,
          "nothing is left over");
  return 0;
}
