// SPDX-License-Identifier: Apache-2.0
// What is dear to make and needed for every line: a thread keeps one for its next line.
#pragma once

#include <memory>
#include <utility>

namespace hub::profile {

// At most one spare T for each thread, deleted when the thread ends. Taking and giving back may nest: who finds no
// spare makes a new T, and of all that are given back the thread keeps one. Usable until the very end of a thread, when
// nothing is kept any more. [any thread]
template <typename T, typename Delete = std::default_delete<T>>
class ThreadSpare {
 public:
  using Pointer = std::unique_ptr<T, Delete>;

  ThreadSpare() = delete;

  // The thread's spare, or null.
  static Pointer take() { return Pointer(std::exchange(spare_, nullptr)); }

  static void give_back(Pointer object) {
    static thread_local Keeper keeper;
    if (!thread_is_ending_) {
      Pointer(std::exchange(spare_, object.release()));
    }
  }

 private:
  struct Keeper {
    Keeper() = default;
    Keeper(const Keeper&) = delete;
    Keeper& operator=(const Keeper&) = delete;
    ~Keeper() {
      thread_is_ending_ = true;
      take();
    }
  };

  // Bare, for they are asked also when the thread's objects are being destroyed.
  static constinit inline thread_local T* spare_ = nullptr;
  static constinit inline thread_local bool thread_is_ending_ = false;
};

}  // namespace hub::profile
