// SPDX-License-Identifier: Apache-2.0
// A layer between SQLite and the file system that counts what SQLite asks for, and spoils it as planned: a call fails,
// or the process ends there, as if it were killed or the machine lost its power.
#pragma once

#include <cstdint>

namespace hub::test {

enum class FileCall : std::uint8_t {
  kOpen,
  kRead,
  kWrite,
  kSync,
  kTruncate,
  kSize,
  kLock,
  kDelete,
  kAccess,
  kMapIndex,  // of the log, which connections share
  kLockIndex,
  kCount,
};

// The status with which a process ends that the plan ends.
constexpr int kEndedAsPlanned = 77;

struct FilePlan {
  enum class Effect : std::uint8_t {
    kFail,        // with `code`; nothing else happens
    kEnd,         // the process ends before anything happens
    kEndHalfway,  // a write gets to half of its bytes, then the process ends; other calls are made before it ends
    kLosePower,   // the process ends, and of what was not synced is left what a power failure leaves
  };

  FileCall call = FileCall::kOpen;
  std::uint64_t first = 0;     // the number of the first call that is spoiled, counted from 1; 0: none
  bool and_all_later = false;  // from there on every one; else that one
  Effect effect = Effect::kFail;
  int code = 0;            // of SQLite's
  std::uint64_t seed = 0;  // of what a power failure leaves
};

// Makes the layer SQLite's default for connections that are opened from now on. It does not sleep when SQLite waits for
// others: nobody else is there. What the process writes is synced by nobody: the machine is not to fail in earnest.
void install_failing_vfs();

// Puts a plan in force and sets all counts to 0. With kLosePower it holds for files that are opened later.
// [when no file is open]
void plan_file_failures(const FilePlan& plan);

// Since the plan was put in force: how often SQLite asked, and how often that was spoiled.
std::uint64_t calls_of(FileCall call);
std::uint64_t spoiled_calls();

// Files that SQLite has opened and not closed.
int open_files();

}  // namespace hub::test
