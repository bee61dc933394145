// SPDX-License-Identifier: Apache-2.0
#include "profile/profile_decoder.h"

#include <functional>
#include <iomanip>
#include <locale>
#include <thread>
#include <utility>

#include "tests/support/decoding.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using Frame = DecodeTest;

void expect_beginning(const std::string& line, const std::string& beginning) {
  EXPECT_EQ(line.substr(0, beginning.size()), beginning);
}

const std::string kZeroPayload = "0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0";

TEST_F(Frame, worked_example_without_times) {
  EXPECT_EQ(line(report(8, 3, 5, 0).sequence(7).time_us(1000)),
            "{  'category':'control', 'component':     '3', 'event':         '5', 'type':      'stop', "
            "'timestamp':      1000, 'sequence_num':         7, 'type-id':0, 'category-id':8, 'component-id':3, "
            "'event-id':5, 'binary-data':[0,5,3,8,7,0,0,0,232,3,0,0,0,0,0,0," +
                kZeroPayload + "]}");
}

TEST_F(Frame, names_shorter_than_their_columns_are_padded_on_the_left) {
  expect_beginning(
      line(report(6, 0, 3, 0)),
      "{  'category':  'uart', 'component': 'uart0', 'event':     'trace', 'type':      'stop', 'timestamp'");
}

TEST_F(Frame, names_longer_than_their_columns_are_printed_whole) {
  expect_beginning(line(report(7, 6, 17, 12)),
                   "{  'category':  'sshb', 'component':'nebvoicetrigger', 'event':'trigger-fingeroff', "
                   "'type':'decimationinfo'");
}

TEST_F(Frame, numbers_wider_than_their_columns_are_printed_whole) {
  EXPECT_NE(line(report(8, 0, 0, 0).sequence(4294967295).time_us(18446744073709551615U))
                .find(" 'timestamp':18446744073709551615, 'sequence_num':4294967295,"),
            std::string::npos);
}

TEST_F(Frame, unknown_ids_print_as_quoted_numbers) {
  expect_beginning(line(report(200, 201, 202, 203)),
                   "{  'category':   '200', 'component':   '201', 'event':       '202', 'type':       '203',");
}

TEST_F(Frame, items_behind_the_payload_have_no_column) {
  EXPECT_NE(line(report(200, 201, 202, 203))
                .find(" 'type-id':203, 'category-id':200, 'component-id':201, 'event-id':202, 'binary-data':["),
            std::string::npos);
}

TEST_F(Frame, binary_data_is_all_48_bytes_header_included) {
  EXPECT_NE(line(report(10, 20, 30, 40).sequence(0x04030201).time_us(0x0807060504030201).count_up())
                .find(" 'binary-data':[40,30,20,10,1,2,3,4,1,2,3,4,5,6,7,8,"
                      "0,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24,25,26,27,28,29,30,31]}"),
            std::string::npos);
}

TEST_F(Frame, without_either_time_the_line_ends_behind_the_bytes) {
  EXPECT_TRUE(line(report(8, 0, 0, 0)).ends_with(",0]}"));
}

TEST_F(Frame, a_report_at_an_odd_address_decodes_alike) {
  const _HubProfileReport aligned = report(7, 3, 0, 3).count_up().sequence(99).time_us(1234567);
  std::array<std::byte, sizeof aligned + 1> room{};
  std::memcpy(room.data() + 1, &aligned, sizeof aligned);
  EXPECT_EQ(line(*reinterpret_cast<const _HubProfileReport*>(room.data() + 1)), line(aligned));
}

TEST(Helpers, key_is_quoted_between_a_blank_and_a_colon) { EXPECT_EQ(profile_decoder::key("arg1"), " 'arg1':"); }

TEST(Helpers, str_is_quoted) { EXPECT_EQ(profile_decoder::str("it's"), "'it's'"); }

TEST(Helpers, dump_of_nothing_is_an_empty_list) { EXPECT_EQ(profile_decoder::dump(nullptr, 0), "[]"); }

TEST(Helpers, dump_writes_every_byte_value_in_decimal) {
  for (unsigned value = 0; value < 256; ++value) {
    const auto byte = static_cast<unsigned char>(value);
    EXPECT_EQ(profile_decoder::dump(&byte, 1), "[" + std::to_string(value) + "]");
  }
}

