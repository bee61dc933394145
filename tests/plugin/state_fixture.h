// SPDX-License-Identifier: Apache-2.0
// What tests of the plug-in's state captures share: services whose drivers answer as told, and snapshots read back.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "dispatch/dispatch.h"
#include "failures/failures_host.h"
#include "profile/NEBLogDecoder.h"
#include "propertylist/property_list_reader.h"
#include "tests/plugin/plugin_fixture.h"
#include "tests/support/answering_driver.h"
#include "tests/support/recording_client.h"

namespace hub::test {

inline constexpr Usage kConsumerButton = {0x0C, 0x01};
inline constexpr Usage kTelephonyButton = {0x0B, 0x01};
inline constexpr Usage kSensor = {0xFF00, 0x03};
inline constexpr Usage kDebugService = {0xFF00, 0x29};

// A property list as text, by path: {"latency/max": "5", "model": "'B4'"}. Numbers stand bare, texts in quotes.
using Entries = std::map<std::string, std::string>;

inline void collect(const platform::PropertyListValue& value, const std::string& path, Entries& entries) {
  std::visit(
      [&](const auto& held) {
        using Held = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<Held, platform::PropertyListDictionary>) {
          for (const auto& [key, member] : held) {
            std::string place = path.empty() ? "" : path + "/";
            collect(member, place.append(key), entries);
          }
        } else if constexpr (std::is_same_v<Held, std::int64_t>) {
          entries[path] = std::to_string(held);
        } else if constexpr (std::is_same_v<Held, std::string>) {
          entries[path] = "'" + held + "'";
        } else {
          ADD_FAILURE() << path << " is neither a number nor a text nor a dictionary";
        }
      },
      value.value);
}

// One record that a capture brought.
struct Snapshot {
  Snapshot(std::size_t its_handler, const os_state_data_s& data)
      : handler(its_handler),
        title(data.title),
        contents(platform::read_property_list(std::as_bytes(std::span(data.data, data.data_size_bytes)))) {}

  [[nodiscard]] Entries entries() const {
    Entries all;
    collect(contents, "", all);
    return all;
  }

  // "none" when there is no such entry.
  [[nodiscard]] std::string entry(const std::string& path) const {
    const Entries all = entries();
    const auto found = all.find(path);
    return found != all.end() ? found->second : "none";
  }

  // The texts of an array.
  [[nodiscard]] Story lines() const {
    Story texts;
    for (const platform::PropertyListValue& value : std::get<platform::PropertyListArray>(contents.value)) {
      texts.push_back(std::get<std::string>(value.value));
    }
    return texts;
  }

  std::size_t handler;  // its number in the order of registration
  std::string title;
  platform::PropertyListValue contents;
};

using Snapshots = std::vector<Snapshot>;

inline Story titles_of(const Snapshots& snapshots) {
  Story titles;
  for (const Snapshot& snapshot : snapshots) {
    titles.push_back(snapshot.title);
  }
  return titles;
}

// Services that are registered, and captures of them. The sources of raw debug data have nothing to give.
class StateTest : public RunningPlugInTest {
 protected:
  // A thread that writes lines keeps what it asks for the clocks with: it does not count as left over.
  StateTest() {
    dispatch_sync(queue, [] { NEBLogDecoder::to_string(_HubProfileReport{}); });
  }
  ~StateTest() override { platform::end_failures(); }

  // Registers a service of these usages, with `driver` or another; forgets what that took.
  RecordedService& announce(std::set<Usage> usages, ServiceScript script = {}) {
    return announce_with(driver, std::move(usages), std::move(script));
  }
  RecordedService& announce_with(AnsweringDriver& its_driver, std::set<Usage> usages, ServiceScript script = {}) {
    script.usages = std::move(usages);
    script.answer = [this, &its_driver](std::uint32_t id, auto input, auto output, std::size_t& length) {
      EXPECT_TRUE(platform::is_on_queue(queue));
      return its_driver.answer(id, input, output, length);
    };
    RecordedService& service = add(std::move(script));
    instance.register_service(service);
    log.clear();
    return service;
  }

  // All records of one capture. Nothing that it took is left over when it is done.
  Snapshots capture(std::uint32_t api = OS_STATE_API_REQUEST) {
    driver.story.clear();
    const Story before = things_held();
    Snapshots snapshots;
    platform::capture_state(api, [&](std::size_t handler, const platform::OwnedStateData& data) {
      snapshots.emplace_back(handler, *data);
    });
    EXPECT_EQ(things_held(), before);
    return snapshots;
  }

  // A capture in which one call of this function fails, or that call and all later ones.
  Snapshots capture_failing(platform::Fallible function, std::uint64_t call, bool and_all_later = false) {
    platform::plan_failures({.first = call, .and_all_later = and_all_later, .function = function});
    Snapshots snapshots = capture();
    platform::end_failures();
    EXPECT_GE(platform::planned_failures_of(function), 1U) << "nothing has failed";
    return snapshots;
  }

  // What must be the same before and after a capture.
  static Story things_held() {
    const auto told = [](const char* what, auto count) { return what + (" " + std::to_string(count)); };
    return {told("strings", platform::live_objects(CFStringGetTypeID())),
            told("numbers", platform::live_objects(CFNumberGetTypeID())),
            told("dictionaries", platform::live_objects(CFDictionaryGetTypeID())),
            told("arrays", platform::live_objects(CFArrayGetTypeID())),
            told("data", platform::live_objects(CFDataGetTypeID())),
            told("registry references", platform::held_registry_references()),
            told("connections", platform::open_connections())};
  }

  AnsweringDriver driver;
  std::shared_ptr<RecordingClientService> firmware = add_client_service("NEB_profile", give_nothing);
  std::shared_ptr<RecordingClientService> profile_driver = add_client_service("VantuHUBProfileDriver", give_nothing);

 private:
  static IOReturn give_nothing(std::uint32_t, std::span<const std::byte>, std::span<std::byte>, std::size_t& length) {
    length = 0;
    return kIOReturnSuccess;
  }
};

}  // namespace hub::test
