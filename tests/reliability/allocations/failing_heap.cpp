// SPDX-License-Identifier: Apache-2.0
// Goes before a command's libraries (LD_PRELOAD) and makes its allocations fail from main on, as the environment says:
// FAILING_ALLOCATION is the number of the first one that fails, FAILING_ALLOCATIONS_GO_ON is there when all later ones
// do, too. At the end of main the file COUNTED_ALLOCATIONS gets as many bytes as there were allocations.
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

#include "platform_abi.h"
#include "tests/reliability/allocations/failing_allocations.h"

namespace {

using Main = int (*)(int, char**, char**);
using Start = int (*)(Main, int, char**, void (*)(), void (*)(), void (*)(), void*);

Main main_of_command = nullptr;

hub::test::AllocationPlan plan_of_environment() {
  const char* number = std::getenv("FAILING_ALLOCATION");
  return {number != nullptr ? std::strtoull(number, nullptr, 10) : 0,
          std::getenv("FAILING_ALLOCATIONS_GO_ON") != nullptr};
}

void tell_count(std::uint64_t allocations) {
  if (const char* file = std::getenv("COUNTED_ALLOCATIONS")) {
    const int descriptor = open(file, O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const bool is_told = descriptor >= 0 && ftruncate(descriptor, static_cast<off_t>(allocations)) == 0;
    if (!is_told) {
      std::abort();
    }
    close(descriptor);
  }
}

int failing_main(int count, char** words, char** environment) {
  hub::test::fail_allocations(plan_of_environment());
  const int status = main_of_command(count, words, environment);
  tell_count(hub::test::end_failing_allocations());
  return status;
}

}  // namespace

// What a program's first instructions call, with its main, once its libraries are there.
extern "C" PLATFORM_EXPORT int __libc_start_main(Main main, int count, char** words, void (*begin)(), void (*end)(),
                                                 void (*end_of_loader)(), void* end_of_stack) {
  main_of_command = main;
  void* next = dlsym(RTLD_NEXT, "__libc_start_main");
  return reinterpret_cast<Start>(next)(failing_main, count, words, begin, end, end_of_loader, end_of_stack);
}
