// SPDX-License-Identifier: Apache-2.0
// The face by which a host keeps the statistics in a database.
#pragma once

#include <atomic>
#include <chrono>
#include <exception>
#include <optional>
#include <string>

#include "ledger/bulk_statement.h"
#include "ledger/ledger_contents.h"
#include "ledger/ledger_error.h"
#include "ledger/ledger_host.h"
#include "ledger/pending_samples.h"
#include "ledger/pending_scalars.h"
#include "ledger/sample_ranges.h"
#include "ledger/sqlite.h"
#include "platform_abi.h"

namespace hub::platform {

// A ledger in an SQLite file, or in memory. What stands under a key are rows of the tables of ledger_schema.h; the
// numbers of a key's samples ascend, the oldest first.
//
// An operation outside a batch is a transaction of its own and waits for the disk. A batch is a transaction, too, whose
// operations are folded in memory and written when it is committed, when its contents are asked for, or when they have
// become large: the file is then as if they had been written one by one. An operation that returns false has changed
// nothing, and in a batch it makes the whole batch fail: what the batch did before is taken back and what comes after
// is not filed. Only a sample that is no finite number is just not filed, with false.
//
// What was committed stays, also when the process is killed or the machine stops; a batch that was not is absent. Other
// processes may read the file at any time and write when no batch is open. A call while another thread is in one is a
// misuse. [one thread at a time]
class PLATFORM_EXPORT SqliteLedger final : public Ledger {
 public:
  // A ledger in memory, empty, gone with the object.
  SqliteLedger();

  // Opens the ledger in this file, or makes one where there is no file, an empty one or a database without tables. The
  // whole file is checked. LedgerError, and whatever is there stays as it is: no folder of that name, not a regular
  // file, the file or its folder not writable, no database, another program's database, another version, other tables,
  // damage, locked for longer than the patience. LedgerError also when making it fails (no room on the disk, say): then
  // what is left can be opened as new. Later on, a batch's begin and an operation outside a batch wait as long, too.
  explicit SqliteLedger(const std::string& file, std::chrono::milliseconds patience = kLedgerPatience);

  SqliteLedger(const SqliteLedger&) = delete;
  SqliteLedger& operator=(const SqliteLedger&) = delete;

  // Abandons a batch that is open.
  ~SqliteLedger() override;

  bool clear_scalar(std::string_view key) override;
  bool set_scalar(std::string_view key, std::int64_t value) override;
  bool add_to_scalar(std::string_view key, std::int64_t value) override;
  bool clear_distribution(std::string_view key) override;
  bool set_distribution(std::string_view key, double sample) override;
  bool push_to_distribution(std::string_view key, double sample) override;

  // From now on operations belong to a batch. LedgerError when another connection writes for longer than the patience,
  // or the database fails: there is no batch then. Within a batch it is a misuse.
  void begin_batch();

  // Makes all of the batch stay. LedgerError with the first reason when one of its operations failed, or with the
  // reason why it cannot be written; std::bad_alloc when that was memory. Nothing of it is there then. (When the disk
  // fails on, so that neither the batch nor its end can be made sure, the next one who opens the file may find the
  // whole batch.) Without a batch it is a misuse.
  void commit_batch();

  // Takes all of the batch back. Without a batch it is a misuse.
  void abandon_batch();

  // What the ledger holds now, an open batch included. LedgerError when the database fails; an open batch has failed
  // then.
  [[nodiscard]] LedgerContents contents();

 private:
  explicit SqliteLedger(Database database);

  template <typename Operation>
  bool attempt(const Operation& operation);
  void push(std::string_view key, double sample);
  void clear_samples(std::string_view key);
  std::int64_t next_sample_id();
  void write_pending();
  void forget_pending();
  void take_back();
  void end_batch(const char* function);

  std::atomic<bool> in_use_ = false;  // by a call
  Database database_;
  Statement delete_scalar_;
  BulkStatement add_to_scalars_;
  BulkStatement set_scalars_;
  Statement delete_samples_;
  Statement last_sample_;
  BulkStatement insert_samples_;
  Statement begin_;
  Statement commit_;
  SampleRanges ranges_;
  PendingScalars scalars_;
  PendingSamples samples_;
  std::optional<std::int64_t> last_written_sample_;  // the number of the table's newest, as far as it is known
  bool in_batch_ = false;
  std::exception_ptr failure_;  // the first one of the batch
};

}  // namespace hub::platform
