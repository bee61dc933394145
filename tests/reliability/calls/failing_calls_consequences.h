// SPDX-License-Identifier: Apache-2.0
// The words in which it is said what a call that fails may change.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "mach/mach_error.h"
#include "tests/reliability/calls/failing_calls.h"

namespace hub::test {

// A key and its value; kGone: there is none, and with a key that ends with "*" none that begins so.
using Change = std::pair<std::string, std::string>;
inline const std::string kGone = "(gone)";

inline void erase_beginning(Outcome& outcome, std::string_view beginning) {
  std::erase_if(outcome, [&](const auto& pair) { return pair.first.starts_with(beginning); });
}

inline std::string replaced(std::string text, const std::string& mark, const std::string& by) {
  for (std::size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at + by.size())) {
    text.replace(at, mark.size(), by);
  }
  return text;
}

// {code} and {text} stand for the failure's code and what the platform says of it.
inline std::string filled_in(const std::string& text, std::int32_t code) {
  char digits[16];
  std::snprintf(digits, sizeof digits, "%x", static_cast<unsigned>(code));
  const char* said = mach_error_string(code);
  return replaced(replaced(text, "{code}", digits), "{text}", said != nullptr ? said : "");
}

inline void apply(Outcome& outcome, const std::vector<Change>& changes, std::int32_t code) {
  for (const auto& [key, value] : changes) {
    if (key.ends_with('*')) {
      erase_beginning(outcome, std::string_view(key).substr(0, key.size() - 1));
    } else if (value == kGone) {
      outcome.erase(key);
    } else {
      outcome[key] = filled_in(value, code);
    }
  }
}

inline Consequence nothing() {
  return [](const Known& known, const Failure&) { return std::vector{known.undisturbed}; };
}

// All of these changes.
inline Consequence changes(std::vector<Change> all) {
  return [all = std::move(all)](const Known& known, const Failure& failure) {
    Outcome outcome = known.undisturbed;
    apply(outcome, all, failure.code);
    return std::vector{outcome};
  };
}

// One of the values whose keys begin so becomes another, and then these changes besides.
inline Consequence one_becomes(std::string beginning, std::string (*changed)(const std::string& value),
                               std::vector<Change> besides = {}) {
  return [beginning = std::move(beginning), changed, besides = std::move(besides)](const Known& known,
                                                                                   const Failure& failure) {
    std::vector<Outcome> outcomes;
    for (const auto& [key, value] : known.undisturbed) {
      if (key.starts_with(beginning)) {
        Outcome outcome = known.undisturbed;
        apply(outcome, {{key, changed(value)}}, failure.code);
        apply(outcome, besides, failure.code);
        outcomes.push_back(std::move(outcome));
      }
    }
    return outcomes;
  };
}

// One of the values whose keys begin so is not there.
inline Consequence one_is_lost(std::string beginning) {
  return one_becomes(std::move(beginning), [](const std::string&) { return kGone; });
}

// One of the values whose keys begin so is as if the kernel had not answered this number.
inline Consequence one_lacks(std::string beginning, std::string number) {
  return [beginning = std::move(beginning), number = std::move(number)](const Known& known, const Failure&) {
    std::vector<Outcome> outcomes;
    for (const auto& [key, value] : known.without.at(number)) {
      if (key.starts_with(beginning)) {
        Outcome outcome = known.undisturbed;
        outcome[key] = value;
        outcomes.push_back(std::move(outcome));
      }
    }
    return outcomes;
  };
}

// What stands between a line's item and the next one, with the item.
inline std::string without_item(const std::string& line, const std::string& item) {
  const std::size_t begin = line.find(", '" + item + "':");
  const std::size_t end = line.find_first_of(",}", begin + 1);
  return begin == std::string::npos ? line : line.substr(0, begin) + line.substr(end);
}

inline std::string without_calendar_time(const std::string& line) { return without_item(line, "calendar-time"); }
inline std::string without_boot_time(const std::string& line) { return without_item(line, "boot-timestamp"); }

// Promises of several functions that are the same.
inline std::vector<Promise> each(std::initializer_list<platform::Fallible> functions, const std::string& consequence,
                                 const Consequence& outcomes) {
  std::vector<Promise> promises;
  for (const platform::Fallible function : functions) {
    promises.push_back({function, consequence, outcomes});
  }
  return promises;
}

inline std::vector<Change> operator+(std::vector<Change> first, const std::vector<Change>& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

inline std::vector<Promise> operator+(std::vector<Promise> first, const std::vector<Promise>& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

}  // namespace hub::test
