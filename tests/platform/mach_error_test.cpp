// SPDX-License-Identifier: Apache-2.0
#include "mach/mach_error.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace hub::test {
namespace {

TEST(MachError, has_a_text_for_each_code_in_use) {
  const std::map<std::uint32_t, std::string> texts = {
      {0xE00002BC, "general error"},        {0xE00002BD, "out of memory"},   {0xE00002BE, "no resources"},
      {0xE00002C0, "no such device"},       {0xE00002C1, "not privileged"},  {0xE00002C2, "invalid argument"},
      {0xE00002C7, "unsupported function"}, {0xE00002CD, "device not open"}, {0xE00002D6, "timed out"},
      {0xE00002D8, "device not ready"},     {0xE00002EB, "aborted"},         {0xE00002F0, "not found"},
  };
  for (const auto& [code, text] : texts) {
    EXPECT_EQ(mach_error_string(static_cast<kern_return_t>(code)), text) << std::hex << code;
  }
}

TEST(MachError, has_none_for_success_and_for_other_codes) {
  for (const std::uint32_t code : {0U, 1U, 0xE00002BBU, 0xE00002BFU, 0xE00002F1U, 0xFFFFFFFFU}) {
    EXPECT_EQ(mach_error_string(static_cast<kern_return_t>(code)), nullptr) << std::hex << code;
  }
}

}  // namespace
}  // namespace hub::test
