// SPDX-License-Identifier: Apache-2.0
// hubprofile summary [OPTION]... [FILE]..., hubprofile compare [OPTION]... A B: figures instead of records.
#pragma once

#include <string>
#include <vector>

namespace hub::tools {

// They give the exit status. `words` are those behind the subcommand, last first.
int summary_command(const std::vector<std::string>& words);
int compare_command(const std::vector<std::string>& words);

}  // namespace hub::tools
