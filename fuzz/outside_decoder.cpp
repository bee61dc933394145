// SPDX-License-Identifier: Apache-2.0
// Decoders of others: a class outside of the family, which answers as a category's own decoder does, gives that
// category's line of any report, whatever it did to its stream before and whether or not it had another report decoded
// in mid-line. The first byte of the input says what the outside decoder does; two reports follow.
#include <algorithm>
#include <cerrno>
#include <iomanip>
#include <locale>
#include <stdexcept>
#include <string>

#include "fuzz/fuzzing.h"
#include "profile/NEBLogDecoder.h"
#include "system/system_host.h"

namespace {

using hub::fuzz::require;

// What it does in the middle of its line, one bit each.
enum Habit : std::uint8_t {
  kNests = 1,        // has the other report decoded
  kDisarranges = 2,  // leaves the stream in another state, for the line after this one
  kThrows = 4,       // gives up in mid-line
};

profile_decoder& registered(const _HubProfileReport& report) {
  return report.category_id < NEBLogDecoder::kCategoryCount ? *NEBLogDecoder::_decoders[report.category_id]
                                                            : NEBLogDecoder::_default;
}

struct GivesUp : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Answers each slot by what the registered decoder answers.
class OutsideDecoder final : public profile_decoder {
 public:
  OutsideDecoder(profile_decoder& like, std::uint8_t habits, const _HubProfileReport& other)
      : like_(like), habits_(habits), other_(other) {}

  std::string category_name(unsigned int category) override { return like_.category_name(category); }
  std::string component_name(unsigned int component) override { return like_.component_name(component); }
  std::string event_name(unsigned int component, unsigned int event) override {
    return like_.event_name(component, event);
  }

  void parse_datatype(std::stringstream& stream, const _HubProfileReport& report) override {
    if ((habits_ & kNests) != 0) {
      const std::string line = registered(other_).to_string(other_);
      require(line == NEBLogDecoder::to_string(other_), "a line in mid-line is its category's", line);
    }
    like_.parse_datatype(stream, report);
    if ((habits_ & kDisarranges) != 0) {
      stream << std::hex << std::showbase << std::left << std::setfill('*') << std::setprecision(1);
      stream.exceptions(std::ios::failbit);
      stream.setf(std::ios::boolalpha | std::ios::uppercase);
    }
    if ((habits_ & kThrows) != 0) {
      throw GivesUp("in mid-line");
    }
  }

 private:
  profile_decoder& like_;
  std::uint8_t habits_;
  const _HubProfileReport& other_;
};

_HubProfileReport next_report(hub::fuzz::Input& input) {
  _HubProfileReport report{};
  const auto bytes = input.take(sizeof report);
  std::copy(bytes.begin(), bytes.end(), reinterpret_cast<std::byte*>(&report));
  return report;
}

void check(std::uint8_t habits, const _HubProfileReport& report, const _HubProfileReport& other) {
  const std::string expected = NEBLogDecoder::to_string(report);
  OutsideDecoder outside(registered(report), habits, other);
  try {
    require(outside.to_string(report) == expected, "an outside decoder's line is its category's", expected);
    require((habits & kThrows) == 0, "what an outside decoder throws passes through");
  } catch (const GivesUp&) {
    require((habits & kThrows) != 0, "nothing else is thrown");
  }
  // Whatever was left of that line: the thread's next one by an object's own operations is as it should be.
  require(registered(report).to_string(report) == expected, "the decoder object's line is the registry's", expected);
  const std::string other_line = NEBLogDecoder::to_string(other);
  require(registered(other).to_string(other) == other_line, "the next line does not know the one before", other_line);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*words*/) {
  hub::platform::fail_boot_time(ENOENT);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  hub::fuzz::Input input(data, size);
  const auto habits = input.number<std::uint8_t>();
  const _HubProfileReport report = next_report(input);
  check(habits, report, next_report(input));
  return 0;
}
