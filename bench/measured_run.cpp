// SPDX-License-Identifier: Apache-2.0
// measured_run FILE COMMAND [ARGUMENT]...: runs a command and writes what it took as JSON: processor time of user and
// system, wall time, and the peak of its memory. A program of its own, and a small one: what is executed inherits the
// peak of what it replaces, and that of an interpreter would hide the command's.
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

namespace {

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fputs("usage: measured_run FILE COMMAND [ARGUMENT]...\n", stderr);
    return 2;
  }
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child == 0) {
    execvp(argv[2], argv + 2);
    std::perror(argv[2]);
    _exit(127);
  }
  int status = 0;
  rusage used{};
  if (child < 0 || wait4(child, &status, 0, &used) != child) {
    std::perror("measured_run");
    return 1;
  }
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
  std::FILE* out = std::fopen(argv[1], "w");
  if (out == nullptr) {
    std::perror(argv[1]);
    return 1;
  }
  std::fprintf(out, "{\"cpu_s\": %.6f, \"wall_s\": %.6f, \"peak_kib\": %ld}\n",
               seconds(used.ru_utime) + seconds(used.ru_stime), wall.count(), used.ru_maxrss);
  if (std::fclose(out) != 0) {
    std::perror(argv[1]);
    return 1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
