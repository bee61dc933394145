// SPDX-License-Identifier: Apache-2.0
// The record that every snapshot is handed over in, and the entries of its dictionary.
#include "state_frame.h"

#include <cstring>
#include <string>
#include <string_view>

#include "tests/plugin/state_fixture.h"
#include "tests/support/failing_memory.h"

namespace hub::test {
namespace {

using platform::Fallible;
using platform::OwnedStateData;

class StateFrame : public StateTest {
 protected:
  OwnedStateData record(const std::string& title = "title") const {
    return OwnedStateData(copyStateData(state.get(), title.c_str()));
  }

  Entries entries() const { return Snapshot(0, *record()).entries(); }

  OwnedObject<CFMutableDictionaryRef> state = createStateDictionary();
};

TEST_F(StateFrame, record_holds_type_1_no_decoder_and_the_size_of_its_property_list) {
  addNumber32(state.get(), "answer", 42);
  const OwnedStateData data = record();
  EXPECT_EQ(data->type, 1U);
  EXPECT_EQ(std::string(data->decoder_library, 64), std::string(64, '\0'));
  EXPECT_EQ(std::string(data->decoder_type, 64), std::string(64, '\0'));
  const std::string_view list(reinterpret_cast<const char*>(data->data), data->data_size_bytes);
  EXPECT_TRUE(list.starts_with("bplist00"));
  EXPECT_EQ(Snapshot(0, *data).entries(), (Entries{{"answer", "42"}}));
}

TEST_F(StateFrame, title_of_63_bytes_stands_whole_and_what_is_beyond_is_cut_off) {
  for (const std::size_t length : {0U, 1U, 62U, 63U, 64U, 65U, 200U}) {
    const OwnedStateData data = record(std::string(length, 't'));
    const std::size_t kept = std::min(length, std::size_t{63});
    EXPECT_EQ(std::string(data->title, 64), std::string(kept, 't') + std::string(64 - kept, '\0')) << length;
  }
}

TEST_F(StateFrame, title_is_cut_by_bytes_even_within_a_character) {
  EXPECT_STREQ(record(std::string(62, 't') + "\xC3\xBC")->title, (std::string(62, 't') + "\xC3").c_str());
}

TEST_F(StateFrame, contents_that_cannot_be_serialised_give_no_record) {
  platform::plan_failures({.first = 1, .function = Fallible::kCFPropertyListCreateData});
  EXPECT_EQ(record(), nullptr);
}

TEST_F(StateFrame, contents_that_are_no_property_list_give_no_record) {
  CFDictionarySetValue(state.get(), CFSTR("id"), kIOHIDHubDriverInterfaceID);
  EXPECT_EQ(record(), nullptr);
}

TEST_F(StateFrame, record_without_memory_is_null) {
  addNumber32(state.get(), "answer", 42);
  const auto record_now = [&] {
    const NoMemory no_memory;
    return OwnedStateData(copyStateData(state.get(), "title"));
  };
  EXPECT_EQ(record_now(), nullptr);
  EXPECT_NE(record(), nullptr);
}

TEST_F(StateFrame, numbers_of_both_widths_are_signed) {
  addNumber32(state.get(), "least of 32", INT32_MIN);
  addNumber32(state.get(), "most of 32", INT32_MAX);
  addNumber64(state.get(), "least of 64", INT64_MIN);
  addNumber64(state.get(), "most of 64", INT64_MAX);
  EXPECT_EQ(entries(), (Entries{{"least of 32", "-2147483648"},
                                {"most of 32", "2147483647"},
                                {"least of 64", "-9223372036854775808"},
                                {"most of 64", "9223372036854775807"}}));
}

TEST_F(StateFrame, text_with_a_byte_of_0x80_or_above_is_left_out) {
  addString(state.get(), "empty", "");
  addString(state.get(), "ascii", "a\x7F");
  addString(state.get(), "latin", "a\x80");
  addString(state.get(), "utf-8", "\xC3\xBC");
  EXPECT_EQ(entries(), (Entries{{"empty", "''"}, {"ascii", "'a\x7F'"}}));
}

TEST_F(StateFrame, entry_whose_value_or_key_cannot_be_made_is_left_out) {
  const auto add_all = [&] {
    addNumber32(state.get(), "a", 1);
    addNumber64(state.get(), "b", 2);
    addString(state.get(), "c", "text");
  };
  platform::plan_failures({.first = 1, .and_all_later = true, .function = Fallible::kCFNumberCreate});
  add_all();
  platform::end_failures();
  EXPECT_EQ(entries(), (Entries{{"c", "'text'"}}));
  CFDictionarySetValue(state.get(), CFSTR("c"), CFSTR("earlier"));
  platform::plan_failures({.first = 1, .and_all_later = true, .function = Fallible::kCFStringCreateWithCString});
  add_all();
  platform::end_failures();
  EXPECT_EQ(entries(), (Entries{{"c", "'earlier'"}}));
}

TEST_F(StateFrame, entry_that_is_set_again_has_its_last_value) {
  addNumber32(state.get(), "a", 1);
  addNumber64(state.get(), "a", 2);
  EXPECT_EQ(entries(), (Entries{{"a", "2"}}));
}

TEST_F(StateFrame, dictionary_without_memory_is_null) {
  platform::plan_failures({.first = 1, .function = Fallible::kCFDictionaryCreateMutable});
  EXPECT_EQ(createStateDictionary().get(), nullptr);
}

TEST_F(StateFrame, formatted_text_is_cut_to_its_buffer) {
  const volatile int number = 123;  // unknown to the compiler, which would warn of what is meant here
  EXPECT_STREQ(FormattedText<8>("%s-%d", "abc", int{number}).get(), "abc-123");
  EXPECT_STREQ(FormattedText<8>("%s-%d", "abcd", int{number}).get(), "abcd-12");
}

TEST_F(StateFrame, handler_gives_no_record_when_its_dictionary_cannot_be_serialised) {
  announce({kConsumerButton});
  driver.properties[215] = reply(330);
  driver.properties[216] = reply(1479);
  EXPECT_EQ(titles_of(capture_failing(Fallible::kCFPropertyListCreateData, 1)), (Story{"SSHB assets"}));
  EXPECT_EQ(titles_of(capture_failing(Fallible::kCFPropertyListCreateData, 2)), (Story{"SSHB Statistics"}));
  EXPECT_EQ(log, Story{});
}

}  // namespace
}  // namespace hub::test
