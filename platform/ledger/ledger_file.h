// SPDX-License-Identifier: Apache-2.0
// A ledger's place in the file system, and looking at what is there without leaving a trace.
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "ledger/sqlite.h"

namespace hub::platform {

// Where the file is or will be, from the root on and with links followed. Throws LedgerError when the folder is missing
// or when what is there is no regular file.
std::string location_of(const std::string& file);

// Throws LedgerError when the caller may not read and write the file, or may not make files in its folder: the log
// stands there.
void expect_writable(const std::string& file, const std::string& location);

// Whether there is a file with anything in it.
bool has_content(const std::string& location);

// The same file, for a connection that reads it as it stands: without its log, without locks, and without making other
// files beside it.
std::string as_it_stands(const std::string& location);

// Opens the database that is there, log included, and hands it to `look`; once more when another process changed the
// file meanwhile. The file stays as it is to the byte, and so does its log; when there is a log to be read, SQLite may
// leave its index beside it. Waits at most so long for a connection that locks the file. Throws LedgerError, and what
// `look` throws.
void look_at(const std::string& file, std::chrono::milliseconds patience,
             const std::function<void(Database& database)>& look);

}  // namespace hub::platform
