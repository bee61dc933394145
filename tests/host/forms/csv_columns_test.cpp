// SPDX-License-Identifier: Apache-2.0
#include "host/forms/csv_columns.h"

#include <map>

#include "host/captures/clock_sources.h"
#include "tests/support/decoding.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using namespace hub::host;

class CsvColumns : public DecodeTest {
 protected:
  // What a column shows; the column must exist.
  static std::string cell(std::string_view name, const _HubProfileReport& sample) {
    TextBuffer out;
    out += '>';
    CsvColumn::named(name).value().append(sample, out);
    return std::string(out.view().substr(1));
  }

  static std::string error_of(std::string_view list) {
    try {
      parse_fields(list);
    } catch (const UnknownField& error) {
      return error.what();
    }
    return "no error";
  }
};

TEST_F(CsvColumns, header_shows_numbers_and_names) {
  const _HubProfileReport sample = report(7, 3, 5, 3).time_us(~0ULL).sequence(9);
  EXPECT_EQ(cell("timestamp", sample), "18446744073709551615");
  EXPECT_EQ(cell("sequence_num", sample), "9");
  EXPECT_EQ(cell("category", sample), "sshb");
  EXPECT_EQ(cell("event", sample), "ckp_VossaStartHaptics");
  EXPECT_EQ(cell("event-id", sample), "5");
}

TEST_F(CsvColumns, key_shows_the_first_layouts_value_and_a_layout_chooses) {
  const _HubProfileReport sample = report(7, 0, 0, 3).u32(0, 10).u32(8, 20);
  EXPECT_EQ(cell("arg1", sample), "20");
  EXPECT_EQ(cell("event.arg1", sample), "10");
}

TEST_F(CsvColumns, number_that_the_line_shows_in_hexadecimal_is_so) {
  EXPECT_EQ(cell("xarg1", report(8, 0, 0, 3).u32(0, 0xABC)), "abc");
}

TEST_F(CsvColumns, subtype_shows_its_name_and_its_number_on_request) {
  const _HubProfileReport sample = report(7, 0, 0, 3).u32(0, 50);
  EXPECT_EQ(cell("trace", sample), "PlayAssetBegin");
  EXPECT_EQ(cell("trace-number", sample), "50");
  EXPECT_EQ(cell("sshb-trace.trace-number", sample), "50");
  EXPECT_EQ(cell("haptics-trace.trace-number", sample), "");
}

TEST_F(CsvColumns, fraction_is_decimal_and_exact) { EXPECT_EQ(cell("y", report(4, 0, 0, 3).u32(4, 0x18000)), "1.5"); }

TEST_F(CsvColumns, bytes_are_those_in_use) {
  EXPECT_EQ(cell("raw-data", report(8, 0, 0, 1).u8(4, 2).u8(9, 255)), "00ff");
}

TEST_F(CsvColumns, text_is_as_it_is_and_its_bytes_can_be_asked_for) {
  const _HubProfileReport sample = report(2, 0, 9, 8).text(19, "a,\n\xFF");
  EXPECT_EQ(cell("name", sample), "a,\n\uFFFD");
  EXPECT_EQ(cell("name-bytes", sample), "612c0aff");
  EXPECT_EQ(cell("sensorinfo.name-bytes", sample), "612c0aff");
}

TEST_F(CsvColumns, record_without_the_field_has_nothing) {
  const _HubProfileReport stop = report(8, 0, 0, 0);
  for (const char* name : {"arg1", "event.arg1", "trace", "trace-number", "name", "name-bytes", "raw-data", "payload",
                           "calendar-time", "boot-timestamp"}) {
    EXPECT_EQ(cell(name, stop), "") << name;
  }
}

