// SPDX-License-Identifier: Apache-2.0
// What the commands' main functions share: words, options, and the ends of a command.
#pragma once

#include <CLI/CLI.hpp>
#include <charconv>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace hub::tools {

inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;
inline constexpr int kUsageError = 2;

// An option whose text `parse` turns into `value`; what was `expected` is told when it cannot.
template <typename Value, typename Parse>
CLI::Option* add_parsed_option(CLI::App& app, const std::string& name, std::optional<Value>& value, Parse parse,
                               const std::string& expected, const std::string& description) {
  return app.add_option_function<std::string>(
      name,
      [&value, name, parse, expected](const std::string& text) {
        value = parse(text);
        if (!value) {
          throw CLI::ValidationError(name.substr(name.find("--")), "expected " + expected + ", not \"" + text + "\"");
        }
      },
      description);
}

// The value of a word in a list of them; nothing when the word is not there.
template <typename Value>
struct Word {
  const char* word;
  Value value;
};
template <typename Value, std::size_t kCount>
std::optional<Value> value_of(const Word<Value> (&words)[kCount], const std::string& text) {
  for (const Word<Value>& known : words) {
    if (text == known.word) {
      return known.value;
    }
  }
  return std::nullopt;
}

// What can name a file: a text that is not empty.
inline std::optional<std::string> parse_file_name(const std::string& name) {
  return name.empty() ? std::nullopt : std::optional(name);
}
// Any text that is not empty, for options whose value is understood later.
inline std::optional<std::string> parse_text(const std::string& text) { return parse_file_name(text); }

// A decimal number without a sign from `least` to `most`, and nothing else.
template <typename Number>
std::optional<Number> parse_number(const std::string& text, Number least, Number most) {
  Number number{};
  const char* end = text.data() + text.size();
  const auto [stopped_at, error] = std::from_chars(text.data(), end, number);
  const bool is_number = error == std::errc() && stopped_at == end;
  return is_number && number >= least && number <= most ? std::optional(number) : std::nullopt;
}

inline constexpr char kFileNameExpected[] = "FILE, a name that is not empty";

// The words as CLI11 takes them, last first. It would take one in brackets apart as a list; "./" in front makes it
// another name of the same file.
std::vector<std::string> reversed_words(int count, char** words);

// Lets `parse` read the command line. Nothing when all is well; else what the command exits with: help and version were
// shown, or a sentence about what is wrong.
std::optional<int> parse_command_line(CLI::App& app, const std::function<void()>& parse);

// Runs a command: closed standard streams and signals of writing do no harm in it, and an exception ends it with a
// sentence.
int run_command(const std::string& name, const std::function<int()>& command);

}  // namespace hub::tools
