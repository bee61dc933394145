// SPDX-License-Identifier: Apache-2.0
#include "host/io/output_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <system_error>

namespace {

bool permissions_can_be_set = true;

}  // namespace

// In place of the system's: a file system that knows no permissions refuses to set them.
extern "C" int fchmod(int descriptor, mode_t mode) noexcept {
  if (permissions_can_be_set) {
    return static_cast<int>(syscall(SYS_fchmod, descriptor, mode));
  }
  errno = EPERM;
  return -1;
}

namespace hub::test {
namespace {

namespace fs = std::filesystem;
using host::Descriptor;
using host::OutputFile;

using Names = std::set<std::string>;

class OutputFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string made = (fs::temp_directory_path() / "output_file_test.XXXXXX").string();
    ASSERT_NE(mkdtemp(made.data()), nullptr);
    folder_ = made;
  }
  void TearDown() override { fs::remove_all(folder_); }

  [[nodiscard]] std::string path(const std::string& name) const { return (folder_ / name).string(); }

  [[nodiscard]] std::string make_file(const std::string& name, const std::string& content, mode_t mode = 0644) const {
    std::ofstream(path(name)) << content;
    chmod(path(name).c_str(), mode);
    return path(name);
  }

  [[nodiscard]] std::string content(const std::string& name) const {
    std::ifstream file(path(name));
    EXPECT_TRUE(file.is_open()) << name;
    return {std::istreambuf_iterator<char>(file), {}};
  }

  [[nodiscard]] mode_t mode(const std::string& name) const {
    struct stat status {};
    EXPECT_EQ(stat(path(name).c_str(), &status), 0) << name;
    return status.st_mode & 07777U;
  }

  // All there is in the folder.
  [[nodiscard]] Names names() const {
    Names found;
    for (const auto& entry : fs::directory_iterator(folder_)) {
      found.insert(entry.path().filename().string());
    }
    return found;
  }

  static void write_file(const std::string& path, const std::string& text) {
    OutputFile output(path);
    output.write(text);
    output.complete();
  }

  static int reason_of_failure(const std::string& path) {
    try {
      write_file(path, "new");
    } catch (const std::system_error& error) {
      return error.code().value();
    }
    return 0;
  }

  fs::path folder_;
};

TEST_F(OutputFileTest, name_appears_with_complete_and_not_before) {
  OutputFile output(path("lines"));
  output.write("one\n");
  EXPECT_FALSE(names().contains("lines"));
  output.write("two\n");
  output.complete();
  EXPECT_EQ(names(), Names{"lines"});
  EXPECT_EQ(content("lines"), "one\ntwo\n");
}

TEST_F(OutputFileTest, nothing_written_makes_an_empty_file) {
  write_file(path("lines"), "");
  EXPECT_EQ(content("lines"), "");
}

TEST_F(OutputFileTest, output_that_is_never_completed_leaves_nothing) {
  { OutputFile(path("lines")).write("begun"); }
  EXPECT_EQ(names(), Names{});
}

TEST_F(OutputFileTest, existing_file_is_as_it_was_until_complete) {
  OutputFile output(make_file("lines", "old", 0604));
  output.write("new");
  EXPECT_EQ(content("lines"), "old");
  output.complete();
  EXPECT_EQ(content("lines"), "new");
  EXPECT_EQ(names(), Names{"lines"});
}

TEST_F(OutputFileTest, existing_file_stays_when_the_output_is_never_completed) {
  { OutputFile(make_file("lines", "old", 0604)).write("begun"); }
  EXPECT_EQ(names(), Names{"lines"});
  EXPECT_EQ(content("lines"), "old");
  EXPECT_EQ(mode("lines"), 0604U);
}

TEST_F(OutputFileTest, file_that_replaces_another_keeps_its_permissions) {
  for (const mode_t permissions : {0600U, 0604U, 0666U, 0755U}) {
    write_file(make_file("lines", "old", permissions), "new");
    EXPECT_EQ(mode("lines"), permissions);
  }
}

TEST_F(OutputFileTest, new_file_has_the_permissions_that_the_umask_leaves) {
  const mode_t before = umask(027);
  write_file(path("lines"), "");
  EXPECT_EQ(umask(before), 027U) << "the umask is as it was";
  EXPECT_EQ(mode("lines"), 0640U);
}

TEST_F(OutputFileTest, symbolic_link_stays_and_its_file_is_replaced) {
  (void)make_file("lines", "old");
  fs::create_symlink("lines", path("link"));
  write_file(path("link"), "new");
  EXPECT_TRUE(fs::is_symlink(path("link")));
  EXPECT_EQ(content("lines"), "new");
}

TEST_F(OutputFileTest, symbolic_link_to_nothing_stays_and_its_file_is_made) {
  fs::create_symlink("lines", path("link"));
  write_file(path("link"), "new");
  EXPECT_TRUE(fs::is_symlink(path("link")));
  EXPECT_TRUE(names().contains("lines"));
}

TEST_F(OutputFileTest, longest_name_of_the_platform_is_taken) {
  const std::string name(255, 'n');
  EXPECT_EQ(reason_of_failure(path(name)), 0);
  EXPECT_EQ(names(), Names{name});
}

TEST_F(OutputFileTest, relative_path_stays_what_it_was_when_the_process_goes_elsewhere) {
  const fs::path before = fs::current_path();
  fs::current_path(folder_);
  OutputFile output("lines");
  fs::current_path(before);
  output.write("new");
  output.complete();
  EXPECT_EQ(content("lines"), "new");
}

