// SPDX-License-Identifier: Apache-2.0
#include "host/io/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cassert>
#include <cerrno>
#include <climits>
#include <csignal>
#include <system_error>

namespace hub::host {
namespace {

constexpr std::array kEndingSignals = {SIGINT, SIGHUP, SIGTERM};

// The unfinished file's name for the signal handler; empty when there is none.
constinit std::array<char, PATH_MAX> path_to_remove{};

extern "C" void remove_unfinished(int signal_number) {
  hub::host::remove_unfinished_output();
  std::signal(signal_number, SIG_DFL);
  raise(signal_number);
}

// While an unfinished file exists, the signals that end the process remove it first. One that the parent has told us to
// ignore stays ignored.
void remove_at_signals(const std::string& name) {
  assert(path_to_remove[0] == '\0');
  if (name.size() >= path_to_remove.size()) {
    throw std::system_error(ENAMETOOLONG, std::generic_category(), "open");
  }
  name.copy(path_to_remove.data(), name.size());
  for (const int signal_number : kEndingSignals) {
    if (std::signal(signal_number, remove_unfinished) == SIG_IGN) {
      std::signal(signal_number, SIG_IGN);
    }
  }
}

// Keeps the signals that end the process away for as long as it lives: they come afterwards.
class EndingSignalsLater {
 public:
  EndingSignalsLater() {
    sigset_t ending;
    sigemptyset(&ending);
    for (const int signal_number : kEndingSignals) {
      sigaddset(&ending, signal_number);
    }
    pthread_sigmask(SIG_BLOCK, &ending, &before_);
  }
  EndingSignalsLater(const EndingSignalsLater&) = delete;
  EndingSignalsLater& operator=(const EndingSignalsLater&) = delete;
  ~EndingSignalsLater() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_{};
};

void forget_at_signals() {
  const EndingSignalsLater until_ignored_ones_are_ignored_again;
  for (const int signal_number : kEndingSignals) {
    if (std::signal(signal_number, SIG_DFL) == SIG_IGN) {
      std::signal(signal_number, SIG_IGN);
    }
  }
  path_to_remove.fill('\0');
}

[[noreturn]] void throw_errno(const char* operation) {
  throw std::system_error(errno, std::generic_category(), operation);
}

constexpr mode_t kEverybodyReadsAndWrites = 0666;

mode_t usual_permissions() {
  const mode_t mask = umask(0);
  umask(mask);
  return kEverybodyReadsAndWrites & ~mask;
}

// Where a file of this name will be made: symbolic links that lead to nothing yet are followed.
std::filesystem::path file_to_make(std::filesystem::path path) {
  constexpr int kMostLinks = 40;  // as many as the system follows
  for (int link = 0; std::filesystem::is_symlink(path); ++link) {
    if (link == kMostLinks) {
      throw std::system_error(ELOOP, std::generic_category(), "open");
    }
    path = path.parent_path() / std::filesystem::read_symlink(path);  // an absolute target replaces the folder
  }
  return std::filesystem::absolute(path);
}

}  // namespace

void remove_unfinished_output() noexcept {
  if (path_to_remove[0] != '\0') {
    unlink(path_to_remove.data());
  }
}

OutputFile::OutputFile() : descriptor_(STDOUT_FILENO) {}

// Standard output first: what fails from here on is cleaned up by the destructor of a complete object.
OutputFile::OutputFile(const std::string& path) : OutputFile() {
  struct stat existing {};
  const bool exists = stat(path.c_str(), &existing) == 0;
  if (exists && !S_ISREG(existing.st_mode)) {
    owned_ = Descriptor(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
    descriptor_ = owned_.number();
    if (descriptor_ < 0) {
      throw_errno("open");
    }
    return;
  }
  if (exists && access(path.c_str(), W_OK) != 0) {
    throw_errno("open");
  }
  if (exists) {
    replaced_ = existing;
  }
  open_beside(exists ? std::filesystem::canonical(path) : file_to_make(path));
  constexpr mode_t kPermissionBits = 07777;
  if (fchmod(descriptor_, exists ? existing.st_mode & kPermissionBits : usual_permissions()) != 0) {
    throw_errno("chmod");
  }
}

void OutputFile::open_beside(const std::filesystem::path& path) {
  path_ = path;
  std::string unfinished = (path.parent_path() / ".unfinished.XXXXXX").string();  // all that needs memory comes first
  const EndingSignalsLater until_it_would_be_removed;
  owned_ = Descriptor(mkostemp(unfinished.data(), O_CLOEXEC));
  descriptor_ = owned_.number();
  if (descriptor_ < 0) {
    throw_errno("open");
  }
  unfinished_path_ = std::move(unfinished);
  remove_at_signals(unfinished_path_);
}

OutputFile::~OutputFile() {
  if (!unfinished_path_.empty()) {
    unlink(unfinished_path_.c_str());
    forget_at_signals();
  }
}

bool OutputFile::concerns(const struct stat& file) const {
  const auto is_file = [&file](const struct stat& other) {
    return other.st_dev == file.st_dev && other.st_ino == file.st_ino;
  };
  struct stat written {};
  return (fstat(descriptor_, &written) == 0 && is_file(written)) || (replaced_ && is_file(*replaced_));
}

void OutputFile::complete() {
  if (unfinished_path_.empty()) {
    return;
  }
  if (fsync(descriptor_) != 0) {
    throw_errno("write");
  }
  owned_.close();
  std::filesystem::rename(unfinished_path_, path_);
  unfinished_path_.clear();
  forget_at_signals();
}

}  // namespace hub::host
