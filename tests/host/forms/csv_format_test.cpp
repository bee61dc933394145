// SPDX-License-Identifier: Apache-2.0
#include "host/forms/csv_format.h"

#include "tests/support/decoding.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

class CsvFormat : public DecodeTest {
 protected:
  static std::string table(std::string_view fields, const std::vector<_HubProfileReport>& reports) {
    host::CsvFormat format(host::parse_fields(fields));
    host::TextBuffer out;
    format.begin(out);
    for (const _HubProfileReport& report : reports) {
      EXPECT_TRUE(format.append(report, out));
    }
    format.end(out);
    return std::string(out.view());
  }

  static std::string cell_of_name(std::string_view text) {
    const std::string out = table("event-id,name,type-id", {report(2, 0, 9, 8).text(19, text)});
    return out.substr(out.find('\n') + 1);
  }
};

TEST_F(CsvFormat, lines_have_a_cell_for_each_column_and_end_in_cr_and_lf) {
  EXPECT_EQ(table("timestamp,event,timestamp", {report(7, 3, 5, 0).time_us(10), report(7, 3, 6, 0).time_us(20)}),
            "timestamp,event,timestamp\r\n10,ckp_VossaStartHaptics,10\r\n20,ckp_ARCReady,20\r\n");
}

TEST_F(CsvFormat, no_record_gives_the_header_alone) { EXPECT_EQ(table("event.arg1,name", {}), "event.arg1,name\r\n"); }

TEST_F(CsvFormat, default_columns_end_in_the_payload) {
  const std::string out = table(host::kDefaultFields, {report(8, 3, 5, 4).time_us(1000).sequence(7).u32(4, 2)});
  EXPECT_EQ(out,
            "timestamp,sequence_num,category,component,event,type,category-id,component-id,event-id,type-id,payload\r\n"
            "1000,7,control,3,5,trigger,8,3,5,4,trigger=1 thread-id=2 arg=2\r\n");
}

TEST_F(CsvFormat, cell_is_in_quotes_only_where_its_characters_need_it) {
  EXPECT_EQ(cell_of_name("a b'c;\t"), "9,a b'c;\t,8\r\n");
  EXPECT_EQ(cell_of_name("a,b"), "9,\"a,b\",8\r\n");
  EXPECT_EQ(cell_of_name("a\r"), "9,\"a\r\",8\r\n");
  EXPECT_EQ(cell_of_name("\na"), "9,\"\na\",8\r\n");
}

TEST_F(CsvFormat, quotes_in_a_cell_are_doubled) {
  EXPECT_EQ(cell_of_name("\""), "9,\"\"\"\",8\r\n");
  EXPECT_EQ(cell_of_name("a\"\"b\""), "9,\"a\"\"\"\"b\"\"\",8\r\n");
}

TEST_F(CsvFormat, cells_beyond_all_lengths_that_were_before_are_whole_and_in_quotes) {
  std::string fields = "event-id";
  std::string line = "9";
  for (int count = 0; count < 500; ++count) {
    fields += ",name";
    line += ",\"a\"\",b\"";
  }
  EXPECT_EQ(table(fields, {report(2, 0, 9, 8).text(19, "a\",b")}), fields + "\r\n" + line + "\r\n");
}

TEST_F(CsvFormat, line_does_not_depend_on_those_before_it) {
  EXPECT_EQ(table("name,event-id", {report(2, 0, 9, 8).text(19, "a,b"), report(8, 0, 1, 0)}),
            "name,event-id\r\n\"a,b\",9\r\n,1\r\n");
}

TEST_F(CsvFormat, record_without_a_field_has_an_empty_cell) {
  EXPECT_EQ(table("name,arg1,event-id", {report(8, 0, 5, 0)}), "name,arg1,event-id\r\n,,5\r\n");
}

TEST_F(CsvFormat, record_whose_only_cell_is_empty_gives_no_empty_line) {
  EXPECT_EQ(table("arg1", {report(8, 0, 5, 0)}), "arg1\r\n\"\"\r\n");
}

}  // namespace
}  // namespace hub::test
