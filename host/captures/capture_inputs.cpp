// SPDX-License-Identifier: Apache-2.0
#include "host/captures/capture_inputs.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <optional>
#include <ostream>
#include <system_error>
#include <utility>

#include "host/captures/live_input.h"
#include "host/captures/report_reader.h"
#include "host/io/descriptor.h"

namespace hub::host {
namespace {

constexpr const char* kTool = "hubprofile: ";
constexpr const char* kStandardInput = "-";
constexpr const char* kStandardInputName = "standard input";

// One opened input.
struct Input {
  std::string name;  // for messages
  Descriptor owned;
  std::unique_ptr<ByteSource> source;
  struct stat status {};
};

struct stat status_of(int descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) {
    throw std::system_error(errno, std::generic_category());
  }
  return status;
}

// Throws std::system_error.
Input open_input(const std::string& path) {
  Input input;
  input.name = display_name(path);
  int descriptor = STDIN_FILENO;
  if (path != kStandardInput) {
    descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
      throw std::system_error(errno, std::generic_category());
    }
    input.owned = Descriptor(descriptor);
  }
  input.status = status_of(descriptor);
  input.source = std::make_unique<DescriptorSource>(descriptor);
  return input;
}

// The same for one that is followed, or left when it is silent.
Input open_live_input(const std::string& path, const LiveInputOptions& options) {
  Input input;
  input.name = display_name(path);
  std::unique_ptr<LiveInput> live;
  if (path == kStandardInput) {
    live = std::make_unique<LiveInput>(STDIN_FILENO, options);
  } else {
    live = std::make_unique<LiveInput>(path, options);
  }
  input.status = status_of(live->descriptor());
  input.source = std::move(live);
  return input;
}

std::optional<std::uint64_t> file_size(const Input& input) {
  return S_ISREG(input.status.st_mode) ? std::optional(static_cast<std::uint64_t>(input.status.st_size)) : std::nullopt;
}

std::string left_over_text(const ReportReader& reader) {
  const std::size_t left_over = reader.left_over_bytes();
  return "ends inside a record: at offset " + std::to_string(reader.offset_bytes()) + ", " + std::to_string(left_over) +
         (left_over == 1 ? " byte is" : " bytes are") + " left over of the " + std::to_string(kReportSize) +
         " that a record has";
}

// Told apart from failures of what the records go to.
class InputError : public std::system_error {
 public:
  explicit InputError(const std::system_error& cause) : std::system_error(cause) {}
};

template <typename Read>
auto read_or_throw_input_error(Read read) {
  try {
    return read();
  } catch (const std::system_error& error) {
    throw InputError(error);
  }
}

void read_all(ReportReader& reader, Progress& progress, RecordSink& sink) {
  while (!sink.is_satisfied()) {
    if (read_or_throw_input_error([&] { return reader.would_wait(); })) {
      progress.hide();
      sink.drain();
    }
    const auto records = read_or_throw_input_error([&] { return reader.next(); });
    if (records.empty()) {
      return;
    }
    progress.hide();
    sink.take(records);
    progress.show(reader.offset_bytes(), reader.offset_bytes() / kReportSize);
  }
}

}  // namespace

CaptureInputs::CaptureInputs(const CaptureInputsOptions& options, std::function<bool(const struct stat&)> is_output,
                             std::ostream& messages)
    : options_(options), is_output_(std::move(is_output)), messages_(messages) {}

void CaptureInputs::read_into(RecordSink& sink) {
  if (options_.names.empty()) {
    read_one(kStandardInput, options_.last, sink);
    return;
  }
  for (const std::string& name : options_.names) {
    const bool is_last = &name == &options_.names.back();
    read_one(name, is_last ? options_.last : LiveInputOptions{false, options_.last.idle_timeout}, sink);
    if (sink.is_satisfied()) {
      return;
    }
  }
}

void CaptureInputs::read_one(const std::string& path, const LiveInputOptions& live, RecordSink& sink) {
  std::optional<Input> input;
  try {
    input = live.follow || live.idle_timeout ? open_live_input(path, live) : open_input(path);
  } catch (const std::system_error& error) {
    tell_failure(display_name(path), error.code().message());
    return;
  }
  if (S_ISREG(input->status.st_mode) && is_output_(input->status)) {
    tell_failure(input->name, "this file is the output as well");
    an_input_is_the_output_ = true;
    return;
  }
  Progress progress(options_.progress, input->name, live.follow ? std::nullopt : file_size(*input));
  const auto tell = [&](const std::string& what) {
    progress.hide();
    tell_failure(input->name, what);
  };
  ReportReader reader(*input->source, tell);
  try {
    read_all(reader, progress, sink);
  } catch (const InputError& error) {
    tell(error.code().message());
    return;
  }
  if (!sink.is_satisfied() && reader.left_over_bytes() > 0) {
    tell(left_over_text(reader));
  }
}

void CaptureInputs::tell_failure(const std::string& name, const std::string& what) {
  messages_ << kTool << name << ": " << what << "\n";
  failed_ = true;
}

std::string display_name(const std::string& name) { return name == kStandardInput ? kStandardInputName : name; }

std::uint64_t total_size_bytes(const std::vector<std::string>& names) {
  std::uint64_t total = 0;
  for (const std::string& name : names) {
    std::error_code error;
    if (name == kStandardInput || !std::filesystem::is_regular_file(name, error)) {
      return 0;
    }
    const std::uintmax_t size_bytes = std::filesystem::file_size(name, error);
    total += error ? 0 : size_bytes;
  }
  return total;
}

}  // namespace hub::host
