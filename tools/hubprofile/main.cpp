// SPDX-License-Identifier: Apache-2.0
// hubprofile: captures of profile reports to lines, other forms and figures. Which command it is; the work is in host/.
#include <string>
#include <vector>

#include "tools/command_line.h"
#include "tools/hubprofile/decode_command.h"
#include "tools/hubprofile/summary_command.h"

namespace {

using namespace hub::tools;

struct Subcommand {
  const char* word;
  int (*run)(const std::vector<std::string>& words);
};

constexpr Subcommand kSubcommands[] = {
    {"summary", summary_command},
    {"compare", compare_command},
};

// A subcommand is one only as the first word, so that captures may have any name behind it.
int run(int count, char** words) {
  std::vector<std::string> reversed = reversed_words(count, words);
  for (const Subcommand& subcommand : kSubcommands) {
    if (!reversed.empty() && reversed.back() == subcommand.word) {
      reversed.pop_back();
      return subcommand.run(reversed);
    }
  }
  return decode_command(reversed);
}

}  // namespace

int main(int count, char** words) {
  return run_command("hubprofile", [=] { return run(count, words); });
}
