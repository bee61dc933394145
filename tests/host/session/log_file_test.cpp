// SPDX-License-Identifier: Apache-2.0
#include "host/session/log_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

namespace hub::test {
namespace {

namespace fs = std::filesystem;
using host::LogFile;

class LogFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string made = (fs::temp_directory_path() / "log_file_test.XXXXXX").string();
    ASSERT_NE(mkdtemp(made.data()), nullptr);
    folder_ = made;
  }
  void TearDown() override { fs::remove_all(folder_); }

  [[nodiscard]] std::string path() const { return (folder_ / "log").string(); }

  [[nodiscard]] std::string content() const {
    std::ifstream file(path(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  // The line of a message, without what all have in common.
  [[nodiscard]] std::string line(const std::string& text, os_log_type_t type = OS_LOG_TYPE_DEFAULT) const {
    LogFile log(path());
    log.write({type, "NEB", "Category", text});
    log.finish();
    return content();
  }

  static std::string expected(const std::string& message, const std::string& level = "default") {
    return R"({"level":")" + level + R"(","subsystem":"NEB","category":"Category","message":")" + message + "\"}\n";
  }

  // What is thrown.
  template <typename Action>
  static std::string error_of(const Action& action) {
    try {
      action();
      return {};
    } catch (const std::system_error& error) {
      return error.what();
    }
  }

  fs::path folder_;
};

TEST_F(LogFileTest, message_is_one_line_with_four_keys_in_order) { EXPECT_EQ(line("text"), expected("text")); }

TEST_F(LogFileTest, level_is_a_word) {
  EXPECT_EQ(line("text", OS_LOG_TYPE_ERROR), expected("text", "error"));
  EXPECT_EQ(line("text", OS_LOG_TYPE_FAULT), expected("text", "fault"));
}

TEST_F(LogFileTest, level_between_those_in_use_is_the_default_one) { EXPECT_EQ(line("text", 1), expected("text")); }

TEST_F(LogFileTest, one_line_end_is_taken_off) {
  EXPECT_EQ(line("text\n"), expected("text"));
  EXPECT_EQ(line("text\n\n"), expected("text\\n"));
  EXPECT_EQ(line("\n"), expected(""));
  EXPECT_EQ(line(""), expected(""));
  EXPECT_EQ(line("a\nb"), expected("a\\nb"));
  EXPECT_EQ(line("text\r\n"), expected("text\\r"));
}

TEST_F(LogFileTest, every_text_stays_on_its_line) {
  EXPECT_EQ(line("\"q\" \\ \x01"), expected(R"(\"q\" \\ \u0001)"));
  EXPECT_EQ(line("Kn\u00f6pfe"), expected("Kn\u00f6pfe"));
}

TEST_F(LogFileTest, bytes_that_are_no_text_become_the_sign_for_that) { EXPECT_EQ(line("a\xFF"), expected("a\uFFFD")); }

TEST_F(LogFileTest, messages_stand_in_order_and_are_there_at_once) {
  LogFile log(path());
  log.write({OS_LOG_TYPE_DEFAULT, "NEB", "Category", "1"});
  EXPECT_EQ(content(), expected("1"));
  log.write({OS_LOG_TYPE_ERROR, "NEB", "Category", "2"});
  EXPECT_EQ(content(), expected("1") + expected("2", "error"));
}

TEST_F(LogFileTest, log_that_was_there_is_replaced_when_it_is_opened) {
  EXPECT_EQ(line("old"), expected("old"));
  const LogFile log(path());
  EXPECT_EQ(content(), "");
}

TEST_F(LogFileTest, file_that_cannot_be_opened_is_told_with_its_name) {
  EXPECT_EQ(error_of([&] { const LogFile log(path() + "/log"); }), path() + "/log: No such file or directory");
  EXPECT_EQ(error_of([&] { const LogFile log(folder_.string()); }), folder_.string() + ": Is a directory");
}

TEST_F(LogFileTest, first_failure_to_write_is_told_at_the_end) {
  LogFile log("/dev/full");
  log.write({OS_LOG_TYPE_DEFAULT, "NEB", "Category", "1"});
  log.write({OS_LOG_TYPE_DEFAULT, "NEB", "Category", "2"});
  EXPECT_EQ(error_of([&] { log.finish(); }), "/dev/full: No space left on device");
}

}  // namespace
}  // namespace hub::test
