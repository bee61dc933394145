// SPDX-License-Identifier: Apache-2.0
// What holds for every name table and every layout of the family.
#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "profile/NEBLogDecoder.h"
#include "profile/core_payloads.h"
#include "tests/support/decoding.h"

namespace hub::test {
namespace {

using namespace hub::profile;

struct NamedTable {
  const char* name;
  NameTable table;
  std::size_t row_count;
};

std::vector<NamedTable> all_name_tables() {
  return {
      {"categories", kCategoryNames, 13},
      {"types", kTypeNames, 13},
      {"execution components", execution::kComponents, 6},
      {"execution scheduler events", execution::kSchedulerEvents, 3},
      {"execution function events", execution::kFunctionEvents, 1},
      {"execution workloop events", execution::kWorkloopEvents, 2},
      {"execution command events", execution::kCommandEvents, 8},
      {"execution extfunction events", execution::kExtFunctionEvents, 1},
      {"trace components", trace::kComponents, 4},
      {"sensor components", sensor::kComponents, 7},
      {"sensor events", sensor::kEvents, 13},
      {"sphere components", sphere::kComponents, 1},
      {"sphere events", sphere::kEvents, 3},
      {"cumulus components", cumulus::kComponents, 1},
      {"cumulus events", cumulus::kEvents, 2},
      {"interrupt components", interrupt::kComponents, 1},
      {"interrupt events", interrupt::kEvents, 1},
      {"uart components", uart::kComponents, 3},
      {"uart events", uart::kEvents, 8},
      {"sshb components", sshb::kComponents, 7},
      {"sshb latency events", sshb::kLatencyEvents, 8},
      {"sshb events", sshb::kEvents, 8},
      {"sshb subtypes", sshb::kSubtypes, 113},
      {"scm components", scm::kComponents, 6},
      {"wake components", wake::kComponents, 1},
      {"wake events", wake::kEvents, 3},
      {"haptics components", haptics::kComponents, 4},
      {"haptics events", haptics::kEvents, 3},
      {"haptics subtypes", haptics::kSubtypes, 24},
  };
}

struct NamedLayout {
  const Layout* layout;
  const char* name;
  std::size_t row_count;
};

std::vector<NamedLayout> all_layouts() {
  return {
      {&kLongData, "long-data", 5},
      {&kShortData, "short-data", 5},
      {&kEvent, "event", 12},
      {&kTrigger, "trigger", 3},
      {&kFunction, "function", 6},
      {&kSensorInfo, "sensorinfo", 8},
      {&kExtFunction, "extfunction", 5},
      {&kAnnotation, "annotation", 5},
      {&kDecimationInfo, "decimationinfo", 5},
      {&cumulus::kDataIn, "cumulus-data-in", 9},
      {&cumulus::kDataOut, "cumulus-data-out", 9},
      {&sshb::kTrace, "sshb-trace", 6},
      {&sshb::kStatusEvent, "sshb-status-event", 8},
      {&sshb::kContext3, "sshb-context-3", 16},
      {&sshb::kContext4, "sshb-context-4", 29},
      {&sshb::kContext5, "sshb-context-5", 14},
      {&sshb::kContext7, "sshb-context-7", 26},
      {&haptics::kTrace, "haptics-trace", 6},
      {&haptics::kAmpState, "haptics-amp-state", 3},
      {&haptics::kPlayRequest, "haptics-play-request", 4},
      {&wake::kRequest, "wake-request", 2},
      {&wake::kWakeEvent, "wake-event", 2},
  };
}

TEST(NameTables, have_their_row_counts) {
  for (const auto& [name, table, row_count] : all_name_tables()) {
    EXPECT_EQ(table.rows().size(), row_count) << name;
  }
}

// Made where the program runs, which is as good as when it is compiled.
TEST(NameTables, find_the_first_row_of_an_id_in_place_or_behind_a_gap) {
  const profile_decoder::entry rows[] = {{0, "a"}, {1, "b"}, {5, "c"}, {1, "d"}, {5, "e"}};
  const Name names[] = {Name("a"), Name("b"), Name("c"), Name("d"), Name("e")};
  const NameTable table(rows, names);
  EXPECT_EQ(table.find(1), &names[1]);
  EXPECT_EQ(table.find(5), &names[2]);
  EXPECT_EQ(table.find(2), nullptr);
  EXPECT_EQ(NameTable(std::span(rows).first(2), names).find(1), &names[1]);
  EXPECT_EQ(NameTable().find(0), nullptr);
}

TEST(NameTables, ids_are_unique) {
  for (const auto& [name, table, row_count] : all_name_tables()) {
    std::set<unsigned> ids;
    for (const auto& row : table.rows()) {
      EXPECT_TRUE(ids.insert(row.id).second) << name << ": id " << row.id;
    }
  }
}

TEST(NameTables, names_are_unique_but_for_the_repeated_button_subtypes) {
  for (const auto& [name, table, row_count] : all_name_tables()) {
    std::set<std::string> names;
    std::size_t repeated = 0;
    for (const auto& row : table.rows()) {
      repeated += names.insert(row.name).second ? 0 : 1;
    }
    EXPECT_EQ(repeated, std::string(name) == "sshb subtypes" ? 9U : 0U) << name;
  }
}

TEST(NameTables, ids_ascend_but_for_two_haptics_subtypes) {
  for (const auto& [name, table, row_count] : all_name_tables()) {
    std::size_t descents = 0;
    for (std::size_t row = 1; row < table.rows().size(); ++row) {
      descents += table.rows()[row].id < table.rows()[row - 1].id ? 1 : 0;
    }
    EXPECT_EQ(descents, std::string(name) == "haptics subtypes" ? 1U : 0U) << name;
  }
}

TEST(NameTables, names_are_plain_text_that_needs_no_escape) {
  for (const auto& [name, table, row_count] : all_name_tables()) {
    for (const auto& row : table.rows()) {
      EXPECT_EQ(
          std::string(row.name).find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_"),
          std::string::npos)
          << name << ": " << row.name;
    }
  }
}

TEST(NameTables, button_subtypes_keep_their_gaps) {
  std::set<unsigned> ids;
  for (const auto& row : sshb::kSubtypes.rows()) {
    ids.insert(row.id);
  }
  struct Range {
    unsigned first, last;
  };
  for (const auto& [first, last] : {Range{52, 99}, Range{109, 199}, Range{233, 299}, Range{307, 307}, Range{310, 399},
                                    Range{403, 403}, Range{411, 999}}) {
    for (unsigned id = first; id <= last; ++id) {
      EXPECT_FALSE(ids.contains(id)) << id;
    }
  }
}

TEST(Layouts, have_their_row_counts) {
  for (const auto& [layout, name, row_count] : all_layouts()) {
    EXPECT_EQ(layout->fields.size(), row_count) << layout->name;
  }
}

TEST(Layouts, rows_lie_inside_the_payload) {
  for (const auto& [layout, name, row_count] : all_layouts()) {
    for (const Field& field : layout->fields) {
      EXPECT_LE(field.at + field.kind.width_bytes, kPayloadSize) << layout->name << ": " << field.key.view();
    }
  }
}

TEST(Layouts, keys_are_unique_in_a_layout) {
  for (const auto& [layout, name, row_count] : all_layouts()) {
    std::set<std::string_view> keys;
    for (const Field& field : layout->fields) {
      EXPECT_TRUE(keys.insert(field.key).second) << layout->name << ": " << field.key.view();
    }
  }
}

TEST(Layouts, have_their_names_each_its_own) {
  std::set<std::string_view> names;
  for (const auto& [layout, name, row_count] : all_layouts()) {
    EXPECT_EQ(layout->name, name);
    EXPECT_TRUE(names.insert(layout->name).second) << layout->name;
  }
}

TEST(Layouts, widths_suit_their_forms) {
  for (const auto& [layout, name, row_count] : all_layouts()) {
    for (const Field& field : layout->fields) {
      const unsigned width_bytes = field.kind.width_bytes;
      switch (field.kind.form) {
        case Form::kUnsigned:
          EXPECT_TRUE(width_bytes == 1 || width_bytes == 2 || width_bytes == 4 || width_bytes == 8) << field.key.view();
          break;
        case Form::kQuotedHex:
        case Form::kFixedPoint:
        case Form::kSubtype:
          EXPECT_EQ(width_bytes, 4U) << field.key.view();
          break;
        case Form::kConstant:
          EXPECT_EQ(width_bytes, 0U) << field.key.view();
          break;
        case Form::kText:
        case Form::kBytes:
          EXPECT_GT(width_bytes, 0U) << field.key.view();
          break;
      }
    }
  }
}

TEST(Layouts, only_lists_of_bytes_are_cut) {
  for (const auto& [layout, name, row_count] : all_layouts()) {
    for (const Field& field : layout->fields) {
      EXPECT_TRUE(field.length_at == kWholeList || field.kind.form == Form::kBytes)
          << layout->name << ": " << field.key.view();
    }
  }
}

TEST(Layouts, context_values_have_no_column_and_numbers_elsewhere_ten) {
  for (const auto& [layout, name, row_count] : all_layouts()) {
    for (const Field& field : layout->fields) {
      if (field.kind.form == Form::kUnsigned) {
        EXPECT_EQ(field.column, layout->name.starts_with("sshb-context") ? 0 : 10)
            << layout->name << ": " << field.key.view();
      }
    }
  }
}

// Fields that share bytes do so on purpose: an argument in two forms, a thread under two keys, an entry as number and
// text.
TEST(Layouts, fields_do_not_overlap_but_where_bytes_are_shown_twice) {
  const std::set<std::string_view> twice = {"event", "trigger", "annotation", "cumulus-data-in", "cumulus-data-out"};
  for (const auto& [layout, name, row_count] : all_layouts()) {
    std::vector<int> shown(kPayloadSize);
    for (const Field& field : layout->fields) {
      for (std::size_t at = field.at; at < field.at + std::size_t{field.kind.width_bytes}; ++at) {
        ++shown[at];
      }
    }
    const int most = *std::max_element(shown.begin(), shown.end());
    EXPECT_EQ(most, twice.contains(layout->name) ? 2 : 1) << layout->name;
  }
}

TEST(Layouts, each_shared_type_has_its_own_and_others_none) {
  const std::map<unsigned, const Layout*> layouts = {{1, &kLongData},    {2, &kShortData},   {3, &kEvent},
                                                     {4, &kTrigger},     {5, &kFunction},    {8, &kSensorInfo},
                                                     {9, &kExtFunction}, {11, &kAnnotation}, {12, &kDecimationInfo}};
  for (unsigned type = 0; type < 256; ++type) {
    const auto expected = layouts.find(type);
    EXPECT_EQ(core_layout(type), expected != layouts.end() ? expected->second : nullptr) << type;
  }
}

}  // namespace
}  // namespace hub::test
