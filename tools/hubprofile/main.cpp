// SPDX-License-Identifier: Apache-2.0
// hubprofile: captures of profile reports to lines, other forms and figures. Which command it is; the work is in host/.
#include <string>
#include <vector>

#include "tools/command_line.h"
#include "tools/hubprofile/decode_command.h"

int main(int count, char** words) {
  return hub::tools::run_command("hubprofile",
                                 [=] { return hub::tools::decode_command(hub::tools::reversed_words(count, words)); });
}