TEST_F(OutputFileTest, pipe_is_written_directly) {
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  const Descriptor reader(open(path("pipe").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  OutputFile output(path("pipe"));
  output.write("now");
  std::array<char, 8> text{};
  EXPECT_EQ(read(reader.number(), text.data(), text.size()), 3);
  output.complete();
  EXPECT_EQ(names(), Names{"pipe"});
}

TEST_F(OutputFileTest, device_that_is_full_fails_with_the_reason) { EXPECT_EQ(reason_of_failure("/dev/full"), ENOSPC); }

TEST_F(OutputFileTest, place_that_cannot_be_written_fails_with_the_reason) {
  EXPECT_EQ(reason_of_failure(folder_.string()), EISDIR);
  EXPECT_EQ(reason_of_failure(path("missing/lines")), ENOENT);
  EXPECT_EQ(reason_of_failure(make_file("file", "") + "/lines"), ENOTDIR);
  EXPECT_EQ(names(), Names{"file"});
}

TEST_F(OutputFileTest, path_that_is_too_long_fails_and_leaves_nothing) {
  EXPECT_EQ(reason_of_failure(path(std::string(256, 'n'))), ENAMETOOLONG);
  EXPECT_EQ(reason_of_failure(path(std::string(5000, '/') + "lines")), ENAMETOOLONG);
  EXPECT_EQ(names(), Names{});
}

TEST_F(OutputFileTest, name_that_a_folder_has_taken_meanwhile_fails_and_leaves_the_folder) {
  {
    OutputFile output(path("lines"));
    fs::create_directory(path("lines"));
    EXPECT_THROW(output.complete(), std::system_error);
  }
  EXPECT_EQ(names(), Names{"lines"});
  EXPECT_TRUE(fs::is_directory(path("lines")));
}

TEST_F(OutputFileTest, standard_output_is_written_directly_and_stays_open) {
  {
    OutputFile output;
    struct stat standard_output {};
    ASSERT_EQ(fstat(STDOUT_FILENO, &standard_output), 0);
    EXPECT_TRUE(output.concerns(standard_output));
    output.complete();
  }
  EXPECT_GE(fcntl(STDOUT_FILENO, F_GETFD), 0);
}

TEST_F(OutputFileTest, that_cannot_be_begun_leaves_nothing_behind) {
  permissions_can_be_set = false;
  EXPECT_THROW(OutputFile(path("lines")), std::system_error);
  permissions_can_be_set = true;
  EXPECT_EQ(names(), Names{});
}

TEST_F(OutputFileTest, concerns_the_file_that_it_will_replace_and_no_other) {
  const std::string target = make_file("lines", "old");
  const std::string other = make_file("other", "old");
  const OutputFile output(target);
  struct stat status {};
  ASSERT_EQ(stat(target.c_str(), &status), 0);
  EXPECT_TRUE(output.concerns(status));
  ASSERT_EQ(stat(other.c_str(), &status), 0);
  EXPECT_FALSE(output.concerns(status));
}

TEST_F(OutputFileTest, reader_that_has_gone_fails_with_a_broken_pipe) {
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  Descriptor reader(open(path("pipe").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  OutputFile output(path("pipe"));
  reader.close();
  const auto before = std::signal(SIGPIPE, SIG_IGN);
  try {
    output.write("x");
    ADD_FAILURE() << "written to nobody";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), std::errc::broken_pipe);
  }
  std::signal(SIGPIPE, before);
}

// A process of its own that begins an output, gets a signal, and completes the output when that did not end it.
class OutputFileSignalTest : public OutputFileTest {
 protected:
  [[noreturn]] static void get_signal(const std::string& path, int signal_number, sighandler_t set_by_parent) {
    std::signal(signal_number, set_by_parent);
    OutputFile output(path);
    output.write("new");
    raise(signal_number);
    output.complete();
    _exit(0);
  }
};

TEST_F(OutputFileSignalTest, signal_that_ends_the_process_removes_what_was_begun) {
  for (const int signal_number : {SIGINT, SIGHUP, SIGTERM}) {
    EXPECT_EXIT(get_signal(path("lines"), signal_number, SIG_DFL), ::testing::KilledBySignal(signal_number), "");
    EXPECT_EQ(names(), Names{});
  }
}

TEST_F(OutputFileSignalTest, signal_that_ends_the_process_leaves_the_existing_file) {
  (void)make_file("lines", "old", 0604);
  EXPECT_EXIT(get_signal(path("lines"), SIGTERM, SIG_DFL), ::testing::KilledBySignal(SIGTERM), "");
  EXPECT_EQ(names(), Names{"lines"});
  EXPECT_EQ(content("lines"), "old");
}

TEST_F(OutputFileSignalTest, signal_that_the_parent_ignores_ends_nothing) {
  for (const int signal_number : {SIGINT, SIGHUP, SIGTERM}) {
    EXPECT_EXIT(get_signal(path("lines"), signal_number, SIG_IGN), ::testing::ExitedWithCode(0), "");
    EXPECT_EQ(content("lines"), "new");
    fs::remove(path("lines"));
  }
}

TEST_F(OutputFileSignalTest, complete_file_stays_when_a_signal_ends_the_process) {
  const auto complete_and_end = [this] {
    std::signal(SIGTERM, SIG_DFL);
    OutputFile output(path("lines"));
    output.complete();
    raise(SIGTERM);
  };
  EXPECT_EXIT(complete_and_end(), ::testing::KilledBySignal(SIGTERM), "");
  EXPECT_EQ(names(), Names{"lines"});
}

}  // namespace
}  // namespace hub::test
