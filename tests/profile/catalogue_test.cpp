// SPDX-License-Identifier: Apache-2.0
#include "profile/catalogue.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <set>
#include <sstream>
#include <vector>

#include "profile/core_payloads.h"

#include "tests/support/decoding.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using namespace hub::profile;

// The items of the layouts that a report is said to have, with subtypes as the catalogue names them.
std::string items_of_rendering(const _HubProfileReport& sample) {
  std::stringstream out;
  print_rendering(*out.rdbuf(), rendering_of(sample), payload_of(sample),
                  [&](std::uint32_t subtype) { return subtype_name_of(sample, subtype); });
  return out.str();
}

// The registered decoder of a category, or the one for all others.
profile_decoder& decoder_of(unsigned category) {
  return category < NEBLogDecoder::kCategoryCount ? *NEBLogDecoder::_decoders[category] : NEBLogDecoder::_default;
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

TEST(Catalogue, has_the_registered_categories_by_their_ids) {
  ASSERT_EQ(kCategories.size(), NEBLogDecoder::kCategoryCount);
  for (unsigned id = 0; id < kCategories.size(); ++id) {
    EXPECT_EQ(kCategories[id]->id, id);
    EXPECT_NE(name_in(kCategoryNames, id), std::to_string(id));
  }
}

TEST(Catalogue, names_components_as_the_decoders_do) {
  for (const Category* category : kCategories) {
    for (unsigned component = 0; component < 256; ++component) {
      const std::string name =
          category->components != nullptr ? name_in(*category->components, component) : std::to_string(component);
      EXPECT_EQ(name, decoder_of(category->id).component_name(component)) << category->id << " " << component;
    }
  }
}

TEST(Catalogue, names_events_as_the_decoders_do) {
  for (unsigned category = 0; category < 14; ++category) {
    for (unsigned component = 0; component < 256; ++component) {
      for (unsigned event = 0; event < 32; ++event) {
        ASSERT_EQ(event_name_of(report(category, component, event, 0)),
                  decoder_of(category).event_name(component, event))
            << category << " " << component << " " << event;
      }
    }
  }
}

// A known name, or the number in decimal.
std::string shown(std::string_view known, unsigned number) {
  return known.empty() ? std::to_string(number) : std::string(known);
}

TEST(Catalogue, known_names_are_those_that_a_line_shows) {
  for (unsigned category = 0; category < 256; ++category) {
    for (unsigned id = 0; id < 256; ++id) {
      const _HubProfileReport sample = report(category, id, id, id);
      ASSERT_EQ(shown(known_category_name(sample), category), NEBLogDecoder::category_to_string(category));
      ASSERT_EQ(shown(known_component_name(sample), id), NEBLogDecoder::component_to_string(category, id));
      ASSERT_EQ(shown(known_event_name(sample), id), decoder_of(category).event_name(id, id));
      ASSERT_EQ(shown(known_type_name(sample), id), profile_decoder::type_name(id));
    }
  }
}

TEST(Catalogue, number_beyond_all_subtypes_has_no_known_name) {
  EXPECT_EQ(known_subtype_name(report(7, 0, 0, 3), 50), "PlayAssetBegin");
  EXPECT_EQ(known_subtype_name(report(7, 0, 0, 3), ~0U), "");
  EXPECT_EQ(known_subtype_name(report(8, 0, 0, 3), 50), "");
}

bool is_word(std::string_view name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), [](char letter) {
    return std::isalnum(static_cast<unsigned char>(letter)) != 0 || letter == '-' || letter == '_';
  });
}

// So forms write them without a look at their characters, and an empty one is free to mean none.
TEST(Catalogue, every_name_is_a_word) {
  std::vector<NameTable> tables = {kCategoryNames, kTypeNames};
  for (const Category* category : kCategories) {
    if (category->components != nullptr) {
      tables.push_back(*category->components);
    }
    for (const auto& rows : {category->events, category->subtypes}) {
      std::transform(rows.begin(), rows.end(), std::back_inserter(tables),
                     [](const ComponentNames& row) { return *row.names; });
    }
  }
  for (const NameTable& table : tables) {
    for (const profile_decoder::entry& row : table.rows()) {
      EXPECT_TRUE(is_word(row.name)) << row.id << " " << row.name;
    }
  }
}

TEST(Catalogue, names_subtypes_as_the_decoders_do) {
  for (unsigned component = 0; component < 256; ++component) {
    for (std::uint32_t subtype = 0; subtype < 512; ++subtype) {
      ASSERT_EQ(subtype_name_of(report(7, component, 0, 3), subtype),
                NEBLogDecoder::_sshb.subtype_name(component, subtype))
          << component << " " << subtype;
      ASSERT_EQ(subtype_name_of(report(11, component, 0, 3), subtype),
                NEBLogDecoder::_haptics.subtype_name(component, subtype))
          << component << " " << subtype;
    }
  }
}

TEST(Catalogue, layouts_have_names_of_their_own) {
  std::set<std::string_view> names;
  for (const Layout* layout : kLayouts) {
    EXPECT_TRUE(names.insert(layout->name).second) << layout->name;
  }
}

TEST(Catalogue, every_layout_that_a_choice_names_is_among_the_layouts) {
  const auto is_listed = [](const Layout* layout) {
    return layout == nullptr || std::find(kLayouts.begin(), kLayouts.end(), layout) != kLayouts.end();
  };
  for (const Category* category : kCategories) {
    for (const LayoutChoice& choice : category->layouts) {
      EXPECT_TRUE(is_listed(choice.rendering.first) && is_listed(choice.rendering.second)) << category->id;
    }
  }
  for (unsigned type = 0; type < 256; ++type) {
    EXPECT_TRUE(is_listed(core_layout(type))) << type;
  }
}

}  // namespace
}  // namespace hub::test
