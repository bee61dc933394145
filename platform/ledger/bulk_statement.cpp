// SPDX-License-Identifier: Apache-2.0
#include "ledger/bulk_statement.h"

#include <string>

namespace hub::platform {

Statement& BulkStatement::prepared(Form& form) const {
  if (!form.statement) {
    std::string sql = text_.head;
    for (int row = 0; row < form.rows; ++row) {
      sql.append(row == 0 ? "" : ", ").append(text_.row);
    }
    form.statement.emplace(database_, sql + text_.tail);
  }
  return *form.statement;
}

}  // namespace hub::platform
