// SPDX-License-Identifier: Apache-2.0
#include "tools/command_line.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <new>
#include <string_view>

#include "host/io/output_file.h"
#include "host/session/capture_writer.h"

namespace hub::tools {
namespace {

// A standard stream that the parent closed would otherwise be the number of the next file opened, and messages would
// land in that file. Opened the wrong way round, so that using it still fails.
void occupy_standard_descriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) < 0) {
      open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
  }
}

const char* name_at_termination = "";

bool is_for_lack_of_memory() try {
  throw;  // what ends the process
} catch (const std::bad_alloc&) {
  return true;
} catch (...) {
  return false;
}

// Without memory what must not throw ends here, too: that is a failure like others, told as they are. All else is a
// mistake of ours and leaves its traces.
[[noreturn]] void end_process() {
  host::remove_unfinished_output();
  host::remove_unfinished_captures();
  if (std::current_exception() == nullptr || !is_for_lack_of_memory()) {
    std::abort();
  }
  for (const std::string_view part : {std::string_view(name_at_termination), std::string_view(": no memory\n")}) {
    if (write(STDERR_FILENO, part.data(), part.size()) < 0) {
      break;
    }
  }
  _exit(kFailed);
}

}  // namespace

std::vector<std::string> reversed_words(int count, char** words) {
  std::vector<std::string> reversed;
  for (int index = count - 1; index > 0; --index) {
    const std::string word = words[index];
    reversed.push_back(word.starts_with('[') ? "./" + word : word);
  }
  return reversed;
}

std::optional<int> parse_command_line(CLI::App& app, const std::function<void()>& parse) {
  try {
    parse();
    return std::nullopt;
  } catch (const CLI::Success& request) {  // --help, --version
    return app.exit(request);
  } catch (const CLI::ParseError& error) {
    std::cerr << app.get_name() << ": " << error.what() << "\nTry " << app.get_name() << " --help.\n";
    return kUsageError;
  }
}

int run_command(const std::string& name, const std::function<int()>& command) {
  occupy_standard_descriptors();
  // A reader that goes away and a file that grows beyond the limit are seen as failed writes.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  name_at_termination = name.c_str();
  std::set_terminate(end_process);
  try {
    return command();
  } catch (const std::bad_alloc&) {
    std::cerr << name << ": no memory\n";
    return kFailed;
  } catch (const std::exception& error) {
    std::cerr << name << ": " << error.what() << "\n";
    return kFailed;
  }
}

}  // namespace hub::tools
