// SPDX-License-Identifier: Apache-2.0
#include "host/records/record_output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <span>
#include <stdexcept>
#include <system_error>

#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using namespace hub::host;

// A record's form is its sequence number; number 13 has none, and 666 cannot be written at all.
class NumberFormat : public RecordFormat {
 public:
  void begin(TextBuffer& out) override { out += "<"; }
  void end(TextBuffer& out) override { out += ">"; }
  bool append(const _HubProfileReport& record, TextBuffer& out) override {
    if (record.sequence_num == 666) {
      throw std::runtime_error("no form");
    }
    out += record.sequence_num != 13 ? std::to_string(record.sequence_num) + " " : "";
    return record.sequence_num != 13;
  }
};

class FormatWithoutBeginning : public NumberFormat {
 public:
  void begin(TextBuffer& /*out*/) override {}
};

class RecordOutputTest : public testing::Test {
 protected:
  void SetUp() override {
    path_ = std::filesystem::temp_directory_path() / ("record_output_test." + std::to_string(getpid()));
    file_ = std::make_unique<OutputFile>(path_.string());
    options_.make_format = [] { return std::make_unique<NumberFormat>(); };
  }
  void TearDown() override {
    output_.reset();
    file_.reset();
    std::filesystem::remove(path_);
  }

  void open() { output_ = std::make_unique<RecordOutput>(options_, *file_); }

  // Records with these numbers in one block.
  void take(std::uint32_t first, std::uint32_t last) {
    std::vector<_HubProfileReport> records;
    for (std::uint32_t number = first; number <= last; ++number) {
      records.push_back(report(0, 0, 0, 0).sequence(number));
    }
    output_->take(records);
  }

  std::string finish() {
    output_->finish();
    file_->complete();
    return written();
  }

  [[nodiscard]] std::string written() const {
    std::ifstream written(path_);
    return {std::istreambuf_iterator<char>(written), {}};
  }

  RecordOutputOptions options_;
  std::filesystem::path path_;
  std::unique_ptr<OutputFile> file_;
  std::unique_ptr<RecordOutput> output_;
};

TEST_F(RecordOutputTest, form_has_its_beginning_and_end_without_a_record) {
  open();
  EXPECT_EQ(finish(), "<>");
}

TEST_F(RecordOutputTest, records_stand_in_input_order) {
  open();
  take(1, 2);
  take(3, 3);
  EXPECT_EQ(finish(), "<1 2 3 >");
}

TEST_F(RecordOutputTest, any_number_of_jobs_gives_the_same) {
  std::string expected = "<";
  for (std::uint32_t number = 1000; number < 9000; ++number) {
    expected += std::to_string(number) + " ";
  }
  for (const unsigned jobs : {1U, 2U, 3U, 16U}) {
    TearDown();
    SetUp();
    options_.jobs = jobs;
    open();
    for (std::uint32_t number = 1000; number < 9000; number += 20) {
      take(number, number + 19);
    }
    EXPECT_EQ(finish(), expected + ">") << jobs;
  }
}

TEST_F(RecordOutputTest, only_selected_records_are_written) {
  options_.selects = [](const _HubProfileReport& record) { return record.sequence_num % 2 == 0; };
  open();
  take(1, 6);
  EXPECT_EQ(finish(), "<2 4 6 >");
}

TEST_F(RecordOutputTest, selected_records_without_a_form_are_counted) {
  options_.selects = [](const _HubProfileReport& record) { return record.sequence_num != 12; };
  for (const unsigned jobs : {1U, 2U}) {
    options_.jobs = jobs;
    open();
    take(11, 14);
    take(13, 13);
    output_->finish();
    EXPECT_EQ(output_->records_without_form(), 2U) << jobs;
    output_.reset();
  }
}

TEST_F(RecordOutputTest, ends_with_the_last_record_that_is_wanted) {
  options_.most_records = 3;
  open();
  take(1, 2);
  EXPECT_FALSE(output_->is_satisfied());
  take(3, 9);
  EXPECT_TRUE(output_->is_satisfied());
  EXPECT_EQ(finish(), "<1 2 3 >");
}

TEST_F(RecordOutputTest, what_is_drained_can_be_read) {
  TearDown();
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  const Descriptor reader(::open(path_.c_str(), O_RDWR));
  file_ = std::make_unique<OutputFile>(path_.string());
  options_.jobs = 2;
  open();
  take(1, 2);
  output_->drain();
  std::array<char, 64> seen{};
  const std::size_t length = read_some(reader.number(), std::as_writable_bytes(std::span(seen)));
  EXPECT_EQ(std::string(seen.data(), length), "<1 2 ");
}

TEST_F(RecordOutputTest, what_a_thread_throws_reaches_the_reader) {
  options_.jobs = 2;
  open();
  take(666, 666);
  EXPECT_THROW(output_->drain(), std::runtime_error);
}

TEST_F(RecordOutputTest, output_ends_before_the_block_that_a_thread_failed_at) {
  for (const unsigned jobs : {1U, 2U, 5U}) {
    TearDown();
    SetUp();
    options_.jobs = jobs;
    open();
    const auto take_all = [this] {
      for (std::uint32_t number = 660; number < 700; number += 2) {
        take(number, number + 1);
      }
      output_->drain();
    };
    EXPECT_THROW(take_all(), std::runtime_error) << jobs;
    file_->complete();
    EXPECT_EQ(written(), "<660 661 662 663 664 665 ") << jobs;
  }
}

TEST_F(RecordOutputTest, failing_output_is_told_with_any_number_of_jobs) {
  for (const unsigned jobs : {1U, 2U, 5U}) {
    OutputFile full("/dev/full");
    options_.jobs = jobs;
    options_.make_format = [] { return std::make_unique<FormatWithoutBeginning>(); };
    RecordOutput output(options_, full);
    const _HubProfileReport record = report(0, 0, 0, 0).sequence(1);
    const auto take_and_drain = [&] {
      output.take(std::span(&record, 1));
      output.drain();
    };
    EXPECT_THROW(take_and_drain(), std::system_error) << jobs;
  }
}

TEST_F(RecordOutputTest, may_end_with_blocks_that_nobody_waits_for) {
  options_.jobs = 5;
  for (int round = 0; round < 100; ++round) {
    open();
    for (std::uint32_t number = 0; number < 9; ++number) {
      take(number, number);
    }
    output_.reset();
  }
}

}  // namespace
}  // namespace hub::test