TEST(Helpers, dump_separates_with_commas_alone) {
  const unsigned char bytes[] = {0, 9, 10, 99, 100, 255};
  EXPECT_EQ(profile_decoder::dump(bytes, sizeof bytes), "[0,9,10,99,100,255]");
}

TEST(Helpers, dump_is_not_limited_to_a_report) {
  const std::string bytes(5000, '\xFF');
  EXPECT_EQ(profile_decoder::dump(bytes.data(), 5000).size(), 5000 * 4 + 1);
}

TEST(Helpers, work_on_an_object_too) {
  profile_decoder decoder;
  EXPECT_EQ(decoder.key("a") + decoder.str("b") + decoder.dump("c", 1) + decoder.type_name(1), " 'a':'b'[99]long-data");
}

TEST(Lookup, first_row_with_the_id_wins) {
  constexpr profile_decoder::entry kRows[] = {{7, "seven"}, {3, "three"}, {7, "again"}};
  EXPECT_EQ(profile_decoder::find_in_table(kRows, 3, 7), "seven");
  EXPECT_EQ(profile_decoder::find_in_table(kRows, 3, 3), "three");
}

TEST(Lookup, id_without_a_row_gives_its_number) {
  constexpr profile_decoder::entry kRows[] = {{7, "seven"}};
  EXPECT_EQ(profile_decoder::find_in_table(kRows, 1, 13), "13");
  EXPECT_EQ(profile_decoder::find_in_table(kRows, 1, 4294967295), "4294967295");
}

TEST(Lookup, rows_beyond_the_count_are_not_read) {
  constexpr profile_decoder::entry kRows[] = {{7, "seven"}, {8, "eight"}};
  EXPECT_EQ(profile_decoder::find_in_table(kRows, 1, 8), "8");
}

TEST(Lookup, count_of_zero_gives_the_number) {
  constexpr profile_decoder::entry kRows[] = {{7, "seven"}};
  EXPECT_EQ(profile_decoder::find_in_table(kRows, 0, 7), "7");
  EXPECT_EQ(profile_decoder::find_in_table(nullptr, 0, 7), "7");
}

TEST(BaseDecoder, component_and_event_are_their_numbers) {
  profile_decoder decoder;
  expect_components(decoder, {});
  expect_numbers_for_events(decoder);
}

TEST(BaseDecoder, types_have_their_names) {
  expect_exactly({{0, "stop"},
                  {1, "long-data"},
                  {2, "short-data"},
                  {3, "event"},
                  {4, "trigger"},
                  {5, "function"},
                  {6, "sshb-context1"},
                  {7, "sshb-context2"},
                  {8, "sensorinfo"},
                  {9, "extfunction"},
                  {10, "sshb-context"},
                  {11, "annotation"},
                  {12, "decimationinfo"}},
                 profile_decoder::type_name);
}

TEST(BaseDecoder, categories_have_their_names) {
  profile_decoder decoder;
  expect_exactly({{0, "exec"},
                  {1, "trace"},
                  {2, "sensor"},
                  {3, "sphere"},
                  {4, "cumulus"},
                  {5, "interrupt"},
                  {6, "uart"},
                  {7, "sshb"},
                  {8, "control"},
                  {9, "scm"},
                  {10, "wake"},
                  {11, "haptics"},
                  {12, "cm"}},
                 [&](unsigned category) { return decoder.category_name(category); });
}

// A decoder of somebody else's: it names things in its own way, writes with the stream's own means, and leaves the
// stream in a state that must not show in the rest of the line.
class OutsideDecoder : public profile_decoder {
 public:
  std::string component_name(unsigned int component) override { return "unit" + std::to_string(component); }
  std::string event_name(unsigned int component, unsigned int event) override {
    return std::to_string(component) + "/" + std::to_string(event);
  }
  void parse_datatype(std::stringstream& stream, const _HubProfileReport& report) override {
    text_before = stream.str();
    stream << key("width") << std::setw(10) << 1234567 << ",";
    profile_decoder::parse_datatype(stream, report);
    stream << key("state") << std::hex << std::showbase << std::setfill('*') << std::left << 255 << ",";
    stream << std::setw(30);
  }

