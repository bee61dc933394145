// SPDX-License-Identifier: Apache-2.0
// Device files that are taken, and others with the message that each is refused with.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "host/device/device_file.h"

namespace hub::test {
namespace {

namespace fs = std::filesystem;
using host::DeviceFileError;
using host::read_device_file;

const fs::path kCorpus = HUB_DEVICE_FILES;

std::set<fs::path> device_files(const std::string& folder) {
  std::set<fs::path> files;
  for (const auto& entry : fs::directory_iterator(kCorpus / folder)) {
    if (entry.path().extension() == ".json") {
      files.insert(entry.path());
    }
  }
  EXPECT_FALSE(files.empty()) << folder;
  return files;
}

std::string content(const fs::path& path) {
  std::ifstream file(path);
  EXPECT_TRUE(file.is_open()) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

// What is said of a file that is refused, without its folder; empty when it is taken.
std::string refusal(const fs::path& path) {
  try {
    read_device_file(path.string());
    return {};
  } catch (const DeviceFileError& error) {
    const std::string folder = path.parent_path().string() + "/";
    const std::string message = error.what();
    EXPECT_EQ(message.substr(0, folder.size()), folder);
    return message.substr(folder.size()) + "\n";
  }
}

TEST(DeviceFileCorpus, good_files_are_taken) {
  for (const fs::path& file : device_files("good")) {
    EXPECT_EQ(refusal(file), "") << file;
  }
}

TEST(DeviceFileCorpus, bad_files_are_refused_with_the_message_beside_them) {
  for (fs::path file : device_files("bad")) {
    const std::string message = refusal(file);
    EXPECT_EQ(message, content(file.replace_extension(".expected")));
  }
}

// A device file that stops anywhere is none.
TEST(DeviceFileCorpus, every_beginning_of_a_good_file_is_refused) {
  const fs::path beginning = fs::temp_directory_path() / ("beginning." + std::to_string(getpid()) + ".json");
  const std::string whole = content(kCorpus / "good" / "hid.json");
  for (std::size_t length = 0; length < whole.find_last_of('}'); ++length) {
    std::ofstream(beginning) << whole.substr(0, length);
    EXPECT_NE(refusal(beginning), "") << length;
  }
  fs::remove(beginning);
}

}  // namespace
}  // namespace hub::test
