// SPDX-License-Identifier: Apache-2.0
// What tests of the decoder share: lines without times, the payload's items alone, name tables against lists.
#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <map>
#include <string>

#include "profile/NEBLogDecoder.h"
#include "registry/registry_host.h"
#include "system/system_host.h"

namespace hub::test {

// Decodes on a machine that has no time-sync service and does not say when it was booted. What a thread keeps from its
// first line on is there already: nobody counts it as left over.
class DecodeTest : public ::testing::Test {
 protected:
  DecodeTest() {
    platform::clear_registry();
    platform::fail_boot_time(ENOENT);
    NEBLogDecoder::to_string(_HubProfileReport{});
  }
  ~DecodeTest() override {
    platform::clear_registry();
    platform::use_machine_boot_time();
  }

  static std::string line(const _HubProfileReport& report) { return NEBLogDecoder::to_string(report); }
};

// The part of a line between the items before the payload's and those behind.
inline std::string payload_items(const std::string& line) {
  const std::string before = " 'sequence_num':";
  const std::size_t sequence = line.find(before);
  const std::size_t begin = line.find(',', sequence) + 1;
  const std::size_t end = line.rfind(" 'type-id':");
  EXPECT_NE(sequence, std::string::npos) << line;
  EXPECT_NE(end, std::string::npos) << line;
  return line.substr(begin, end - begin);
}

inline std::string payload_items(const _HubProfileReport& report) {
  return payload_items(NEBLogDecoder::to_string(report));
}

using Names = std::map<unsigned, std::string>;

// Every id from 0 to well above the largest has its listed name, and the others their number.
inline void expect_exactly(const Names& names, const std::function<std::string(unsigned)>& name_of) {
  for (unsigned id = 0; id < 1000; ++id) {
    const auto listed = names.find(id);
    EXPECT_EQ(name_of(id), listed != names.end() ? listed->second : std::to_string(id)) << "id " << id;
  }
  EXPECT_EQ(name_of(4294967295), "4294967295");
}

// Every event of every component has its number for a name.
inline void expect_numbers_for_events(profile_decoder& decoder) {
  for (unsigned component = 0; component < 12; ++component) {
    expect_exactly({}, [&](unsigned event) { return decoder.event_name(component, event); });
  }
}

// These event names hold whatever the component.
inline void expect_events_of_all_components(profile_decoder& decoder, const Names& events) {
  for (unsigned component : {0U, 1U, 2U, 3U, 9U, 255U}) {
    expect_exactly(events, [&](unsigned event) { return decoder.event_name(component, event); });
  }
}

inline void expect_components(profile_decoder& decoder, const Names& components) {
  expect_exactly(components, [&](unsigned component) { return decoder.component_name(component); });
}

}  // namespace hub::test