  std::string text_before;
};

class OutsideSubclass : public DecodeTest {
 protected:
  OutsideDecoder decoder_;
};

TEST_F(OutsideSubclass, gives_names_and_items_to_the_line) {
  expect_beginning(decoder_.to_string(report(3, 4, 5, 4).u32(4, 77)),
                   "{  'category':'sphere', 'component': 'unit4', 'event':       '4/5', 'type':   'trigger', "
                   "'timestamp':         0, 'sequence_num':         0, 'width':   1234567, 'trigger':1, "
                   "'thread-id':        77, 'arg':        77, 'state':0xff,");
}

TEST_F(OutsideSubclass, finds_a_decimal_stream_with_what_precedes_its_items) {
  decoder_.to_string(report(3, 4, 5, 0).sequence(8));
  EXPECT_EQ(decoder_.text_before,
            "{  'category':'sphere', 'component': 'unit4', 'event':       '4/5', 'type':      'stop', "
            "'timestamp':         0, 'sequence_num':         8,");
}

TEST_F(OutsideSubclass, stream_state_that_it_leaves_does_not_show_in_later_items) {
  EXPECT_TRUE(decoder_.to_string(report(33, 44, 55, 66))
                  .ends_with(" 'state':0xff, 'type-id':66, 'category-id':33, 'component-id':44, 'event-id':55, "
                             "'binary-data':[66,55,44,33,0,0,0,0,0,0,0,0,0,0,0,0," +
                             kZeroPayload + "]}"));
}

TEST_F(OutsideSubclass, next_record_starts_afresh) {
  const std::string first = decoder_.to_string(report(3, 4, 5, 3).count_up());
  EXPECT_EQ(decoder_.to_string(report(3, 4, 5, 3).count_up()), first);
}

// A decoder that cannot go on in the middle of a line.
class FailingDecoder : public profile_decoder {
 public:
  void parse_datatype(std::stringstream& stream, const _HubProfileReport&) override {
    stream << " 'half':" << std::hex << std::setw(40);
    throw std::bad_alloc();
  }
};

TEST_F(OutsideSubclass, exception_of_its_own_passes_through_and_leaves_the_next_line_alone) {
  const std::string before = decoder_.to_string(report(3, 4, 5, 3).count_up());
  FailingDecoder failing;
  EXPECT_THROW(failing.to_string(report(3, 0, 0, 0)), std::bad_alloc);
  EXPECT_EQ(decoder_.to_string(report(3, 4, 5, 3).count_up()), before);
}

// What another country's global locale does to numbers.
class Grouping : public std::numpunct<char> {
  char do_thousands_sep() const override { return '.'; }
  char do_decimal_point() const override { return ','; }
  std::string do_grouping() const override { return "\3"; }
};

// A decoder that does to the stream whatever a test says.
class MeddlingDecoder : public profile_decoder {
 public:
  explicit MeddlingDecoder(std::function<void(std::stringstream&)> meddle) : meddle_(std::move(meddle)) {}
  void parse_datatype(std::stringstream& stream, const _HubProfileReport&) override { meddle_(stream); }

 private:
  std::function<void(std::stringstream&)> meddle_;
};

// How a new stream writes, and what can be read of it.
std::string first_impression(std::stringstream& stream) {
  std::ostringstream told;
  told << stream.good() << stream.exceptions() << ' ' << stream.flags() << ' ' << stream.width() << ' '
       << stream.precision() << " '" << stream.fill() << "' " << stream.tie() << ' ' << stream.getloc().name() << ' '
       << (static_cast<std::ios&>(stream).rdbuf() == stream.rdbuf());
  stream << std::setw(6) << 1234567 << ' ' << 0.5 << ' ' << 255 << ' ' << true;
  return told.str() + stream.str();
}