TEST_F(CsvColumns, times_are_those_of_the_line) {
  setenv("TZ", "UTC0", 1);
  publish_clock_pair({0, 1'772'612'100'924'970'000});
  publish_boot_time({1'772'612'099'000'000});
  EXPECT_EQ(cell("calendar-time", report(8, 0, 0, 0).time_us(1000)), "Mar 04 08:15:00.925970");
  EXPECT_EQ(cell("boot-timestamp", report(8, 0, 0, 0)), "1772612099000000");
  unsetenv("TZ");
}

TEST_F(CsvColumns, binary_data_is_all_bytes) {
  const _HubProfileReport sample = report(8, 3, 5, 0).sequence(7).time_us(1000).fill(0xEE);
  EXPECT_EQ(cell("binary-data", sample), "0005030807000000e803000000000000" + std::string(64, 'e'));
}

TEST_F(CsvColumns, payload_has_all_items_in_the_order_of_the_line) {
  EXPECT_EQ(cell("payload", report(7, 3, 0, 3).u32(0, 5).u32(4, 1).u32(8, 255)),
            "trace=ckp_VossaStartHaptics thread=1 arg1=255 arg2=0 arg3=0 arg4=0 "
            "arg1=5 arg2=1 arg3=255 arg4=0 arg5=0 arg6=0 xarg1=5 xarg2=1 xarg3=ff xarg4=0 xarg5=0 xarg6=0");
  EXPECT_EQ(cell("payload", report(8, 0, 0, 4).u32(4, 3)), "trigger=1 thread-id=3 arg=3");
}

TEST_F(CsvColumns, payload_has_a_layout_that_the_line_shows_twice_once) {
  const std::string zeros(60, '0');
  EXPECT_EQ(cell("payload", report(7, 0, 0, 2).u8(0, 9)),
            "subtype=9 packet-size=30 data-length=30 data-offset=0 raw-data=" + zeros);
}

TEST_F(CsvColumns, texts_in_the_payload_show_where_they_end) {
  const std::map<std::string, std::string> texts = {
      {"accel", "accel"},     {"a,b=c", "a,b=c"},        {"\u00E9", "\u00E9"},      {"", "\"\""},
      {"a b", "\"a b\""},     {"a\"b", "\"a\\\"b\""},    {"a\\", "\"a\\\\\""},      {"a\r\n", "\"a\\r\\n\""},
      {"\xFF", "\"\uFFFD\""}, {"\u0085", "\"\\u0085\""}, {"\u2028", "\"\\u2028\""},
  };
  for (const auto& [text, shown] : texts) {
    const std::string payload = cell("payload", report(2, 0, 9, 8).text(19, text));
    EXPECT_EQ(payload.substr(0, payload.find(" report-interval=")), "name=" + shown);
  }
}

TEST_F(CsvColumns, list_gives_its_columns_in_order_and_as_often_as_they_stand_there) {
  std::vector<std::string> names;
  for (const CsvColumn& column : parse_fields("event,sshb-trace.arg1,payload,event")) {
    names.push_back(column.name());
  }
  EXPECT_EQ(names, (std::vector<std::string>{"event", "sshb-trace.arg1", "payload", "event"}));
}

TEST_F(CsvColumns, default_list_has_columns) { EXPECT_EQ(parse_fields(kDefaultFields).size(), 11U); }

TEST_F(CsvColumns, name_that_is_no_field_is_told_with_those_near_to_it) {
  EXPECT_EQ(error_of("timestamp,duratoin,event"), "\"duratoin\" is no field; near to it: duration");
  EXPECT_EQ(error_of("trace-numbre"), "\"trace-numbre\" is no field; near to it: trace-number");
  EXPECT_EQ(error_of("qqqqqqqq"), "\"qqqqqqqq\" is no field");
}

TEST_F(CsvColumns, empty_name_is_told_with_the_list) {
  for (const std::string list : {"", ",event", "event,", "event,,type"}) {
    EXPECT_EQ(error_of(list), "expected a field where \"" + list + "\" has an empty name");
  }
}

TEST_F(CsvColumns, numbers_and_bytes_are_only_of_items_that_have_them) {
  for (const char* name : {"arg1-number", "category-number", "arg1-bytes", "raw-data-bytes", "-number", "-bytes",
                           "trace-bytes", "payload-bytes", "name-number"}) {
    EXPECT_FALSE(CsvColumn::named(name)) << name;
  }
}

TEST_F(CsvColumns, every_name_that_is_listed_is_found_and_only_once) {
  std::map<std::string, int> counts;
  for (const std::string& name : CsvColumn::all_names()) {
    EXPECT_TRUE(CsvColumn::named(name)) << name;
    EXPECT_EQ(++counts[name], 1) << name;
  }
  for (const char* name : {"arg1", "event.arg1", "trace-number", "extfunction.function-bytes", "payload"}) {
    EXPECT_EQ(counts.count(name), 1U) << name;
  }
}

}  // namespace
}  // namespace hub::test
