// SPDX-License-Identifier: Apache-2.0
// make_capture: turns a listing of profile reports, as people write it, into the bytes that the co-processor would
// send.
//
// Reads the listing on standard input, writes 48-byte records to standard output. README.md beside this file describes
// the listing. Names and payload fields are those of the decoder's own tables: what a line of hubprofile shows as "
// 'thread-id': 12," is written as thread-id=12. A listing that is wrong is answered with its line and what was
// expected; nothing is written then.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <functional>
#include <iostream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "profile/NEBLogDecoder.h"
#include "profile/catalogue.h"

namespace {

using hub::profile::Field;
using hub::profile::Form;
using hub::profile::Layout;
using hub::profile::Rendering;

// What is wrong with a line.
class ListingError : public std::runtime_error {
  using runtime_error::runtime_error;
};

// How far a repeated line has come: value a..b goes from a at the first repetition to b at the last.
struct Repetition {
  std::int64_t index = 0;
  std::int64_t count = 1;
};

// A decimal or 0x-hexadecimal number; nothing when the text is anything else.
std::optional<std::int64_t> parse_number(std::string_view text) {
  const bool is_hexadecimal = text.starts_with("0x");
  const std::string_view digits = is_hexadecimal ? text.substr(2) : text;
  std::int64_t number = 0;
  const char* end = digits.data() + digits.size();
  const auto [stopped_at, error] = std::from_chars(digits.data(), end, number, is_hexadecimal ? 16 : 10);
  return error == std::errc() && stopped_at == end ? std::optional(number) : std::nullopt;
}

// A number, or the one that a range a..b has reached.
std::int64_t number_in(std::string_view text, const Repetition& repetition) {
  const std::size_t dots = text.find("..");
  const auto first = parse_number(text.substr(0, dots));
  const auto last = dots == std::string_view::npos ? first : parse_number(text.substr(dots + 2));
  if (!first || !last) {
    throw ListingError("expected a number or a range of numbers, not \"" + std::string(text) + "\"");
  }
  return repetition.count > 1 ? *first + (*last - *first) * repetition.index / (repetition.count - 1) : *first;
}

// "+250us", "+12ms" or "+3s" in microseconds.
std::uint64_t parse_delay_us(std::string_view text) {
  struct Unit {
    std::string_view name;
    std::uint64_t microseconds;
  };
  for (const Unit& unit : {Unit{"us", 1}, Unit{"ms", 1000}, Unit{"s", 1'000'000}}) {
    if (text.starts_with("+") && text.ends_with(unit.name)) {
      if (const auto number = parse_number(text.substr(1, text.size() - 1 - unit.name.size()));
          number && *number >= 0) {
        return static_cast<std::uint64_t>(*number) * unit.microseconds;
      }
    }
  }
  throw ListingError("expected a delay such as +250us, +12ms or +3s, not \"" + std::string(text) + "\"");
}

// The number that a decoder gives this name, from 0 to `last`. A number without a name is its own.
std::uint32_t id_named(std::string_view word, std::uint32_t last, const std::string& what,
                       const std::function<std::string(std::uint32_t)>& name_of) {
  for (std::uint32_t id = 0; id <= last; ++id) {
    if (name_of(id) == word) {
      return id;
    }
  }
  throw ListingError("there is no " + what + " \"" + std::string(word) + "\"");
}

std::uint8_t byte_named(std::string_view word, const std::string& what,
                        const std::function<std::string(std::uint32_t)>& name_of) {
  return static_cast<std::uint8_t>(id_named(word, 255, what, name_of));
}

std::string subtype_name(const _HubProfileReport& report, std::uint32_t subtype) {
  return report.category_id == 7 ? NEBLogDecoder::_sshb.subtype_name(report.component_id, subtype)
                                 : NEBLogDecoder::_haptics.subtype_name(report.component_id, subtype);
}

void store(_HubProfileReport& report, const Field& field, std::uint64_t value) {
  if (field.kind.width_bytes < 8 && value >> (8 * field.kind.width_bytes) != 0) {
    throw ListingError("the value of \"" + std::string(field.key) + "\" does not fit its " +
                       std::to_string(field.kind.width_bytes) + " bytes");
  }
  for (std::size_t index = 0; index < field.kind.width_bytes; ++index) {
    report.payload[field.at + index] = static_cast<std::uint8_t>(value >> (8 * index));
  }
}

void store_text(_HubProfileReport& report, const Field& field, std::string_view text) {
  if (text.size() > field.kind.width_bytes) {
    throw ListingError("\"" + std::string(text) + "\" is longer than the " + std::to_string(field.kind.width_bytes) +
                       " bytes of \"" + std::string(field.key) + "\"");
  }
  text.copy(reinterpret_cast<char*>(report.payload) + field.at, text.size());
}

void store_real(_HubProfileReport& report, const Field& field, std::string_view text) {
  double value = 0;
  const char* end = text.data() + text.size();
  if (std::from_chars(text.data(), end, value).ptr != end) {
    throw ListingError("expected a decimal fraction, not \"" + std::string(text) + "\"");
  }
  const auto raw = static_cast<std::int32_t>(std::lround(std::ldexp(value, field.kind.detail)));
  store(report, field, static_cast<std::uint32_t>(raw));
}

void store_bytes(_HubProfileReport& report, const Field& field, std::string_view text) {
  if (text.size() % 2 != 0 || text.size() / 2 > field.kind.width_bytes) {
    throw ListingError("expected at most " + std::to_string(field.kind.width_bytes) + " bytes in hexadecimal");
  }
  for (std::size_t index = 0; index < text.size() / 2; ++index) {
    const auto byte = parse_number("0x" + std::string(text.substr(2 * index, 2)));
    if (!byte) {
      throw ListingError("expected bytes in hexadecimal, not \"" + std::string(text) + "\"");
    }
    report.payload[field.at + index] = static_cast<std::uint8_t>(*byte);
  }
}

void store_value(_HubProfileReport& report, const Field& field, std::string_view text, const Repetition& repetition) {
  switch (field.kind.form) {
    case Form::kUnsigned:
      store(report, field, static_cast<std::uint64_t>(number_in(text, repetition)));
      break;
    case Form::kSubtype:
      store(report, field,
            id_named(text, 1000, "trace point", [&](std::uint32_t id) { return subtype_name(report, id); }));
      break;
    case Form::kText:
      store_text(report, field, text);
      break;
    case Form::kFixedPoint:
      store_real(report, field, text);
      break;
    case Form::kBytes:
      store_bytes(report, field, text);
      break;
    case Form::kQuotedHex:
    case Form::kConstant:
      throw ListingError("\"" + std::string(field.key) + "\" is not a field of the payload: it only repeats one");
  }
}

// The row of a key in the layouts that the report has by now: a context's version, once stored, decides about the rest.
const Field& field_of(const _HubProfileReport& report, std::string_view key) {
  const Rendering rendering = hub::profile::rendering_of(report);
  for (const Layout* layout : {rendering.first, rendering.second}) {
    if (layout == nullptr) {
      continue;
    }
    for (const Field& field : layout->fields) {
      if (field.key == key) {
        return field;
      }
    }
  }
  throw ListingError("this report has no field \"" + std::string(key) + "\"");
}

// A context without a version has no layout yet, so its first field is stored by hand.
void store_field(_HubProfileReport& report, std::string_view key, std::string_view text, const Repetition& repetition) {
  static constexpr Field kContextVersion{0, hub::profile::u16, "context-version"};
  store_value(report, key == kContextVersion.key ? kContextVersion : field_of(report, key), text, repetition);
}

// CATEGORY COMPONENT EVENT TYPE KEY=VALUE..., without sequence number and time.
_HubProfileReport parse_report(std::istringstream& words, const Repetition& repetition) {
  _HubProfileReport report{};
  std::string category;
  std::string component;
  std::string event;
  std::string type;
  if (!(words >> category >> component >> event >> type)) {
    throw ListingError("expected a delay, category, component, event and type");
  }
  report.category_id = byte_named(category, "category", NEBLogDecoder::category_to_string);
  profile_decoder& decoder = report.category_id < NEBLogDecoder::kCategoryCount
                                 ? *NEBLogDecoder::_decoders[report.category_id]
                                 : NEBLogDecoder::_default;
  report.component_id =
      byte_named(component, "component of " + category, [&](std::uint32_t id) { return decoder.component_name(id); });
  report.event_id = byte_named(event, "event of " + component,
                               [&](std::uint32_t id) { return decoder.event_name(report.component_id, id); });
  report.type_id = byte_named(type, "type", profile_decoder::type_name);
  for (std::string assignment; words >> assignment;) {
    const std::size_t equals = assignment.find('=');
    if (equals == std::string::npos) {
      throw ListingError("expected KEY=VALUE, not \"" + assignment + "\"");
    }
    store_field(report, std::string_view(assignment).substr(0, equals), std::string_view(assignment).substr(equals + 1),
                repetition);
  }
  return report;
}

struct Line {
  std::size_t number;
  std::string text;
};

// Does something for a line; what is wrong with it is told with its number.
template <typename Action>
void at_line(const Line& line, const Action& action) {
  try {
    action();
  } catch (const ListingError& error) {
    throw std::runtime_error("line " + std::to_string(line.number) + ": " + error.what());
  }
}

// The co-processor as the listing drives it: a clock and a counter, and the records so far.
class Capture {
 public:
  // Plays lines in order; a "repeat N" plays those up to its "end" N times.
  void play(const std::vector<Line>& lines) {
    for (std::size_t at = 0; at < lines.size(); ++at) {
      if (lines[at].text.starts_with("repeat ")) {
        at = play_repeated(lines, at);
      } else {
        play_line(lines[at], {});
      }
    }
  }

