// SPDX-License-Identifier: Apache-2.0
// A statement that writes many rows in few runs: a run costs more than the rows of a few.
#pragma once

#include <array>
#include <optional>

#include "ledger/sqlite.h"

namespace hub::platform {

// Says the same for one row as for several; prepared when it is first needed. The database outlives it and stays where
// it is.
class BulkStatement {
 public:
  struct Text {
    const char* head;
    const char* row;  // once for each row, with a comma between them
    const char* tail;
    int parameters_per_row;
  };

  BulkStatement(const Database& database, const Text& text) : database_(database), text_(text) {}

  // Writes these rows in their order. `bind` sets the parameters of one: bind(statement, first position, row).
  template <typename Rows, typename Bind>
  void run(const Rows& rows, const Bind& bind) {
    auto next = rows.begin();
    for (Form& form : forms_) {
      while (rows.end() - next >= form.rows) {
        Statement& statement = prepared(form);
        for (int row = 0; row < form.rows; ++row, ++next) {
          bind(statement, 1 + row * text_.parameters_per_row, *next);
        }
        statement.run();
      }
    }
  }

 private:
  struct Form {
    int rows;
    std::optional<Statement> statement;
  };

  Statement& prepared(Form& form) const;

  const Database& database_;
  Text text_;
  std::array<Form, 7> forms_ = {{{64, {}}, {32, {}}, {16, {}}, {8, {}}, {4, {}}, {2, {}}, {1, {}}}};
};

}  // namespace hub::platform
