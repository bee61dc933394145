// SPDX-License-Identifier: Apache-2.0
#include "host/filter/time_window.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <ctime>
#include <string>
#include <vector>

#include "host/filter/filter_error.h"

namespace hub::host {
namespace {

constexpr std::int64_t kMicrosecondsPerSecond = 1'000'000;
constexpr std::int64_t kNanosecondsPerMicrosecond = 1000;
constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

// Towards the lower one, unlike "/".
std::int64_t floor_divide(std::int64_t number, std::int64_t divisor) {
  return number / divisor - (number % divisor < 0 ? 1 : 0);
}

std::tm local_time(std::int64_t seconds) {
  const auto time = static_cast<std::time_t>(seconds);
  std::tm local{};
  tzset();  // localtime_r alone need not notice that TZ has changed
  localtime_r(&time, &local);
  return local;
}

// What stands in a calendar time; as written, so perhaps no time that there is.
struct Written {
  int year = 0;
  int month = 0;  // from 1
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
  int microsecond = 0;
};

bool shows(const std::tm& clock, const Written& written) {
  return clock.tm_year + 1900 == written.year && clock.tm_mon + 1 == written.month && clock.tm_mday == written.day &&
         clock.tm_hour == written.hour && clock.tm_min == written.minute && clock.tm_sec == written.second;
}

// The seconds that there would be if the zone were that of Greenwich; of a day that there is not, any.
std::int64_t seconds_in_greenwich(const Written& written) {
  std::tm clock{};
  clock.tm_year = written.year - 1900;
  clock.tm_mon = written.month - 1;
  clock.tm_mday = written.day;
  clock.tm_hour = written.hour;
  clock.tm_min = written.minute;
  clock.tm_sec = written.second;
  return timegm(&clock);
}

// Every second at which local clocks show this, the earliest first. The zone is never further from Greenwich than a
// day, so that what is its distance then is among those of the days around.
std::vector<std::int64_t> seconds_that_show(const Written& written) {
  constexpr std::int64_t kDay = std::int64_t{24} * 60 * 60;
  const std::int64_t near = seconds_in_greenwich(written);
  std::vector<std::int64_t> found;
  for (const std::int64_t around : {near - kDay, near, near + kDay}) {
    const std::int64_t candidate = near - local_time(around).tm_gmtoff;
    if (shows(local_time(candidate), written)) {
      found.push_back(candidate);
    }
  }
  std::sort(found.begin(), found.end());
  return found;
}

// Reads a calendar time from left to right. A part that is not there leaves false behind, and the rest undone.
class Reader {
 public:
  explicit Reader(std::string_view text) : rest_(text) {}

  [[nodiscard]] bool at_end() const { return rest_.empty(); }

  // So many digits, not more and not fewer.
  bool number(std::size_t digits, int& number) {
    const std::string_view part = rest_.substr(0, digits);
    const auto [stopped_at, error] = std::from_chars(part.data(), part.data() + part.size(), number);
    if (part.size() != digits || part.starts_with('-') || error != std::errc() || stopped_at != part.end()) {
      return false;
    }
    rest_.remove_prefix(digits);
    return true;
  }

  bool one_of(std::string_view characters) {
    const bool is_there = !rest_.empty() && characters.find(rest_.front()) != std::string_view::npos;
    rest_.remove_prefix(is_there ? 1 : 0);
    return is_there;
  }

  bool month_name(int& month) {
    static constexpr std::array<std::string_view, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const auto* name = std::find(kMonths.begin(), kMonths.end(), rest_.substr(0, 3));
    if (name == kMonths.end()) {
      return false;
    }
    month = static_cast<int>(name - kMonths.begin()) + 1;
    rest_.remove_prefix(name->size());
    return true;
  }

  bool fraction(int& microsecond) {
    int weight = kMicrosecondsPerSecond / 10;
    int digit = 0;
    for (; weight > 0 && number(1, digit); weight /= 10) {
      microsecond += weight * digit;
    }
    return weight < kMicrosecondsPerSecond / 10;
  }

