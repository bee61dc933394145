// SPDX-License-Identifier: Apache-2.0
// hubprofile [OPTION]... [FILE]...: records to lines or another form.
#pragma once

#include <string>
#include <vector>

namespace hub::tools {

// Gives the exit status. `words` are the command line's, last first.
int decode_command(const std::vector<std::string>& words);

}  // namespace hub::tools
