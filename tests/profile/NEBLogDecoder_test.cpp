// SPDX-License-Identifier: Apache-2.0
#include "profile/NEBLogDecoder.h"

#include <array>
#include <cstring>
#include <thread>
#include <typeinfo>

#include "tests/support/decoding.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using Registry = DecodeTest;

TEST_F(Registry, categories_have_decoders_of_their_own_class) {
  const std::type_info* classes[] = {&typeid(execution_decoder), &typeid(trace_decoder),   &typeid(sensor_decoder),
                                     &typeid(sphere_decoder),    &typeid(cumulus_decoder), &typeid(interrupt_decoder),
                                     &typeid(uart_decoder),      &typeid(sshb_decoder),    &typeid(profile_decoder),
                                     &typeid(scm_decoder),       &typeid(wake_decoder),    &typeid(haptics_decoder),
                                     &typeid(profile_decoder)};
  for (unsigned category = 0; category < NEBLogDecoder::kCategoryCount; ++category) {
    const profile_decoder& decoder = *NEBLogDecoder::_decoders[category];
    EXPECT_TRUE(typeid(decoder) == *classes[category]) << "category " << category;
  }
}

TEST_F(Registry, array_holds_the_named_objects_and_not_the_fallback) {
  const profile_decoder* objects[] = {&NEBLogDecoder::_exec,   &NEBLogDecoder::_trace,   &NEBLogDecoder::_sensor,
                                      &NEBLogDecoder::_sphere, &NEBLogDecoder::_cumulus, &NEBLogDecoder::_interrupt,
                                      &NEBLogDecoder::_uart,   &NEBLogDecoder::_sshb,    &NEBLogDecoder::_control,
                                      &NEBLogDecoder::_scm,    &NEBLogDecoder::_wake,    &NEBLogDecoder::_haptics,
                                      &NEBLogDecoder::_cm};
  for (unsigned category = 0; category < NEBLogDecoder::kCategoryCount; ++category) {
    EXPECT_EQ(NEBLogDecoder::_decoders[category], objects[category]) << "category " << category;
    EXPECT_NE(NEBLogDecoder::_decoders[category], &NEBLogDecoder::_default) << "category " << category;
  }
}

TEST_F(Registry, category_name_comes_through_the_registry) {
  EXPECT_EQ(NEBLogDecoder::category_to_string(4), "cumulus");
  EXPECT_EQ(NEBLogDecoder::category_to_string(12), "cm");
}

TEST_F(Registry, category_outside_gives_its_number) {
  EXPECT_EQ(NEBLogDecoder::category_to_string(13), "13");
  EXPECT_EQ(NEBLogDecoder::category_to_string(255), "255");
  EXPECT_EQ(NEBLogDecoder::category_to_string(4294967295), "4294967295");
}

TEST_F(Registry, component_name_is_that_of_the_categorys_decoder) {
  EXPECT_EQ(NEBLogDecoder::component_to_string(2, 3), "pressure");
  EXPECT_EQ(NEBLogDecoder::component_to_string(11, 7), "haptics-manager");
}

TEST_F(Registry, component_of_a_base_category_gives_its_number) {
  EXPECT_EQ(NEBLogDecoder::component_to_string(8, 3), "3");
  EXPECT_EQ(NEBLogDecoder::component_to_string(12, 3), "3");
}

TEST_F(Registry, component_of_a_category_outside_gives_its_number) {
  EXPECT_EQ(NEBLogDecoder::component_to_string(40, 7), "7");
  EXPECT_EQ(NEBLogDecoder::component_to_string(13, 0), "0");
}

TEST_F(Registry, report_of_a_category_outside_is_printed_by_the_fallback) {
  EXPECT_EQ(line(report(200, 1, 2, 5)), NEBLogDecoder::_default.to_string(report(200, 1, 2, 5)));
  EXPECT_TRUE(line(report(200, 1, 2, 0)).starts_with("{  'category':   '200', 'component':     '1',"));
  EXPECT_TRUE(line(report(13, 1, 2, 0)).starts_with("{  'category':    '13',"));
}

TEST_F(Registry, each_category_is_printed_by_its_decoder) {
  for (unsigned category = 0; category < NEBLogDecoder::kCategoryCount; ++category) {
    const auto sample = report(category, 0, 1, 3).count_up();
    EXPECT_EQ(line(sample), NEBLogDecoder::_decoders[category]->to_string(sample)) << "category " << category;
  }
}

TEST_F(Registry, any_number_of_threads_decode_at_once) {
  const std::string expected = line(report(7, 3, 0, 3).count_up());
  std::array<std::thread, 4> threads;
  for (std::thread& thread : threads) {
    thread = std::thread([&expected] {
      for (int record = 0; record < 500; ++record) {
        EXPECT_EQ(line(report(7, 3, 0, 3).count_up()), expected);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

// One decoder for each virtual operation, with that one replaced.
struct OwnToString : profile_decoder {
  std::string to_string(const _HubProfileReport&) override { return {}; }
};
struct OwnCategoryName : profile_decoder {
  std::string category_name(unsigned int) override { return {}; }
};
struct OwnComponentName : profile_decoder {
  std::string component_name(unsigned int) override { return {}; }
};
struct OwnEventName : profile_decoder {
  std::string event_name(unsigned int, unsigned int) override { return {}; }
};
struct OwnParseDatatype : profile_decoder {
  void parse_datatype(std::stringstream&, const _HubProfileReport&) override {}
};

// Reads the virtual tables as this machine's C++ ABI lays them out.
TEST_F(Registry, virtual_operations_stand_in_their_slots) {
  profile_decoder base;
  OwnToString slot_0;
  OwnCategoryName slot_1;
  OwnComponentName slot_2;
  OwnEventName slot_3;
  OwnParseDatatype slot_4;
  profile_decoder* replaced[] = {&slot_0, &slot_1, &slot_2, &slot_3, &slot_4};
  const auto slot_of = [](const profile_decoder& decoder, std::size_t slot) {
    void* const* table = nullptr;
    std::memcpy(&table, static_cast<const void*>(&decoder), sizeof table);
    return table[slot];
  };
  for (std::size_t own = 0; own < std::size(replaced); ++own) {
    for (std::size_t slot = 0; slot < std::size(replaced); ++slot) {
      EXPECT_EQ(slot_of(*replaced[own], slot) != slot_of(base, slot), own == slot) << own << " in slot " << slot;
    }
  }
}

}  // namespace
}  // namespace hub::test
