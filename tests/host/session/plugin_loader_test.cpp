// SPDX-License-Identifier: Apache-2.0
// Where a program finds the plug-in that belongs to it.
#include "host/session/plugin_loader.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace hub::test {
namespace {

namespace fs = std::filesystem;

constexpr char kPlugIn[] = "libVantuHUBHIDStatistics.so.0";
constexpr char kBuiltPlugIns[] = "VantuHUBHIDPlugins/VantuHUBHIDStatistics";

class PlugInOfProgram : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string made = (fs::temp_directory_path() / "plugin_loader_test.XXXXXX").string();
    ASSERT_NE(mkdtemp(made.data()), nullptr);
    prefix_ = made;
  }
  void TearDown() override { fs::remove_all(prefix_); }

  [[nodiscard]] std::string program() const { return (prefix_ / "bin/program").string(); }

  // Its path as a program in the prefix's bin folder finds it.
  std::string make_library(const fs::path& folder) const {
    const fs::path path = (prefix_ / "bin" / folder / kPlugIn).lexically_normal();
    fs::create_directories(path.parent_path());
    std::ofstream(path) << "library";
    return path.string();
  }

  fs::path prefix_;
};

TEST_F(PlugInOfProgram, is_in_the_library_folder_of_the_programs_prefix) {
  const std::string library = make_library(HUB_LIBRARIES);
  EXPECT_EQ(host::plugin_of_program(program()), library);
}

TEST_F(PlugInOfProgram, moves_with_the_prefix) {
  make_library(HUB_LIBRARIES);
  const fs::path moved = prefix_.string() + ".moved";
  fs::rename(prefix_, moved);
  prefix_ = moved;
  EXPECT_EQ(host::plugin_of_program(program()), (prefix_ / "bin" / HUB_LIBRARIES / kPlugIn).lexically_normal());
}

TEST_F(PlugInOfProgram, is_beside_the_programs_folder_in_a_build_tree) {
  const std::string library = make_library(fs::path("..") / kBuiltPlugIns);
  EXPECT_EQ(host::plugin_of_program(program()), library);
}

TEST_F(PlugInOfProgram, that_is_installed_comes_before_one_that_was_built) {
  make_library(fs::path("..") / kBuiltPlugIns);
  const std::string installed = make_library(HUB_LIBRARIES);
  EXPECT_EQ(host::plugin_of_program(program()), installed);
}

TEST_F(PlugInOfProgram, that_stands_nowhere_is_told_with_the_place_of_an_installed_one) {
  const std::string place = (prefix_ / "bin" / HUB_LIBRARIES / kPlugIn).lexically_normal().string();
  try {
    host::plugin_of_program(program());
    FAIL() << "no error";
  } catch (const host::PlugInError& error) {
    EXPECT_EQ(error.what(), place + ": no plug-in stands there; name one with --plugin");
  }
}

}  // namespace
}  // namespace hub::test
