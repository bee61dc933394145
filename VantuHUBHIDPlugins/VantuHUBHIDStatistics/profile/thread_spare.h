// SPDX-License-Identifier: Apache-2.0
// What is dear to make and needed for every line: a thread keeps one for its next line.
#pragma once

#include <threads.h>

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
    if (!thread_is_ending_ && has_end()) {
      Pointer(std::exchange(spare_, object.release()));
    }
  }

 private:
  // By which the spare is deleted when its thread ends. An object of the language that is destroyed with the thread
  // would do, but the process ends when there is no memory to note one. Gone with the library: a thread that ends after
  // that finds nothing to call, and its spare stays.
  class ThreadEnd {
   public:
    ThreadEnd() : exists_(tss_create(&key_, delete_spare) == thrd_success) {}
    ThreadEnd(const ThreadEnd&) = delete;
    ThreadEnd& operator=(const ThreadEnd&) = delete;
    ~ThreadEnd() {
      if (exists_) {
        tss_delete(key_);
      }
    }

    // False when there is no memory for it.
    [[nodiscard]] bool note() const { return exists_ && tss_set(key_, &spare_) == thrd_success; }

   private:
    static void delete_spare(void*) {
      thread_is_ending_ = true;
      take();
    }

    tss_t key_{};
    bool exists_;
  };

  static bool has_end() {
    static const ThreadEnd end;
    end_is_noted_ = end_is_noted_ || end.note();
    return end_is_noted_;
  }

  // Bare, for they are asked also when the thread's objects are being destroyed; and part of each thread from its
  // start, since what a thread gets later takes memory, and without that the process ends.
  [[gnu::tls_model("initial-exec")]] static constinit inline thread_local T* spare_ = nullptr;
  [[gnu::tls_model("initial-exec")]] static constinit inline thread_local bool end_is_noted_ = false;
  [[gnu::tls_model("initial-exec")]] static constinit inline thread_local bool thread_is_ending_ = false;
};

}  // namespace hub::profile
