// SPDX-License-Identifier: Apache-2.0
// list_items: every item of every layout that the decoder knows, one a line: layout, key, form, width in bytes.
#include <array>
#include <iostream>

#include "profile/catalogue.h"

int main() {
  using namespace hub::profile;
  static constexpr std::array kForms = {"unsigned", "constant", "hexadecimal", "fixed-point",
                                        "text",     "bytes",    "subtype"};
  for (const Layout* layout : kLayouts) {
    for (const Field& field : layout->fields) {
      std::cout << layout->name << ' ' << field.key.view() << ' '
                << kForms.at(static_cast<std::size_t>(field.kind.form)) << ' ' << unsigned{field.kind.width_bytes}
                << '\n';
    }
  }
  return std::cout.flush() ? 0 : 1;
}
