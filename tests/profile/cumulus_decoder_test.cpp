// SPDX-License-Identifier: Apache-2.0
#include "profile/cumulus_decoder.h"

#include "tests/support/decoding.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using Cumulus = DecodeTest;

ReportBuilder data_in() { return report(4, 0, 0, 3); }
ReportBuilder data_out() { return report(4, 0, 1, 3); }

// What the base decoder prints for the same payload.
std::string base_items(ReportBuilder sample, unsigned type) {
  _HubProfileReport copy = sample;
  copy.category_id = 8;
  copy.type_id = static_cast<std::uint8_t>(type);
  return payload_items(copy);
}

TEST_F(Cumulus, names_its_component_and_events) {
  expect_components(NEBLogDecoder::_cumulus, {{0, "cumulus"}});
  expect_events_of_all_components(NEBLogDecoder::_cumulus, {{0, "data-in"}, {1, "data-out"}});
}

TEST_F(Cumulus, data_in_prints_arguments_and_vector_then_the_shared_items) {
  const auto sample = data_in().u32(0, 0x00010000).u32(4, 0xFFFF8000).u32(8, 1).u32(12, 4).u32(16, 5).u32(20, 6);
  EXPECT_EQ(payload_items(sample),
            " 'arg1':     65536, 'arg2':4294934528, 'arg3':         1, 'arg4':         4, 'arg5':         5,"
            " 'arg6':         6, 'x':         1, 'y':      -0.5, 'z':1.52588e-05," +
                base_items(sample, 3));
}

TEST_F(Cumulus, data_out_prints_arguments_and_vector_alone) {
  EXPECT_EQ(payload_items(data_out().u32(0, 0xFFFFF000).u32(4, 0x00001800).u32(8, 1).u32(20, 4294967295)),
            " 'arg1':4294963200, 'arg2':      6144, 'arg3':         1, 'arg4':         0, 'arg5':         0,"
            " 'arg6':4294967295, 'x':        -1, 'y':       1.5, 'z':0.000244141,");
}

TEST_F(Cumulus, vector_has_six_significant_digits) {
  const auto x_of = [](std::uint32_t raw, const ReportBuilder& kind) {
    const std::string items = payload_items(ReportBuilder(kind).u32(0, raw));
    const std::size_t begin = items.find(" 'x':") + 5;
    return items.substr(begin, items.find(',', begin) - begin);
  };
  EXPECT_EQ(x_of(0x80000000, data_in()), "    -32768");
  EXPECT_EQ(x_of(0x7FFFFFFF, data_in()), "     32768");
  EXPECT_EQ(x_of(0xFFFFFFFF, data_in()), "-1.52588e-05");
  EXPECT_EQ(x_of(0x0001E240, data_in()), "   1.88379");
  EXPECT_EQ(x_of(0x7FFFFFFF, data_out()), "    524288");
  EXPECT_EQ(x_of(0x80000000, data_out()), "   -524288");
  EXPECT_EQ(x_of(0, data_out()), "         0");
}

TEST_F(Cumulus, any_other_header_prints_the_shared_items_alone) {
  struct Header {
    unsigned component, event, type;
  };
  for (const auto& [component, event, type] :
       {Header{0, 2, 3}, Header{0, 0, 4}, Header{1, 0, 3}, Header{0, 1, 2}, Header{1, 1, 3}, Header{255, 0, 3}}) {
    const auto sample = report(4, component, event, type).count_up();
    EXPECT_EQ(payload_items(sample), base_items(sample, type)) << component << " " << event << " " << type;
  }
}

}  // namespace
}  // namespace hub::test
