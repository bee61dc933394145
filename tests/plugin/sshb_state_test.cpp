// SPDX-License-Identifier: Apache-2.0
// The solid-state button: the statistics of its last press, and its haptic assets.
#include "sshb_state.h"

#include <string>

#include "tests/plugin/state_fixture.h"

namespace hub::test {
namespace {

using platform::Fallible;

constexpr std::uint32_t kStatistics = 215;
constexpr std::uint32_t kAssets = 216;

class SSHBState : public StateTest {
 protected:
  SSHBState() { announce({kConsumerButton}); }

  // The snapshot of the only property that is answered, if any.
  Snapshot snapshot() {
    Snapshots snapshots = capture();
    EXPECT_EQ(snapshots.size(), 1U);
    return snapshots.at(0);
  }
};

// The statistics: each 64-bit field, where it stands and where it is shown.
struct StatisticsRow {
  std::size_t at;
  const char* path;
};
constexpr StatisticsRow kStatisticsRows[] = {
    {0x00, "last button press/finger on ts"},
    {0x08, "last button press/finger off ts"},
    {0x10, "last button press/start haptic ts"},
    {0x18, "last button press/finger detect to button down"},
    {0x58, "last button press/click 1/button down ts"},
    {0x60, "last button press/click 1/button up ts"},
    {0x68, "last button press/click 2/button down ts"},
    {0x70, "last button press/click 2/button up ts"},
    {0x78, "last button press/click 3/button down ts"},
    {0x80, "last button press/click 3/button up ts"},
    {0x90, "last button press/click 1/play asset ts"},
    {0xA0, "last button press/click 2/play asset ts"},
    {0xB0, "last button press/click 3/play asset ts"},
    {0xB8, "last button press/click 1/button down to play asset"},
    {0xC0, "last button press/click 1/button up to play asset"},
    {0xC8, "last button press/click 2/button down to play asset"},
    {0xD0, "last button press/click 2/button up to play asset"},
    {0xD8, "last button press/click 3/button down to play asset"},
    {0xE0, "last button press/click 3/button up to play asset"},
    {0x10A, "last button press/second scan ts"},
    {0x11A, "latency/min_nz_latency_FD_to_BD"},
    {0x122, "latency/max_latency_FD_to_BD"},
    {0x12A, "latency/min_nz_latency_BC_to_PlayAsset"},
    {0x132, "latency/max_latency_BC_to_PlayAsset"},
    {0x13A, "latency/min_latency_Total"},
    {0x142, "latency/max_latency_Total"},
};

constexpr std::int64_t value_at(std::size_t at) { return 0x0123456789AB0000 + static_cast<std::int64_t>(at); }

// Every field has a value of its own; whatever is not shown is ones.
ReplyBuilder distinct_statistics() {
  ReplyBuilder statistics = reply(330, '\xFF');
  for (const StatisticsRow& row : kStatisticsRows) {
    statistics.u64(row.at, value_at(row.at));
  }
  return statistics.u32(0xE9, 7).u32(0x112, -5);
}

Entries distinct_entries() {
  Entries entries = {{"last button press/click count", "3"}, {"last button press/turtle scans", "-5"}};
  for (const StatisticsRow& row : kStatisticsRows) {
    entries[row.path] = std::to_string(value_at(row.at));
  }
  return entries;
}

Entries without(Entries entries, const std::string& beginning) {
  std::erase_if(entries, [&](const auto& entry) { return entry.first.starts_with(beginning); });
  return entries;
}

TEST_F(SSHBState, statistics_show_every_field_under_its_key_and_nothing_else) {
  driver.properties[kStatistics] = distinct_statistics();
  const Snapshot shown = snapshot();
  EXPECT_EQ(shown.title, "SSHB Statistics");
  EXPECT_EQ(shown.entries(), distinct_entries());
  EXPECT_EQ(shown.entries().size(), 28U);
  EXPECT_EQ(log, Story{});
}

TEST_F(SSHBState, reads_330_bytes_of_property_215_and_then_4096_of_216) {
  capture();
  EXPECT_EQ(driver.story, (Story{"property 215 room 330", "property 216 room 4096"}));
}

TEST_F(SSHBState, play_asset_ts_is_that_of_the_up_edge_never_of_the_down_edge) {
  driver.properties[kStatistics] = reply(330).u64(0x88, 1).u64(0x90, 2).u64(0x98, 3).u64(0xA0, 4).u64(0xA8, 5);
  const Snapshot shown = snapshot();
  EXPECT_EQ(shown.entry("last button press/click 1/play asset ts"), "2");
  EXPECT_EQ(shown.entry("last button press/click 2/play asset ts"), "4");
  EXPECT_EQ(shown.entry("last button press/click 3/play asset ts"), "0");
}

TEST_F(SSHBState, click_count_is_the_upper_31_bits) {
  const std::pair<std::int64_t, const char*> counts[] = {
      {0, "0"}, {1, "0"}, {2, "1"}, {7, "3"}, {0x80000000, "1073741824"}, {0xFFFFFFFF, "2147483647"}};
  for (const auto& [bits, shown] : counts) {
    driver.properties[kStatistics] = reply(330).u32(0xE9, bits);
    EXPECT_EQ(snapshot().entry("last button press/click count"), shown) << bits;
  }
}

TEST_F(SSHBState, times_are_shown_as_signed_numbers) {
  driver.properties[kStatistics] = reply(330).u64(0x08, -1).u64(0x142, INT64_MIN);
  const Snapshot shown = snapshot();
  EXPECT_EQ(shown.entry("last button press/finger off ts"), "-1");
  EXPECT_EQ(shown.entry("latency/max_latency_Total"), "-9223372036854775808");
}

TEST_F(SSHBState, statistics_that_come_short_show_zeros_for_the_rest) {
  driver.properties[kStatistics] = Reply{distinct_statistics().bytes().substr(0, 0x12A)};
  const Snapshot shown = snapshot();
  EXPECT_EQ(shown.entry("latency/max_latency_FD_to_BD"), std::to_string(value_at(0x122)));
  EXPECT_EQ(shown.entry("latency/min_nz_latency_BC_to_PlayAsset"), "0");
  EXPECT_EQ(shown.entry("latency/max_latency_Total"), "0");
}

TEST_F(SSHBState, empty_statistics_are_all_zeros) {
  driver.properties[kStatistics] = Reply{};
  for (const auto& [path, value] : snapshot().entries()) {
    EXPECT_EQ(value, "0") << path;
  }
}

TEST_F(SSHBState, read_that_fails_gives_no_record_and_no_message) {
  driver.properties[kStatistics] = Reply{distinct_statistics().bytes(), kIOReturnTimeout};
  driver.properties[kAssets] = Reply{std::string(1479, '\0'), kIOReturnTimeout};
  EXPECT_EQ(titles_of(capture()), Story{});
  EXPECT_EQ(log, Story{});
}

TEST_F(SSHBState, without_a_driver_interface_both_handlers_tell_so_and_give_no_record) {
  platform::clear_state_handlers();
  ServiceScript script;
  script.driver.gives_interface = false;
  announce({kConsumerButton}, std::move(script));
  EXPECT_EQ(titles_of(capture()), Story{});
  EXPECT_EQ(log, Story(2, assertion("context->_driver._interface", 1152)));
}

TEST_F(SSHBState, statistics_without_memory_for_their_dictionary_are_told_and_give_no_record) {
  driver.properties[kStatistics] = reply(330);
  EXPECT_EQ(titles_of(capture_failing(Fallible::kCFDictionaryCreateMutable, 1)), Story{});
  EXPECT_EQ(log, (Story{assertion("state", 527)}));
}

TEST_F(SSHBState, dictionary_inside_the_statistics_that_cannot_be_made_is_left_out) {
  driver.properties[kStatistics] = distinct_statistics();
  const char* const dictionaries[] = {"last button press", "last button press/click 1", "last button press/click 2",
                                      "last button press/click 3", "latency"};
  std::uint64_t call = 2;
  for (const char* missing : dictionaries) {
    const Snapshots snapshots = capture_failing(Fallible::kCFDictionaryCreateMutable, call++);
    ASSERT_EQ(titles_of(snapshots), (Story{"SSHB Statistics"})) << missing;
    EXPECT_EQ(snapshots[0].entries(), without(distinct_entries(), missing)) << missing;
  }
  EXPECT_EQ(log, Story{});
}

TEST_F(SSHBState, number_that_cannot_be_made_is_left_out) {
  driver.properties[kStatistics] = distinct_statistics();
  const Snapshots first = capture_failing(Fallible::kCFNumberCreate, 1);
  EXPECT_EQ(first.at(0).entries(), without(distinct_entries(), "last button press/click count"));
  const Snapshots none = capture_failing(Fallible::kCFNumberCreate, 1, true);
  EXPECT_EQ(none.at(0).entries(), Entries{});
}

TEST_F(SSHBState, play_asset_ts_of_the_down_edge_stays_when_that_of_the_up_edge_cannot_be_made) {
  driver.properties[kStatistics] = reply(330).u64(0x88, 1).u64(0x90, 2);
  // Four numbers stand before the first click's, whose sixth this is.
  const Snapshots snapshots = capture_failing(Fallible::kCFNumberCreate, 10);
  EXPECT_EQ(snapshots.at(0).entry("last button press/click 1/play asset ts"), "1");
}

// The assets.
constexpr std::size_t kAssetLength = 29;
constexpr std::size_t kSpeedLength = 493;

constexpr const char* kSpeeds[] = {"Slow", "Medium", "Fast"};
constexpr const char* kStates[] = {"SingleDown",  "SingleUp",     "DoubleDown",   "DoubleUp",    "TripleDown",
                                   "TripleUp",    "SingleTapOn",  "SingleTapOff", "DoubleTapOn", "DoubleTapOff",
                                   "TripleTapOn", "TripleTapOff", "DeepDown",     "DeepUp",      "LongPress",
                                   "LongPressUp", "(null)"};

TEST_F(SSHBState, assets_of_1479_bytes_are_51_entries_three_of_them_without_a_state_name) {
  ReplyBuilder assets = reply(1479, '\xFF');
  Entries expected;
  std::int64_t number = 1;
  for (std::size_t speed = 0; speed < 3; ++speed) {
    for (std::size_t state = 0; state < 17; ++state, ++number) {
      const std::size_t at = speed * kSpeedLength + state * kAssetLength;
      assets.u8(at, 100 + number).u32(at + 1, number << 16U).u64(at + 5, -number).u64(at + 13, number << 40U);
      assets.u32(at + 21, -1000 - number);
      const std::string text = std::to_string(number);
      expected[std::string(kSpeeds[speed]) + "-" + kStates[state]] =
          "'enable=" + std::to_string(100 + number) + " slot=" + std::to_string(-1000 - number) + " gain=" + text +
          ".000000 min=-" + text + " max=" + std::to_string(number << 40U) + "'";
    }
  }
  driver.properties[kAssets] = assets;
  const Snapshot shown = snapshot();
  EXPECT_EQ(shown.title, "SSHB assets");
  EXPECT_EQ(shown.entries(), expected);
  EXPECT_EQ(shown.entries().size(), 51U);
}

TEST_F(SSHBState, assets_shorter_than_1479_bytes_are_told_and_give_no_record) {
  for (const std::size_t length : {0U, 1U, 1450U, 1478U}) {
    log.clear();
    driver.properties[kAssets] = reply(length);
    EXPECT_EQ(titles_of(capture()), Story{}) << length;
    EXPECT_EQ(log, (Story{assertion("propertyLength >= sizeof(assets)", 632)})) << length;
  }
}

TEST_F(SSHBState, assets_beyond_1479_bytes_or_of_a_length_beyond_the_buffer_show_the_first_1479) {
  const Reply longer[] = {reply(1480), reply(4096), Reply{std::string(4096, '\0'), kIOReturnSuccess, 100000}};
  for (const Reply& its_reply : longer) {
    driver.properties[kAssets] = its_reply;
    EXPECT_EQ(snapshot().entries().size(), 51U);
  }
}

TEST_F(SSHBState, gain_is_a_signed_number_of_16_bits_and_16_behind_the_point) {
  const std::pair<std::int64_t, const char*> gains[] = {{0x00010000, "1.000000"},
                                                        {0xFFFF8000, "-0.500000"},
                                                        {0x00000001, "0.000015"},
                                                        {0x7FFFFFFF, "32767.999985"},
                                                        {0x80000000, "-32768.000000"}};
  for (const auto& [bits, shown] : gains) {
    driver.properties[kAssets] = reply(1479).u32(1, bits);
    EXPECT_EQ(snapshot().entry("Slow-SingleDown"), std::string("'enable=0 slot=0 gain=") + shown + " min=0 max=0'");
  }
}

TEST_F(SSHBState, asset_of_the_widest_numbers_is_shown_whole) {
  driver.properties[kAssets] =
      reply(1479).u8(1450, 255).u32(1451, INT32_MIN).u64(1455, INT64_MIN).u64(1463, INT64_MAX).u32(1471, INT32_MIN);
  EXPECT_EQ(snapshot().entry("Fast-(null)"),
            "'enable=255 slot=-2147483648 gain=-32768.000000 min=-9223372036854775808 max=9223372036854775807'");
}

TEST_F(SSHBState, assets_without_memory_for_their_dictionary_are_told_and_give_no_record) {
  driver.properties[kAssets] = reply(1479);
  EXPECT_EQ(titles_of(capture_failing(Fallible::kCFDictionaryCreateMutable, 1)), Story{});
  EXPECT_EQ(log, (Story{assertion("stateDict", 636)}));
}

TEST_F(SSHBState, asset_whose_text_or_key_cannot_be_made_is_left_out) {
  driver.properties[kAssets] = reply(1479);
  for (const std::uint64_t call : {1U, 2U}) {
    const Snapshots snapshots = capture_failing(Fallible::kCFStringCreateWithCString, call);
    EXPECT_EQ(snapshots.at(0).entry("Slow-SingleDown"), "none");
    EXPECT_EQ(snapshots.at(0).entries().size(), 50U);
  }
}

}  // namespace
}  // namespace hub::test
