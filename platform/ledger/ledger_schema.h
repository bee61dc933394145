// SPDX-License-Identifier: Apache-2.0
// What makes a database a ledger: its application id, its version and its tables.
//
//   scalar   key TEXT PRIMARY KEY, value INTEGER
//   sample   id INTEGER PRIMARY KEY, key TEXT, value REAL: the samples of all distributions, oldest first
//
// Indexes that others add are theirs: a ledger is one with them and without.
#pragma once

#include <cstdint>

#include "ledger/sqlite.h"

namespace hub::platform {

inline constexpr std::int64_t kApplicationId = 0x4855424C;  // "HUBL"

// Whether nothing is in it yet: a ledger may be made of it.
bool is_new(Database& database);

// Says in the file whose it is, before there is anything else. Harmless when it is there.
void set_identity(Database& database);

// Makes the tables of a new database, in one transaction.
void create_tables(Database& database);

// Throws LedgerError when it is another program's.
void check_identity(Database& database);

// Throws LedgerError when it is another program's, of another version, or has other tables.
void check_schema(Database& database);

// Throws LedgerError when its pages, records and indexes do not fit together, or when a key is no text, a scalar no
// integer or a sample no finite number: reads the whole file. A value that was overwritten by another of its type is
// not noticed, as the file has no checksums.
void check_damage(Database& database);

}  // namespace hub::platform
