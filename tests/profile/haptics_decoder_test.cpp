// SPDX-License-Identifier: Apache-2.0
#include "profile/haptics_decoder.h"

#include "tests/support/decoding.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using Haptics = DecodeTest;

const Names kSubtypeNames = {{0, "SetMapping"},
                             {1, "PlayActionCommand"},
                             {2, "PlayAssetCommand"},
                             {3, "ProcessCommandError"},
                             {4, "EnqueueRequest"},
                             {5, "HandleAmpStateAction"},
                             {6, "AmpTimerStarted"},
                             {7, "AmpTimerStopped"},
                             {8, "AmpTimerFired"},
                             {9, "SetPowerState"},
                             {10, "SetPowerStateError"},
                             {11, "SetPowerStateComplete"},
                             {12, "PlayHapticsAction"},
                             {13, "RequestDropped"},
                             {14, "PlayAssetBegin"},
                             {15, "PlayAssetError"},
                             {16, "PlayAssetComplete"},
                             {17, "UserClientPlayAsset"},
                             {18, "UserClientPlayAssetError"},
                             {19, "KextPlayAssetGated"},
                             {20, "KextPlayAssetGatedError"},
                             {21, "RTPRawData"},
                             {23, "RTPHapticsManagerRequestCmp"},
                             {24, "RTPRawEvent"}};

std::string base_items(unsigned type) { return payload_items(report(8, 0, 0, type).count_up()); }

TEST_F(Haptics, only_four_components_have_names) {
  expect_components(NEBLogDecoder::_haptics,
                    {{5, "nebaudio"}, {7, "haptics-manager"}, {8, "hm-kext"}, {9, "rtp-detent"}});
}

TEST_F(Haptics, events_have_their_names_in_every_component) {
  expect_events_of_all_components(NEBLogDecoder::_haptics,
                                  {{0, "trace"}, {1, "amp-states-data"}, {2, "play-request-data"}});
}

TEST_F(Haptics, subtypes_have_names_in_the_manager_its_kext_and_the_detent_generator) {
  for (unsigned component : {7U, 8U, 9U}) {
    expect_exactly(kSubtypeNames,
                   [&](unsigned subtype) { return NEBLogDecoder::_haptics.subtype_name(component, subtype); });
  }
}

TEST_F(Haptics, subtypes_of_other_components_are_numbers) {
  for (unsigned component : {0U, 4U, 5U, 6U, 10U, 255U}) {
    expect_exactly({}, [&](unsigned subtype) { return NEBLogDecoder::_haptics.subtype_name(component, subtype); });
  }
}

TEST_F(Haptics, trace_prints_its_name_and_five_numbers_alone) {
  EXPECT_EQ(
      payload_items(report(11, 7, 0, 3).u32(0, 13).u32(4, 1).u32(8, 22).u32(12, 333).u32(16, 4294967295).u32(20, 5)),
      " 'trace':         'RequestDropped', 'thread':         1, 'arg1':        22, 'arg2':       333,"
      " 'arg3':4294967295, 'arg4':         5,");
}

TEST_F(Haptics, trace_of_a_component_without_subtypes_prints_the_number) {
  EXPECT_TRUE(payload_items(report(11, 4, 0, 3).u32(0, 13)).starts_with(" 'trace':                     '13',"));
}

TEST_F(Haptics, trace_name_longer_than_its_column_is_printed_whole) {
  EXPECT_TRUE(payload_items(report(11, 9, 0, 3).u32(0, 23)).starts_with(" 'trace':'RTPHapticsManagerRequestCmp', "));
}

TEST_F(Haptics, trace_is_printed_whatever_the_event) {
  for (unsigned event : {1U, 2U, 3U, 255U}) {
    EXPECT_TRUE(payload_items(report(11, 8, event, 3)).starts_with(" 'trace':             'SetMapping',")) << event;
  }
}

TEST_F(Haptics, kept_amplifier_state_prints_the_type_from_behind_the_others) {
  EXPECT_EQ(payload_items(report(11, 7, 1, 2).fill(255).u32(2, 22).u32(6, 66).u32(10, 1010)),
            " 'ampType':      1010, 'state':        22, 'refCount':        66,");
}

TEST_F(Haptics, play_request_prints_every_other_word) {
  EXPECT_EQ(payload_items(report(11, 7, 2, 2).fill(255).u32(2, 22).u32(10, 1010).u32(18, 1818).u32(26, 4000000000)),
            " 'ampType':        22, 'index':      1010, 'presilence':      1818, 'gain':4000000000,");
}

TEST_F(Haptics, short_data_of_other_events_prints_the_shared_items) {
  for (unsigned event : {0U, 3U, 255U}) {
    EXPECT_EQ(payload_items(report(11, 7, event, 2).count_up()), base_items(2)) << event;
  }
}

TEST_F(Haptics, other_types_print_the_shared_items) {
  for (unsigned type : {0U, 1U, 4U, 5U, 6U, 7U, 8U, 9U, 10U, 11U, 12U, 13U}) {
    EXPECT_EQ(payload_items(report(11, 7, 1, type).count_up()), base_items(type)) << type;
  }
}

TEST_F(Haptics, components_5_and_6_print_the_shared_items_whatever_the_type) {
  for (unsigned component : {5U, 6U}) {
    for (unsigned type : {1U, 2U, 3U, 5U}) {
      EXPECT_EQ(payload_items(report(11, component, 1, type).count_up()), base_items(type)) << component << " " << type;
    }
  }
}

}  // namespace
}  // namespace hub::test
