// SPDX-License-Identifier: Apache-2.0
// What tests of a sensor's description share: a sensor that answers just enough to have one.
#pragma once

#include <string>
#include <utility>

#include "tests/plugin/state_fixture.h"

namespace hub::test {

// A sensor whose device belongs to "als-carrier". Only its report interval and an empty client table are answered.
class SensorStateTest : public StateTest {
 protected:
  SensorStateTest() {
    driver.properties[0] = number_reply(0);
    driver.commands[57] = Reply{};
    sensor = &announce({kSensor}, called("als"));
  }

  static ServiceScript called(const std::string& name) {
    ServiceScript script;
    script.name = name;
    script.levels_above = 3;
    return script;
  }

  // The sensor's snapshot.
  Snapshot snapshot() {
    Snapshots snapshots = capture();
    EXPECT_EQ(titles_of(snapshots), (Story{"SensorInfo"}));
    return std::move(snapshots.at(0));
  }

  // One entry when one property answers so.
  std::string shown(const std::string& key, std::uint32_t property, Reply its_reply) {
    driver.properties[property] = std::move(its_reply);
    return snapshot().entry(key);
  }

  // The entries whose keys begin so.
  static Entries only(Entries entries, const std::string& beginning) {
    std::erase_if(entries, [&](const auto& entry) { return !entry.first.starts_with(beginning); });
    return entries;
  }

  RecordedService* sensor;
};

}  // namespace hub::test
