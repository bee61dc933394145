// SPDX-License-Identifier: Apache-2.0
#include "host/capture_decode.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <optional>
#include <ostream>
#include <system_error>

#include "host/descriptor.h"
#include "host/output_file.h"
#include "host/report_lines.h"
#include "host/report_reader.h"

namespace hub::host {
namespace {

constexpr const char* kTool = "hubprofile: ";
constexpr const char* kStandardStream = "-";

// Output that fails ends the run, input that fails ends with the input: told apart by type.
class OutputError : public std::system_error {
 public:
  explicit OutputError(const std::system_error& cause) : std::system_error(cause) {}
};

// One opened input.
struct Input {
  std::string name;  // for messages
  Descriptor owned;
  int descriptor;
  struct stat status;
};

Input open_input(const std::string& path) {
  Input input{path, Descriptor(), STDIN_FILENO, {}};
  if (path == kStandardStream) {
    input.name = "standard input";
  } else {
    input.owned = Descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    input.descriptor = input.owned.number();
  }
  if (input.descriptor < 0 || fstat(input.descriptor, &input.status) != 0) {
    throw std::system_error(errno, std::generic_category());
  }
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

class CaptureDecode {
 public:
  CaptureDecode(OutputFile& output, ProgressWhen progress, std::ostream& messages)
      : output_(output), progress_when_(progress), messages_(messages) {}

  // Decodes one input to its end. What is wrong with it is told and remembered, and is no reason to stop.
  void decode(const std::string& path) {
    std::string name = path;
    try {
      const Input input = open_input(path);
      name = input.name;
      decode_input(input);
    } catch (const OutputError&) {
      throw;
    } catch (const std::system_error& error) {
      tell_input_error(name, error.code().message());
    }
  }

  // Makes the output appear, tells what was left out, and gives the exit status. An input that the output would replace
  // stays: nothing else has what is in it.
  int finish() {
    if (!an_input_is_the_output_) {
      output_.complete();
    }
    if (records_without_line_ > 0) {
      messages_ << kTool << records_without_line_ << (records_without_line_ == 1 ? " record has" : " records have")
                << " no line: the text in it is not valid UTF-8\n";
    }
    return an_input_failed_ ? 1 : 0;
  }

 private:
  void decode_input(const Input& input) {
    if (S_ISREG(input.status.st_mode) && output_.concerns(input.status)) {
      tell_input_error(input.name, "this file is the output as well");
      an_input_is_the_output_ = true;
      return;
    }
    ReportReader reader(input.descriptor);
    {
      Progress progress(progress_when_, input.name, file_size(input));
      for (auto reports = reader.next(); !reports.empty(); reports = reader.next()) {
        text_.clear();
        records_without_line_ += append_lines(reports, text_);
        progress.hide();
        write_text();
        progress.show(reader.offset_bytes(), reader.offset_bytes() / kReportSize);
      }
    }
    if (reader.left_over_bytes() > 0) {
      tell_input_error(input.name, left_over_text(reader));
    }
  }

  void write_text() {
    try {
      output_.write(text_);
    } catch (const std::system_error& error) {
      throw OutputError(error);
    }
  }

  void tell_input_error(const std::string& name, const std::string& what) {
    messages_ << kTool << name << ": " << what << "\n";
    an_input_failed_ = true;
  }

  OutputFile& output_;
  ProgressWhen progress_when_;
  std::ostream& messages_;
  std::string text_;  // reused from block to block
  std::uint64_t records_without_line_ = 0;
  bool an_input_failed_ = false;
  bool an_input_is_the_output_ = false;
};

int decode_into(OutputFile& output, const CaptureDecodeOptions& options, std::ostream& messages) {
  CaptureDecode run(output, options.progress, messages);
  if (options.inputs.empty()) {
    run.decode(kStandardStream);
  }
  for (const std::string& input : options.inputs) {
    run.decode(input);
  }
  return run.finish();
}

}  // namespace

int decode_captures(const CaptureDecodeOptions& options, std::ostream& messages) {
  const bool to_standard_output = options.output.empty() || options.output == kStandardStream;
  try {
    if (to_standard_output) {
      OutputFile output;
      return decode_into(output, options, messages);
    }
    OutputFile output(options.output);
    return decode_into(output, options, messages);
  } catch (const std::system_error& error) {
    if (error.code() == std::errc::broken_pipe) {
      return kReaderGoneStatus;
    }
    messages << kTool << (to_standard_output ? "standard output" : options.output) << ": " << error.code().message()
             << "\n";
    return 1;
  }
}

}  // namespace hub::host
