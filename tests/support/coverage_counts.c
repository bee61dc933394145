// SPDX-License-Identifier: Apache-2.0
// Part of each program and library whose coverage is counted. Each of them counts for itself, into a file that it
// writes when the process ends: a process that aborts writes it first, and one whose files may not grow, as on a full
// disk, gives it up.
#include <signal.h>
#include <sys/resource.h>

int __llvm_profile_write_file(void);
void __llvm_profile_set_filename(const char* name);

static void (*earlier_handler)(int) = SIG_DFL;

static void write_counts(int signal_number) {
  __llvm_profile_write_file();
  if (earlier_handler != SIG_DFL && earlier_handler != SIG_IGN) {
    earlier_handler(signal_number);  // another one's, to write its counts
  }
}

__attribute__((constructor)) static void stand_by(void) {
  struct rlimit file_size_bytes;
  if (getrlimit(RLIMIT_FSIZE, &file_size_bytes) == 0 && file_size_bytes.rlim_cur != RLIM_INFINITY) {
    __llvm_profile_set_filename("/dev/null");
  }
  earlier_handler = signal(SIGABRT, write_counts);
}