TEST_F(OutsideSubclass, finds_the_stream_as_new_whatever_was_done_to_it_in_the_line_before) {
  std::string impression;
  MeddlingDecoder teller([&](std::stringstream& stream) { impression = first_impression(stream); });
  teller.to_string(report(3, 4, 5, 0));
  const std::string of_a_new_stream = impression;
  std::ostringstream other;
  const std::function<void(std::stringstream&)> meddlings[] = {
      [](std::stringstream& stream) { stream << std::hex << std::showbase << std::boolalpha << std::setfill('*'); },
      [](std::stringstream& stream) { stream << std::setw(30) << std::setprecision(2); },
      [](std::stringstream& stream) { stream.setstate(std::ios::failbit | std::ios::badbit); },
      [](std::stringstream& stream) { stream.exceptions(std::ios::failbit); },
      [&](std::stringstream& stream) { stream.tie(&other); },
      [](std::stringstream& stream) { stream.imbue(std::locale(std::locale::classic(), new Grouping)); },
      [&](std::stringstream& stream) { stream.copyfmt(other); },
      [&](std::stringstream& stream) { static_cast<std::ios&>(stream).rdbuf(other.rdbuf()); },
      [](std::stringstream& stream) { stream.str(""); },
      [](std::stringstream& stream) { stream.ignore(1000).get(); },
  };
  for (const auto& meddle : meddlings) {
    MeddlingDecoder(meddle).to_string(report(1, 1, 1, 1));
    teller.to_string(report(3, 4, 5, 0));
    EXPECT_EQ(impression, of_a_new_stream) << "meddling " << &meddle - meddlings;
  }
}

TEST_F(OutsideSubclass, reads_back_its_own_line_alone) {
  decoder_.to_string(report(1, 2, 3, 3).fill(255));
  std::string read;
  MeddlingDecoder reader([&](std::stringstream& stream) { std::getline(stream, read); });
  reader.to_string(report(3, 4, 5, 0).sequence(8));
  EXPECT_EQ(read,
            "{  'category':'sphere', 'component':     '4', 'event':         '5', 'type':      'stop', "
            "'timestamp':         0, 'sequence_num':         8,");
}

TEST_F(OutsideSubclass, may_have_another_report_decoded_in_the_middle_of_a_line) {
  const std::string plain = MeddlingDecoder([](auto&) {}).to_string(report(3, 4, 5, 0));
  std::string inner;
  MeddlingDecoder outer([&](std::stringstream& stream) {
    stream << " 'before':1,";
    inner = decoder_.to_string(report(3, 4, 5, 3).count_up());
    stream << " 'behind':2,";
  });
  const std::string line = outer.to_string(report(3, 4, 5, 0));
  EXPECT_EQ(payload_items(line), " 'before':1, 'behind':2,");
  EXPECT_EQ(inner, decoder_.to_string(report(3, 4, 5, 3).count_up()));
  EXPECT_EQ(MeddlingDecoder([](auto&) {}).to_string(report(3, 4, 5, 0)), plain);
}

// Decodes once more when its thread ends, behind everything that was made later.
struct LastWords {
  ~LastWords() { line = OutsideDecoder().to_string(report(3, 4, 5, 3)); }
  static inline std::string line;
};

TEST_F(OutsideSubclass, decodes_until_its_thread_has_ended) {
  const std::string expected = OutsideDecoder().to_string(report(3, 4, 5, 3));
  std::thread([] {
    static thread_local LastWords last_words;
    OutsideDecoder().to_string(report(3, 4, 5, 3));
    (void)&last_words;
  }).join();
  EXPECT_EQ(LastWords::line, expected);
}

class GlobalLocale : public DecodeTest {
 protected:
  GlobalLocale() : before_(std::locale::global(std::locale(std::locale::classic(), new Grouping))) {}
  ~GlobalLocale() override { std::locale::global(before_); }

  std::locale before_;
};

TEST_F(GlobalLocale, changes_nothing_in_a_line) {
  const std::string with_grouping = line(report(4, 0, 0, 3).u32(0, 123456789).time_us(1234567890));
  std::locale::global(std::locale::classic());
  EXPECT_EQ(with_grouping, line(report(4, 0, 0, 3).u32(0, 123456789).time_us(1234567890)));
  EXPECT_NE(with_grouping.find(" 'x':    1883.8,"), std::string::npos);
}

TEST_F(GlobalLocale, changes_nothing_for_an_outside_subclass_either) {
  OutsideDecoder decoder;
  EXPECT_NE(decoder.to_string(report(3, 0, 0, 0)).find(" 'width':   1234567,"), std::string::npos);
}

}  // namespace
}  // namespace hub::test
