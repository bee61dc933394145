// SPDX-License-Identifier: Apache-2.0
#include "tests/reliability/ledger/failing_vfs.h"

#include <sqlite3.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "tests/reliability/ledger/unsynced_files.h"

namespace hub::test {
namespace {

struct State {
  sqlite3_vfs* real = nullptr;
  FilePlan plan;
  std::array<std::uint64_t, static_cast<std::size_t>(FileCall::kCount)> calls{};
  std::uint64_t spoiled = 0;
  int open_files = 0;
  std::optional<UnsyncedFiles> unsynced;
};

State state;

// SQLite reserves room for this and, behind it, for the file of the layer below.
struct File {
  sqlite3_file base;
  const char* name;  // NULL: a temporary file. SQLite keeps it until the file is closed.
};

File* ours(sqlite3_file* file) { return reinterpret_cast<File*>(file); }
sqlite3_file* real(sqlite3_file* file) { return reinterpret_cast<sqlite3_file*>(ours(file) + 1); }
const sqlite3_io_methods& methods(sqlite3_file* file) { return *real(file)->pMethods; }

[[noreturn]] void end_process() {
  if (state.plan.effect == FilePlan::Effect::kLosePower) {
    state.unsynced->lose_power(state.plan.seed);
  }
  _exit(kEndedAsPlanned);
}

// Makes a call, or what is planned instead. `halfway` is as far as it gets when the process ends in it.
template <typename Call, typename Halfway>
int make(FileCall call, const Call& make_call, const Halfway& halfway) {
  const std::uint64_t number = ++state.calls[static_cast<std::size_t>(call)];
  const FilePlan& plan = state.plan;
  const bool is_planned = plan.first != 0 && (number == plan.first || (plan.and_all_later && number > plan.first));
  if (call != plan.call || !is_planned) {
    return make_call();
  }
  ++state.spoiled;
  if (plan.effect == FilePlan::Effect::kFail) {
    return plan.code;
  }
  if (plan.effect != FilePlan::Effect::kEnd) {
    halfway();
  }
  end_process();
}

template <typename Call>
int make(FileCall call, const Call& make_call) {
  return make(call, make_call, make_call);
}

// Tells the files that may lose what is not synced.
template <typename Told>
void tell(sqlite3_file* file, const Told& told) {
  if (state.unsynced && ours(file)->name != nullptr) {
    told(*state.unsynced, ours(file)->name);
  }
}

int close(sqlite3_file* file) {
  --state.open_files;
  return methods(file).xClose(real(file));
}

int read(sqlite3_file* file, void* bytes, int length, sqlite3_int64 offset) {
  return make(FileCall::kRead, [&] { return methods(file).xRead(real(file), bytes, length, offset); });
}

int write(sqlite3_file* file, const void* bytes, int length, sqlite3_int64 offset) {
  const auto write_first = [&](int count) {
    tell(file, [&](UnsyncedFiles& unsynced, const char* name) {
      unsynced.written(name, offset, {static_cast<const char*>(bytes), static_cast<std::size_t>(count)});
    });
    return methods(file).xWrite(real(file), bytes, count, offset);
  };
  return make(
      FileCall::kWrite, [&] { return write_first(length); }, [&] { return write_first(length / 2); });
}

int truncate(sqlite3_file* file, sqlite3_int64 size_bytes) {
  return make(FileCall::kTruncate, [&] {
    tell(file, [&](UnsyncedFiles& unsynced, const char* name) { unsynced.truncated(name, size_bytes); });
    return methods(file).xTruncate(real(file), size_bytes);
  });
}

// A power failure in a sync comes before its end: only when it has returned is anything sure.
int sync(sqlite3_file* file, int) {
  return make(
      FileCall::kSync,
      [&] {
        tell(file, [&](UnsyncedFiles& unsynced, const char* name) { unsynced.synced(name); });
        return SQLITE_OK;
      },
      [] {});
}

int file_size(sqlite3_file* file, sqlite3_int64* size_bytes) {
  return make(FileCall::kSize, [&] { return methods(file).xFileSize(real(file), size_bytes); });
}

int lock(sqlite3_file* file, int level) {
  return make(FileCall::kLock, [&] { return methods(file).xLock(real(file), level); });
}

int unlock(sqlite3_file* file, int level) { return methods(file).xUnlock(real(file), level); }

int check_reserved_lock(sqlite3_file* file, int* is_locked) {
  return make(FileCall::kLock, [&] { return methods(file).xCheckReservedLock(real(file), is_locked); });
}

int file_control(sqlite3_file* file, int operation, void* argument) {
  return methods(file).xFileControl(real(file), operation, argument);
}

int sector_size(sqlite3_file* file) { return methods(file).xSectorSize(real(file)); }

int device_characteristics(sqlite3_file* file) { return methods(file).xDeviceCharacteristics(real(file)); }

int map_index(sqlite3_file* file, int region, int size_bytes, int extend, void volatile** place) {
  *place = nullptr;
  return make(FileCall::kMapIndex,
              [&] { return methods(file).xShmMap(real(file), region, size_bytes, extend, place); });
}

int lock_index(sqlite3_file* file, int offset, int count, int flags) {
  const auto make_call = [&] { return methods(file).xShmLock(real(file), offset, count, flags); };
  return (flags & SQLITE_SHM_LOCK) != 0 ? make(FileCall::kLockIndex, make_call) : make_call();
}

void index_barrier(sqlite3_file* file) { methods(file).xShmBarrier(real(file)); }

int unmap_index(sqlite3_file* file, int delete_it) { return methods(file).xShmUnmap(real(file), delete_it); }

// Without the methods that map a file into memory: nothing gets past the layer.
constexpr int kVersionWithIndex = 2;
constexpr sqlite3_io_methods kMethods = {
    kVersionWithIndex,
    close,
    read,
    write,
    truncate,
    sync,
    file_size,
    lock,
    unlock,
    check_reserved_lock,
    file_control,
    sector_size,
    device_characteristics,
    map_index,
    lock_index,
    index_barrier,
    unmap_index,
    nullptr,
    nullptr,
};

int open(sqlite3_vfs*, sqlite3_filename name, sqlite3_file* file, int flags, int* flags_out) {
  ours(file)->base.pMethods = nullptr;
  ours(file)->name = name;
  return make(FileCall::kOpen, [&] {
    tell(file, [](UnsyncedFiles& unsynced, const char* of_file) { unsynced.opening(of_file); });
    const int code = state.real->xOpen(state.real, name, real(file), flags, flags_out);
    if (code == SQLITE_OK) {
      ours(file)->base.pMethods = &kMethods;
      ++state.open_files;
    }
    return code;
  });
}

int delete_file(sqlite3_vfs*, const char* name, int sync_folder) {
  return make(FileCall::kDelete, [&] {
    if (state.unsynced) {
      state.unsynced->deleted(name, sync_folder != 0);
    }
    return state.real->xDelete(state.real, name, 0);
  });
}

int access(sqlite3_vfs*, const char* name, int flags, int* result) {
  return make(FileCall::kAccess, [&] { return state.real->xAccess(state.real, name, flags, result); });
}

int sleep(sqlite3_vfs*, int microseconds) { return microseconds; }

}  // namespace

void install_failing_vfs() {
  state.real = sqlite3_vfs_find("unix");
  static sqlite3_vfs layer = *state.real;
  layer.zName = "failing";
  layer.szOsFile = static_cast<int>(sizeof(File)) + state.real->szOsFile;
  layer.xOpen = open;
  layer.xDelete = delete_file;
  layer.xAccess = access;
  layer.xSleep = sleep;
  sqlite3_vfs_register(&layer, 1);
}

void plan_file_failures(const FilePlan& plan) {
  state.plan = plan;
  state.calls = {};
  state.spoiled = 0;
  state.unsynced.reset();
  if (plan.effect == FilePlan::Effect::kLosePower) {
    state.unsynced.emplace();
  }
}

std::uint64_t calls_of(FileCall call) { return state.calls[static_cast<std::size_t>(call)]; }

std::uint64_t spoiled_calls() { return state.spoiled; }

int open_files() { return state.open_files; }

}  // namespace hub::test
