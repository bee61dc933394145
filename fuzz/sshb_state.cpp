// SPDX-License-Identifier: Apache-2.0
// The solid-state button: whatever its driver answers, there is no snapshot or one with all entries, whose values are
// those of the reply. The first byte of the input says which of the two snapshots is asked for, the others are the
// reply.
#include <cstdio>
#include <cstring>

#include "fuzz/plugin_world.h"

namespace {

using namespace hub;
using fuzz::entry;
using fuzz::require;
using platform::PropertyListValue;

constexpr std::size_t kHandlers = 2;  // in the order of their registration: statistics, assets
constexpr std::size_t kAssetLength = 29;
constexpr std::size_t kAssets = 51;

fuzz::World* world = nullptr;

// Of the reply.
template <typename Number>
Number number_at(std::size_t offset) {
  Number number;
  std::memcpy(&number, world->replies.last().bytes.data() + offset, sizeof number);
  return number;
}

void check_number(const PropertyListValue& dictionary, const char* key, std::int64_t expected) {
  require(entry<std::int64_t>(dictionary, key) == expected, "a number is the reply's", key);
}

void check_click(const PropertyListValue& click, std::size_t at) {
  require(fuzz::entries_in(click) == 5, "a click has all its entries");
  check_number(click, "button down ts", number_at<std::int64_t>(0x58 + at));
  check_number(click, "play asset ts", number_at<std::int64_t>(0x90 + at));
  check_number(click, "button up to play asset", number_at<std::int64_t>(0xC0 + at));
}

void check_statistics(const fuzz::Snapshot& snapshot) {
  require(snapshot.title == "SSHB Statistics", "the title says what it is", snapshot.title);
  require(fuzz::entries_in(snapshot.contents) == 2, "the statistics have all their entries");
  const PropertyListValue& press = entry(snapshot.contents, "last button press");
  require(fuzz::entries_in(press) == 10, "the press has all its entries");
  check_number(press, "click count", static_cast<std::int32_t>(number_at<std::uint32_t>(0xE9) >> 1U));
  check_number(press, "finger on ts", number_at<std::int64_t>(0));
  check_number(press, "turtle scans", number_at<std::int32_t>(0x112));
  check_click(entry(press, "click 1"), 0);
  check_click(entry(press, "click 2"), 16);
  check_click(entry(press, "click 3"), 32);
  const PropertyListValue& latency = entry(snapshot.contents, "latency");
  require(fuzz::entries_in(latency) == 6, "the latency has all its entries");
  check_number(latency, "max_latency_Total", number_at<std::int64_t>(0x142));
}

void check_asset(const PropertyListValue& assets, const char* key, std::size_t at) {
  char text[128];
  std::snprintf(text, sizeof text, "enable=%d slot=%d gain=%f min=%lld max=%lld", number_at<std::uint8_t>(at),
                number_at<std::int32_t>(at + 21), number_at<std::int32_t>(at + 1) / 65536.0,
                static_cast<long long>(number_at<std::int64_t>(at + 5)),
                static_cast<long long>(number_at<std::int64_t>(at + 13)));
  require(entry<std::string>(assets, key) == text, "an asset is the reply's", text);
}

void check_assets(const fuzz::Snapshot& snapshot) {
  require(snapshot.title == "SSHB assets", "the title says what it is", snapshot.title);
  require(fuzz::entries_in(snapshot.contents) == kAssets, "the assets have all their entries");
  check_asset(snapshot.contents, "Slow-SingleDown", 0);
  check_asset(snapshot.contents, "Medium-DoubleTapOn", (17 + 8) * kAssetLength);
  check_asset(snapshot.contents, "Fast-(null)", (kAssets - 1) * kAssetLength);
}

void check(std::size_t handler, const os_state_data_s* record) {
  const fuzz::Replies::Answered& answered = world->replies.last();
  const bool is_long_enough = handler == 0 || answered.length >= kAssets * kAssetLength;
  const bool is_due = answered.status == kIOReturnSuccess && is_long_enough;
  require((record != nullptr) == is_due, "there is a snapshot when the reply is one");
  if (record != nullptr) {
    (handler == 0 ? check_statistics : check_assets)(fuzz::read_back(*record));
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*words*/) {
  world = new fuzz::World;  // never destroyed, as what the plug-in keeps of it
  world->offer({{0x0C, 0x01}});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const std::size_t handler = input.number<std::uint8_t>() % kHandlers;
  world->replies.begin(input.rest());
  fuzz::ask_handler(handler, [&](const os_state_data_s* record) { check(handler, record); });
  return 0;
}
