// SPDX-License-Identifier: Apache-2.0
#include "host/session/snapshot_file.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <variant>

#include "tests/support/property_list_bytes.h"
#include "tests/support/snapshot_builder.h"

namespace hub::test {
namespace {

namespace fs = std::filesystem;
using host::read_snapshot;
using host::read_snapshot_file;
using host::Snapshot;
using host::SnapshotError;

// The record of a list of one text, "accel".
std::string small_record(const std::string& title = "SensorInfo") {
  return snapshot_record(title, list_of({"55 61 63 63 65 6c"}));
}

std::string text_in(const Snapshot& snapshot) { return std::get<std::string>(snapshot.contents.value); }

// What is said of a record that is refused.
std::string error_of(const std::string& record) try {
  read_snapshot(bytes_of(record), "0000.state");
  return "read";
} catch (const SnapshotError& error) {
  return error.what();
}

// A folder of its own for each test.
class SnapshotFile : public ::testing::Test {
 protected:
  SnapshotFile() { fs::create_directory(folder_); }
  ~SnapshotFile() override { fs::remove_all(folder_); }

  [[nodiscard]] std::string path(const std::string& name) const { return folder_ / name; }

  [[nodiscard]] std::string file_of(const std::string& bytes) const {
    std::ofstream(path("0000.state"), std::ios::binary) << bytes;
    return path("0000.state");
  }

  static std::string file_error(const std::string& file) try {
    read_snapshot_file(file);
    return "read";
  } catch (const SnapshotError& error) {
    return error.what();
  }

 private:
  fs::path folder_ = fs::path(::testing::TempDir()) / ("snapshot_file." + std::to_string(::getpid()) + "." +
                                                       ::testing::UnitTest::GetInstance()->current_test_info()->name());
};

TEST_F(SnapshotFile, has_a_title_and_contents) {
  const Snapshot snapshot = read_snapshot_file(file_of(small_record()));
  EXPECT_EQ(snapshot.title, "SensorInfo");
  EXPECT_EQ(text_in(snapshot), "accel");
}

TEST_F(SnapshotFile, a_title_ends_at_its_first_zero) {
  std::string record = small_record("short");
  record[142] = 'x';
  EXPECT_EQ(read_snapshot(bytes_of(record), "").title, "short");
  EXPECT_EQ(read_snapshot(bytes_of(small_record("")), "").title, "");
  EXPECT_EQ(read_snapshot(bytes_of(small_record(std::string(63, 'a'))), "").title, std::string(63, 'a'));
  EXPECT_EQ(read_snapshot(bytes_of(small_record("\xff")), "").title, "\xff");
}

TEST_F(SnapshotFile, the_decoder_fields_are_not_looked_at) {
  EXPECT_EQ(text_in(read_snapshot(bytes_of(small_record().replace(8, 128, 128, '\xff')), "")), "accel");
}

TEST_F(SnapshotFile, without_a_whole_head_is_refused) {
  EXPECT_EQ(error_of(""), "0000.state: offset 0: the end, expected a head of 200 bytes");
  EXPECT_EQ(error_of(small_record().substr(0, 199)), "0000.state: offset 199: the end, expected a head of 200 bytes");
}

TEST_F(SnapshotFile, of_another_type_is_refused) {
  EXPECT_EQ(error_of(small_record().replace(0, 4, little_endian_u32(2))),
            "0000.state: offset 0: type 2, expected 1, a property list");
  EXPECT_EQ(error_of(small_record().replace(0, 4, little_endian_u32(0x01000001))),
            "0000.state: offset 0: type 16777217, expected 1, a property list");
}

TEST_F(SnapshotFile, with_a_size_that_is_not_that_of_its_data_is_refused) {
  EXPECT_EQ(error_of(small_record() + "x"), "0000.state: offset 247: more bytes, expected the end");
  EXPECT_EQ(error_of(small_record().substr(0, 246)),
            "0000.state: offset 4: 47 bytes of data, expected the 46 that follow the head");
  EXPECT_EQ(error_of(small_record().replace(4, 4, little_endian_u32(UINT32_MAX))),
            "0000.state: offset 4: 4294967295 bytes of data, expected the 47 that follow the head");
  EXPECT_EQ(error_of(small_record().replace(4, 4, little_endian_u32(46))),
            "0000.state: offset 246: more bytes, expected the end");
}

TEST_F(SnapshotFile, with_a_title_without_an_end_is_refused) {
  EXPECT_EQ(error_of(small_record(std::string(64, 'a'))),
            "0000.state: offset 136: a title without an end, expected a zero within 64 bytes");
}

TEST_F(SnapshotFile, with_a_damaged_property_list_is_refused) {
  EXPECT_EQ(error_of(snapshot_record("t", "")),
            "0000.state: offset 200: a damaged property list: from there, offset 0: a property list of 0 bytes, "
            "expected at least 42");
  EXPECT_EQ(
      error_of(snapshot_record("t", list_of({"52 61 ff"}))),
      "0000.state: offset 200: a damaged property list: from there, offset 10: a byte above 0x7f, expected ASCII");
}

TEST_F(SnapshotFile, errors_name_the_file) {
  const std::string file = file_of("short");
  EXPECT_EQ(file_error(file), file + ": offset 5: the end, expected a head of 200 bytes");
}

TEST_F(SnapshotFile, that_cannot_be_read_gives_the_systems_reason) {
  EXPECT_EQ(file_error(path("missing")), path("missing") + ": cannot be read: No such file or directory");
  EXPECT_EQ(file_error(path("")), path("") + ": cannot be read: Is a directory");
}

TEST_F(SnapshotFile, is_read_whole_when_it_is_large_and_no_further_than_its_head_says) {
  const std::string list = list_of({"4f 12 00 06 00 00" + repeated(0x60000, "61")}, {4, 1, 0});
  const Snapshot snapshot = read_snapshot_file(file_of(snapshot_record("large", list)));
  EXPECT_EQ(std::get<std::vector<std::byte>>(snapshot.contents.value).size(), 0x60000U);
  EXPECT_EQ(file_error("/dev/zero"), "/dev/zero: offset 0: type 0, expected 1, a property list");
  EXPECT_EQ(file_error(file_of(small_record() + std::string(100000, 'x'))),
            path("0000.state") + ": offset 247: more bytes, expected the end");
}

TEST_F(SnapshotFile, every_truncation_is_refused) {
  const std::string record = small_record();
  for (std::size_t length = 0; length < record.size(); ++length) {
    EXPECT_TRUE(error_of(record.substr(0, length)).starts_with("0000.state: offset ")) << length;
  }
}

}  // namespace
}  // namespace hub::test