 private:
  std::string_view rest_;
};

// To the end of the text.
bool read_clock(Reader& reader, Written& written) {
  return reader.number(2, written.hour) && reader.one_of(":") && reader.number(2, written.minute) &&
         reader.one_of(":") && reader.number(2, written.second) &&
         (reader.at_end() || (reader.one_of(".") && reader.fraction(written.microsecond) && reader.at_end()));
}

// What a form does not say is as it was.
bool read_date_and_clock(Reader reader, Written& written) {
  return reader.number(4, written.year) && reader.one_of("-") && reader.number(2, written.month) &&
         reader.one_of("-") && reader.number(2, written.day) && reader.one_of(" T") && read_clock(reader, written);
}

bool read_line_form(Reader reader, Written& written) {
  return reader.month_name(written.month) && reader.one_of(" ") && reader.number(2, written.day) &&
         reader.one_of(" ") && read_clock(reader, written);
}

bool read_clock_alone(Reader reader, Written& written) { return read_clock(reader, written); }

constexpr bool (*kForms[])(Reader reader, Written& written) = {read_date_and_clock, read_line_form, read_clock_alone};

// A calendar time in one of the forms; day and year of the pair where it has none.
std::optional<Written> read_calendar_time(std::string_view text, const ClockPair& pair) {
  const std::tm of_pair = local_time(floor_divide(pair.calendar, kNanosecondsPerSecond));
  for (const auto read : kForms) {
    Written written{of_pair.tm_year + 1900, of_pair.tm_mon + 1, of_pair.tm_mday};
    if (read(Reader(text), written)) {
      return written;
    }
  }
  return std::nullopt;
}

// The first co-processor time that a line shows as this calendar time, both in microseconds. A line shows
// (timestamp * 1000 + difference) / 1000, in unsigned numbers of 64 bits that wrap. So with a negative difference the
// first times stand at the far end of the calendar, and are found there.
std::uint64_t hub_time_of(std::int64_t calendar_us, const ClockPair& pair) {
  const std::uint64_t difference = static_cast<std::uint64_t>(pair.calendar) - static_cast<std::uint64_t>(pair.hub);
  const auto origin_at_far_end = static_cast<std::int64_t>(difference / kNanosecondsPerMicrosecond);
  const std::int64_t origin = floor_divide(static_cast<std::int64_t>(difference), kNanosecondsPerMicrosecond);
  const bool is_at_far_end = origin < 0 && calendar_us >= origin_at_far_end;
  return static_cast<std::uint64_t>(
      std::max<std::int64_t>(0, calendar_us - (is_at_far_end ? origin_at_far_end : origin)));
}

constexpr const char* kForm = "2026-03-04 08:15:00, Mar 04 08:15:00.925970 or 08:15:00";

bool is_number(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

std::uint64_t parse_microseconds(std::string_view text) {
  std::uint64_t time_us = 0;
  if (std::from_chars(text.data(), text.data() + text.size(), time_us).ec != std::errc()) {
    throw TimeBoundError(quoted_briefly(text) + ": expected microseconds of at most 64 bits");
  }
  return time_us;
}

}  // namespace

std::uint64_t parse_time_bound(std::string_view text, TimeBound bound, const std::optional<ClockPair>& pair) {
  if (is_number(text)) {
    return parse_microseconds(text);
  }
  const std::string beginning = quoted_briefly(text) + ": ";
  const auto written = read_calendar_time(text, pair.value_or(ClockPair{0, 0}));
  if (!written) {
    throw TimeBoundError(beginning + "expected co-processor time in microseconds, or calendar time such as " + kForm);
  }
  if (!pair) {
    throw TimeBoundError(beginning + "expected co-processor time in microseconds; calendar time needs the clock pair");
  }
  const std::vector<std::int64_t> seconds = seconds_that_show(*written);
  if (seconds.empty()) {
    throw TimeBoundError(beginning + "expected a time that there is in the local time zone");
  }
  const std::int64_t second = bound == TimeBound::kSince ? seconds.front() : seconds.back();
  return hub_time_of(second * kMicrosecondsPerSecond + written->microsecond, *pair);
}

}  // namespace hub::host
