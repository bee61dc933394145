// SPDX-License-Identifier: Apache-2.0
// SQLite's memory out of pools: it takes very much in small pieces, which the sanitizers would spend most of the time
// on, though they cannot see what SQLite does with it.
#pragma once

#include <sqlite3.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory_resource>
#include <new>

namespace hub::fuzz {

class SqliteMemory {
 public:
  // Before anything else is asked of SQLite. False when it does not take the pools.
  static bool install() {
    constexpr sqlite3_mem_methods kMethods{allocate, release, reallocate, size_of, rounded_up, start, stop, nullptr};
    return sqlite3_config(SQLITE_CONFIG_MALLOC, &kMethods) == SQLITE_OK;
  }

  // How many pieces SQLite has not given back.
  static std::int64_t pieces() { return pieces_; }

 private:
  // Stands in front of a piece, as wide as SQLite's strictest alignment.
  struct alignas(16) Head {
    int size;
  };

  // A whole number of heads: pools of other sizes do not keep to the alignment.
  static std::size_t room_for(int size) {
    return (static_cast<std::size_t>(size) + 2 * sizeof(Head) - 1) / sizeof(Head) * sizeof(Head);
  }

  static Head* head_of(void* piece) { return static_cast<Head*>(piece) - 1; }

  static void* allocate(int size) {
    void* room = pools().allocate(room_for(size), alignof(Head));
    ++pieces_;
    return new (room) Head{size} + 1;
  }

  static void release(void* piece) {
    Head* head = head_of(piece);
    --pieces_;
    pools().deallocate(head, room_for(head->size), alignof(Head));
  }

  static void* reallocate(void* piece, int size) {
    void* moved = allocate(size);
    std::memcpy(moved, piece, static_cast<std::size_t>(std::min(size, size_of(piece))));
    release(piece);
    return moved;
  }

  static int size_of(void* piece) { return head_of(piece)->size; }
  static int rounded_up(int size) { return (size + 7) / 8 * 8; }
  static int start(void* /*data*/) { return SQLITE_OK; }
  static void stop(void* /*data*/) {}

  // Never destroyed: SQLite may keep pieces to the end of the process.
  static std::pmr::memory_resource& pools() {
    static auto* const instance = new std::pmr::unsynchronized_pool_resource;
    return *instance;
  }

  inline static std::int64_t pieces_ = 0;
};

}  // namespace hub::fuzz
