// SPDX-License-Identifier: Apache-2.0
#include "tools/hubprofile/summary_command.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <limits>
#include <optional>

#include "host/figures/comparison_json.h"
#include "host/figures/comparison_text.h"
#include "host/figures/figures_run.h"
#include "host/figures/summary_json.h"
#include "host/figures/summary_text.h"
#include "tools/command_line.h"
#include "tools/hubprofile/run_options.h"
#include "tools/hubprofile/selection_options.h"

namespace hub::tools {
namespace {

using namespace hub::host;

constexpr std::size_t kLeastWidth = 40;
constexpr std::size_t kMostWidth = 10'000;

std::optional<std::size_t> parse_width(const std::string& text) {
  return parse_number<std::size_t>(text, kLeastWidth, kMostWidth);
}

std::optional<std::size_t> parse_rows(const std::string& text) {
  return parse_number<std::size_t>(text, 1, std::numeric_limits<std::size_t>::max());
}

// That of the terminal, or what the environment says; elsewhere what fits most readers.
std::size_t usual_width() {
  constexpr std::size_t kElsewhere = 80;
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
    return size.ws_col;
  }
  const char* columns = std::getenv("COLUMNS");
  return columns != nullptr ? parse_width(columns).value_or(kElsewhere) : kElsewhere;
}

// The form in which figures are shown.
class FigureOptions {
 public:
  void describe(CLI::App& app) {
    app.add_flag("--json", json_, "One JSON object with all rows, for tools");
    add_parsed_option(app, "--width", width_, parse_width, "a number of columns from 40 to 10000",
                      "How wide lines may be. Default: the terminal's width, or 80")
        ->type_name("COLUMNS");
    add_parsed_option(app, "--rows", rows_, parse_rows, "a number of rows from 1",
                      "How many rows a table may have. Default: 20")
        ->type_name("N");
  }

  [[nodiscard]] bool is_json() const { return json_; }
  [[nodiscard]] std::size_t width() const { return width_.value_or(usual_width()); }
  [[nodiscard]] std::size_t rows() const { return rows_.value_or(kRowsShown); }

 private:
  bool json_ = false;
  std::optional<std::size_t> width_;
  std::optional<std::size_t> rows_;
};

// What both commands are told.
struct Options {
  RunOptions run;
  SelectionOptions selection;
  FigureOptions figures;
  RecordPredicate selects;

  void describe(CLI::App& app) {
    run.describe_output(app);
    selection.describe_records(app);
    figures.describe(app);
  }

  // Reads the command line. Nothing when all is well; else what the command exits with.
  std::optional<int> parse(
      CLI::App& app, const std::vector<std::string>& words, const std::function<void()>& check = [] {}) {
    return parse_command_line(app, [&] {
      app.parse(std::vector(words));
      run.check(words);
      check();
      selects = selection.apply();
    });
  }
};

}  // namespace

int summary_command(const std::vector<std::string>& words) {
  CLI::App app("Shows figures of captures: how often what came, how long functions took, how presses were answered.",
               "hubprofile summary");
  Options options;
  options.run.describe_captures(app);
  options.describe(app);
  options.run.describe_following(app);
  if (const auto exit_status = options.parse(app, words)) {
    return *exit_status;
  }
  const auto text_of = [&options](const CaptureSummary& summary) {
    return options.figures.is_json() ? summary_json(summary)
                                     : summary_text(summary, options.figures.width(), options.figures.rows());
  };
  return write_summary(options.run.get(), options.selects, text_of, std::cerr);
}

int compare_command(const std::vector<std::string>& words) {
  CLI::App app("Shows the figures of two captures side by side, what changed most first.", "hubprofile compare");
  Options options;
  options.run.describe_two_captures(app);
  options.describe(app);
  if (const auto exit_status = options.parse(app, words, [&options] { options.run.check_two_captures(); })) {
    return *exit_status;
  }
  const auto text_of = [&options](const NamedSummary& a, const NamedSummary& b) {
    return options.figures.is_json() ? comparison_json(a, b)
                                     : comparison_text(a, b, options.figures.width(), options.figures.rows());
  };
  return write_comparison(options.run.get(), options.selects, text_of, std::cerr);
}

}  // namespace hub::tools
