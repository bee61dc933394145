// SPDX-License-Identifier: Apache-2.0
#include "profile/wake_decoder.h"

#include "tests/support/decoding.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using Wake = DecodeTest;

TEST_F(Wake, names_its_component_and_events) {
  expect_components(NEBLogDecoder::_wake, {{0, "wake"}});
  expect_events_of_all_components(NEBLogDecoder::_wake,
                                  {{0, "wake-req-stats"}, {1, "wake-req-info"}, {2, "wake-event-info"}});
}

TEST_F(Wake, request_prints_reason_and_endpoint) {
  EXPECT_EQ(payload_items(report(10, 0, 1, 13).fill(255).u32(0, 7).u64(4, 4294967296)),
            " 'wake_reason':         7, 'endpoint_ref':4294967296,");
}

TEST_F(Wake, request_prints_64_bits_of_endpoint) {
  EXPECT_EQ(payload_items(report(10, 0, 1, 13).fill(255)),
            " 'wake_reason':4294967295, 'endpoint_ref':18446744073709551615,");
}

TEST_F(Wake, event_prints_reason_and_32_bits_of_service) {
  EXPECT_EQ(payload_items(report(10, 0, 2, 3).fill(255).u32(0, 7).u32(4, 12)),
            " 'wake_reason':         7, 'service_id':        12,");
}

TEST_F(Wake, request_type_is_printed_as_its_number) {
  EXPECT_NE(line(report(10, 0, 1, 13)).find(" 'type':        '13',"), std::string::npos);
}

TEST_F(Wake, any_other_header_prints_the_shared_items_alone) {
  const auto base = [](unsigned type) { return payload_items(report(8, 0, 0, type).count_up()); };
  EXPECT_EQ(payload_items(report(10, 0, 1, 3).count_up()), base(3));
  EXPECT_EQ(payload_items(report(10, 0, 2, 13).count_up()), "");
  EXPECT_EQ(payload_items(report(10, 0, 0, 3).count_up()), base(3));
  EXPECT_EQ(payload_items(report(10, 1, 2, 3).count_up()), base(3));
  EXPECT_EQ(payload_items(report(10, 1, 1, 13).count_up()), "");
  EXPECT_EQ(payload_items(report(10, 0, 2, 2).count_up()), base(2));
}

}  // namespace
}  // namespace hub::test
