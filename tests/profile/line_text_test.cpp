// SPDX-License-Identifier: Apache-2.0
// Lines that are written from the rows of their category are those that its decoder's virtual operations give.
#include "profile/line_text.h"

#include <array>
#include <random>

#include "profile/category.h"
#include "tests/support/decoding.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using namespace hub::profile;

class PutLine : public DecodeTest {
 protected:
  static std::string written(const _HubProfileReport& report) {
    std::array<char, kLineRoom> line;
    const std::string text(line.data(), put_line(line.data(), report));
    EXPECT_EQ(NEBLogDecoder::to_string(report), text);
    return text;
  }

  // The line by the category's decoder object.
  static std::string decoders_line(const _HubProfileReport& report) {
    profile_decoder& decoder = report.category_id < NEBLogDecoder::kCategoryCount
                                   ? *NEBLogDecoder::_decoders[report.category_id]
                                   : NEBLogDecoder::_default;
    return decoder.to_string(report);
  }

  static _HubProfileReport random_report(std::mt19937& random) {
    _HubProfileReport report{};
    report.category_id = static_cast<std::uint8_t>(random() % 15);
    report.component_id = static_cast<std::uint8_t>(random() % 12);
    report.event_id = static_cast<std::uint8_t>(random() % 20);
    report.type_id = static_cast<std::uint8_t>(random() % 15);
    report.sequence_num = static_cast<std::uint32_t>(random() >> random() % 32);
    report.timestamp = (std::uint64_t{random()} << 32 | random()) >> random() % 64;
    for (std::uint8_t& byte : report.payload) {
      byte = random() % 3 == 0 ? 0 : static_cast<std::uint8_t>(random());
    }
    return report;
  }
};

TEST_F(PutLine, every_kind_of_report_is_its_decoders_line) {
  for (unsigned category : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, 10U, 11U, 12U, 13U, 255U}) {
    for (unsigned component = 0; component < 12; ++component) {
      for (unsigned event = 0; event < 20; ++event) {
        for (unsigned type = 0; type < 15; ++type) {
          const auto sample = report(category, component, event, type).count_up();
          ASSERT_EQ(written(sample), decoders_line(sample));
        }
      }
    }
  }
}

TEST_F(PutLine, reports_of_random_bytes_are_their_decoders_lines) {
  std::mt19937 random(20261121);
  for (int round = 0; round < 50'000; ++round) {
    const _HubProfileReport sample = random_report(random);
    ASSERT_EQ(written(sample), decoders_line(sample));
  }
}

TEST_F(PutLine, the_longest_line_has_room) {
  for (unsigned category = 0; category < 14; ++category) {
    for (unsigned type = 0; type < 14; ++type) {
      for (unsigned version = 0; version < 8; ++version) {
        const auto sample =
            report(category, 255, 255, type).fill(255).u16(0, version).sequence(0xFFFFFFFF).time_us(~0ULL);
        ASSERT_EQ(written(sample), decoders_line(sample));
      }
    }
  }
}

}  // namespace
}  // namespace hub::test
