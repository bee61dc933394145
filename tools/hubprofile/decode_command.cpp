// SPDX-License-Identifier: Apache-2.0
#include "tools/hubprofile/decode_command.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <optional>
#include <string_view>
#include <thread>

#include "host/forms/formats.h"
#include "host/forms/pcapng_format.h"
#include "host/records/record_run.h"
#include "tools/command_line.h"
#include "tools/hubprofile/run_options.h"
#include "tools/hubprofile/selection_options.h"

namespace hub::tools {
namespace {

using namespace hub::host;

enum class ColorWhen { kAuto, kAlways, kNever };

constexpr Word<ColorWhen> kColorWords[] = {
    {"auto", ColorWhen::kAuto},
    {"always", ColorWhen::kAlways},
    {"never", ColorWhen::kNever},
};

constexpr Word<DeltaFrom> kDeltaWords[] = {
    {"prev", DeltaFrom::kPrev},
    {"match", DeltaFrom::kMatch},
    {"start", DeltaFrom::kStart},
};

std::optional<ColorWhen> parse_color_when(const std::string& word) { return value_of(kColorWords, word); }
std::optional<DeltaFrom> parse_delta(const std::string& word) { return value_of(kDeltaWords, word); }

std::optional<const OutputForm*> parse_form(const std::string& name) {
  for (const OutputForm& form : kOutputForms) {
    if (form.name == name) {
      return &form;
    }
  }
  return std::nullopt;
}

constexpr unsigned kMostJobs = 256;

std::optional<unsigned> parse_jobs(const std::string& text) { return parse_number<unsigned>(text, 1, kMostJobs); }
std::optional<std::uint64_t> parse_match_count(const std::string& text) {
  return parse_number<std::uint64_t>(text, 1, std::numeric_limits<std::uint64_t>::max());
}

std::optional<std::string> parse_device(const std::string& name) {
  return !name.empty() && name.size() <= kMaxPcapngTextBytes ? std::optional(name) : std::nullopt;
}

bool is_set(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

bool shows_colors() {
  const char* terminal = std::getenv("TERM");
  const bool is_dumb = terminal != nullptr && std::string_view(terminal) == "dumb";
  return isatty(STDOUT_FILENO) != 0 && !is_dumb && !is_set("NO_COLOR");
}

// All cores for files that take a moment, one thread for anything else.
unsigned usual_jobs(const std::vector<std::string>& inputs) {
  constexpr std::uint64_t kWorthThreads_bytes = 8ULL << 20;
  constexpr unsigned kMostUsualJobs = 8;
  return total_size_bytes(inputs) < kWorthThreads_bytes
             ? 1
             : std::clamp(std::thread::hardware_concurrency(), 1U, kMostUsualJobs);
}

class DecodeCommand {
 public:
  void describe(CLI::App& app) {
    run_.describe_captures(app);
    run_.describe_output(app);
    run_.describe_following(app);
    selection_.describe_records(app);
    selection_.describe_boot_time(app);
    describe_form(app);
    describe_lines(app);
    add_parsed_option(app, "--until-match", most_records_, parse_match_count, "a number of records from 1",
                      "End after this many records")
        ->type_name("N");
    app.add_flag(
        "--gaps", lists_losses_,
        "List gaps, duplicates, records out of order, clocks that go\nbackwards and restarts, one a line, instead of "
        "records");
    add_parsed_option(
        app, "-j,--jobs", jobs_, parse_jobs, "a number of threads from 1 to 256",
        "Threads that decode; the output is the same for every number.\nDefault: all cores for large files. --delta, "
        "--until-match and trace\ngo by one")
        ->type_name("N");
  }

  // What options cannot tell one by one. Throws CLI::ParseError.
  void check(const std::vector<std::string>& words) {
    run_.check(words);
    if (fields_) {
      try {
        columns_ = parse_fields(*fields_);
      } catch (const UnknownField& error) {
        throw CLI::ValidationError("--fields", error.what());
      }
    }
    expect_form(fields_.has_value(), "--fields", "csv");
    expect_form(device_.has_value(), "--device", "pcapng");
    expect_form(delta_.has_value(), "--delta", "text");
    if (lists_losses_ && (form_ || delta_ || most_records_ || selection_.selects())) {
      throw CLI::ValidationError(
          "--gaps",
          "expected without --format, --delta, --until-match, --where, --since and --until, since "
          "it looks at all records and writes none");
    }
    selects_ = selection_.apply();
  }

  int run() {
    const ProfileRunOptions run = run_.get();
    return lists_losses_ ? list_losses(run, std::cerr) : write_records(run, record_options(run), std::cerr);
  }

 private:
  void describe_form(CLI::App& app) {
    add_parsed_option(app, "-f,--format", form_, parse_form, "text, jsonl, csv, pcapng or trace",
                      "How records are written: text (the default), jsonl, csv, pcapng\nor trace (for trace viewers)")
        ->type_name("FORM");
    add_parsed_option(app, "--fields", fields_, parse_text, "names of fields, with commas between them",
                      "The columns of csv: names as in --where, payload, binary-data,\ncalendar-time, boot-timestamp, "
                      "KEY-bytes of a text, KEY-number of\na trace point")
        ->type_name("FIELD,...");
    add_parsed_option(app, "--device", device_, parse_device,
                      "a name of 1 to " + std::to_string(kMaxPcapngTextBytes) + " bytes",
                      "The name of the interface in pcapng. Default: hub0")
        ->type_name("NAME");
  }

  void describe_lines(CLI::App& app) {
    add_parsed_option(app, "--delta", delta_, parse_delta, "prev, match or start",
                      "Show before each line the seconds since the record before it\n(prev), the line before it "
                      "(match) or the first record (start)")
        ->type_name("FROM");
    add_parsed_option(app, "--color", color_, parse_color_when, "auto, always or never",
                      "Colour lines by category: auto (on a terminal, unless NO_COLOR\nis set), always or never")
        ->type_name("WHEN");
  }

  void expect_form(bool is_given, const char* option, std::string_view name) const {
    if (is_given && form_.value_or(&kOutputForms.front())->name != name) {
      throw CLI::ValidationError(option, "expected with --format " + std::string(name) + " alone");
    }
  }

  [[nodiscard]] bool colors(const ProfileRunOptions& run) const {
    switch (color_.value_or(ColorWhen::kAuto)) {
      case ColorWhen::kAlways:
        return true;
      case ColorWhen::kNever:
        return false;
      case ColorWhen::kAuto:
        return is_standard_output(run.output) && shows_colors();
    }
    return false;
  }

  [[nodiscard]] RecordOutputOptions record_options(const ProfileRunOptions& run) const {
    const OutputForm& form = *form_.value_or(&kOutputForms.front());
    FormatOptions options;
    options.annotations = {delta_.value_or(DeltaFrom::kNone), colors(run)};
    options.columns = columns_;
    options.application = "hubprofile " HUB_VERSION;
    options.device = device_.value_or(options.device);
    options.clock_pair = selection_.clock_pair();
    RecordOutputOptions records;
    records.make_format = [&form, options] { return form.make(options); };
    records.selects = selects_;
    const bool is_sequential = form.is_sequential || options.annotations.delta != DeltaFrom::kNone || most_records_;
    records.jobs = is_sequential ? 1 : jobs_.value_or(usual_jobs(run.inputs.names));
    records.most_records = most_records_.value_or(records.most_records);
    return records;
  }

  RunOptions run_;
  SelectionOptions selection_;
  std::optional<const OutputForm*> form_;
  std::optional<std::string> fields_;
  std::optional<std::string> device_;
  std::optional<DeltaFrom> delta_;
  std::optional<ColorWhen> color_;
  std::optional<std::uint64_t> most_records_;
  std::optional<unsigned> jobs_;
  bool lists_losses_ = false;
  std::function<bool(const _HubProfileReport&)> selects_;
  std::vector<CsvColumn> columns_ = parse_fields(kDefaultFields);
};

constexpr const char* kSubcommands =
    "Subcommands:\n"
    "  summary                     Figures of captures instead of their records\n"
    "  compare                     The figures of two captures side by side\n"
    "A capture of that name: ./summary";

}  // namespace

int decode_command(const std::vector<std::string>& words) {
  CLI::App app("Decodes profile reports: raw 48-byte records, one line of text each.", "hubprofile");
  app.set_version_flag("--version", "hubprofile " HUB_VERSION);
  app.footer(kSubcommands);
  DecodeCommand command;
  command.describe(app);
  const auto exit_status = parse_command_line(app, [&] {
    app.parse(std::vector(words));
    command.check(words);
  });
  return exit_status ? *exit_status : command.run();
}

}  // namespace hub::tools