  [[nodiscard]] const std::string& bytes() const { return bytes_; }

 private:
  // Returns the place of the "end".
  std::size_t play_repeated(const std::vector<Line>& lines, std::size_t begin) {
    Repetition repetition;
    std::size_t end = begin + 1;
    at_line(lines[begin], [&] {
      std::istringstream words(lines[begin].text.substr(std::strlen("repeat ")));
      repetition.count = count_in(words);
      while (end < lines.size() && lines[end].text != "end") {
        ++end;
      }
      if (end == lines.size()) {
        throw ListingError("\"repeat\" without \"end\"");
      }
    });
    for (; repetition.index < repetition.count; ++repetition.index) {
      for (std::size_t at = begin + 1; at < end; ++at) {
        play_line(lines[at], repetition);
      }
    }
    return end;
  }

  void play_line(const Line& line, const Repetition& repetition) {
    at_line(line, [&] {
      std::istringstream words(line.text);
      std::string first;
      words >> first;
      if (first == "lost") {
        sequence_num_ += static_cast<std::uint32_t>(count_in(words));
        return;
      }
      time_us_ += parse_delay_us(first);
      _HubProfileReport report = parse_report(words, repetition);
      report.sequence_num = sequence_num_++;
      report.timestamp = time_us_;
      bytes_.append(reinterpret_cast<const char*>(&report), sizeof report);
    });
  }

  static std::int64_t count_in(std::istringstream& words) {
    std::string word;
    words >> word;
    const auto count = parse_number(word);
    if (!count || *count < 1) {
      throw ListingError("expected a count of 1 or more, not \"" + word + "\"");
    }
    return *count;
  }

  std::uint64_t time_us_ = 0;
  std::uint32_t sequence_num_ = 0;
  std::string bytes_;
};

// The lines that say something, without comments and blanks around them.
std::vector<Line> read_lines(std::istream& listing) {
  std::vector<Line> lines;
  std::string text;
  for (std::size_t number = 1; std::getline(listing, text); ++number) {
    text.resize(std::min(text.size(), text.find('#')));
    const std::size_t begin = text.find_first_not_of(" \t");
    if (begin != std::string::npos) {
      lines.push_back({number, text.substr(begin, text.find_last_not_of(" \t") + 1 - begin)});
    }
  }
  return lines;
}

}  // namespace

int main() {
  try {
    Capture capture;
    capture.play(read_lines(std::cin));
    std::cout << capture.bytes() << std::flush;
    return std::cout.good() ? 0 : 1;
  } catch (const std::exception& error) {
    std::cerr << "make_capture: " << error.what() << "\n";
    return 2;
  }
}
