// SPDX-License-Identifier: Apache-2.0
#include "profile/rendering.h"

#include <sstream>

#include "tests/support/decoding.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using namespace hub::profile;

// The items of the layouts that a report is said to have, with subtypes named as its decoder names them.
std::string items_of_rendering(const _HubProfileReport& sample) {
  std::stringstream out;
  print_rendering(*out.rdbuf(), rendering_of(sample), payload_of(sample), [&](std::uint32_t subtype) {
    return sample.category_id == 7 ? NEBLogDecoder::_sshb.subtype_name(sample.component_id, subtype)
                                   : NEBLogDecoder::_haptics.subtype_name(sample.component_id, subtype);
  });
  return out.str();
}

using RenderingOf = DecodeTest;

TEST_F(RenderingOf, a_report_has_the_layouts_that_its_line_shows) {
  for (unsigned category : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, 10U, 11U, 12U, 13U, 255U}) {
    for (unsigned component = 0; component < 10; ++component) {
      for (unsigned event = 0; event < 4; ++event) {
        for (unsigned type = 0; type < 15; ++type) {
          const auto sample = report(category, component, event, type).count_up();
          ASSERT_EQ(items_of_rendering(sample), payload_items(sample))
              << category << " " << component << " " << event << " " << type;
        }
      }
    }
  }
}

TEST_F(RenderingOf, a_context_has_the_layout_of_its_version) {
  for (unsigned version = 0; version < 10; ++version) {
    const auto sample = report(7, 0, 1, 10).count_up().u16(0, version);
    EXPECT_EQ(items_of_rendering(sample), payload_items(sample)) << version;
  }
}

}  // namespace
}  // namespace hub::test
