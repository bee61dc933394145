// SPDX-License-Identifier: Apache-2.0
// The line of every header. What a header may have of its own are names and layouts, and both are asked for by the ids
// of the registered categories and types alone, so that these are gone through together with every component and event,
// and one of each that is not registered. All the others meet every category and type at the edges of component and
// event.
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "CoreFoundation/CoreFoundation.h"
#include "corefoundation/corefoundation_host.h"
#include "corefoundation/owned.h"
#include "profile/profile_exports.h"
#include "tests/reliability/ranges/how_much.h"
#include "tests/reliability/ranges/line_walker.h"
#include "tests/support/decoding.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using Ids = std::vector<unsigned>;

constexpr unsigned kRegistered = 13;  // categories, and types
constexpr unsigned kAll = 256;

Ids first(unsigned count) {
  Ids ids(count);
  std::iota(ids.begin(), ids.end(), 0U);
  return ids;
}

// Spreads a number over 64 bits, so that neighbours have nothing in common.
std::uint64_t scattered(std::uint64_t number) {
  number += 0x9E3779B97F4A7C15;
  number = (number ^ (number >> 30U)) * 0xBF58476D1CE4E5B9;
  number = (number ^ (number >> 27U)) * 0x94D049BB133111EB;
  return number ^ (number >> 31U);
}

// A report with this header, and numbers, times and a payload that depend on it: one in 16 zeros, one in 16 ones, of
// the others half with a small number where subtypes, versions and lengths stand, and half with a zero inside its
// texts.
_HubProfileReport report_with(unsigned category, unsigned component, unsigned event, unsigned type) {
  const std::uint64_t header = (std::uint64_t{category} << 24U) | component << 16U | event << 8U | type;
  const std::uint64_t choice = scattered(header);
  ReportBuilder built = report(category, component, event, type);
  built.sequence(static_cast<std::uint32_t>(choice >> 32U)).time_us(scattered(choice) >> (choice & 63U));
  if (choice % 16 == 0) {
    return built;
  }
  if (choice % 16 == 1) {
    return built.fill(0xFF);
  }
  for (std::size_t at = 0; at < 32; at += 8) {
    built.u64(at, scattered(header + 0x100000000 * (at + 1)));
  }
  if (choice & 16U) {
    constexpr unsigned kContext = 10;
    built.u32(0, choice >> 8U & (type == kContext ? 7 : 0x1FF)).u16(4, choice >> 17U & 0x1F);
  }
  if (choice & 32U) {
    built.u8(16 + (choice >> 22U & 0xF), 0);
  }
  return built;
}

// Decodes and reads reports on all processors.
class EveryHeader : public DecodeTest {
 protected:
  using Fault = std::function<std::string(const _HubProfileReport&)>;

  // A line by the registry, which is how all lines are made.
  static std::string fault_of_line(const _HubProfileReport& sample) {
    return fault_of(NEBLogDecoder::to_string(sample), sample);
  }

  // The same by the decoder's virtual operations, and as a description.
  static std::string fault_of_all_ways(const _HubProfileReport& sample) {
    const std::string line = NEBLogDecoder::to_string(sample);
    profile_decoder& decoder = sample.category_id < NEBLogDecoder::kCategoryCount
                                   ? *NEBLogDecoder::_decoders[sample.category_id]
                                   : NEBLogDecoder::_default;
    if (decoder.to_string(sample) != line) {
      return "the decoder's own line differs from: " + line;
    }
    const platform::Owned description(CopyProfileDescription(&sample));
    if (description.get() != nullptr && CFStringGetCStringPtr(description.get(), kCFStringEncodingUTF8) != line) {
      return "the description differs from: " + line;
    }
    const bool is_ascii = std::none_of(line.begin(), line.end(), [](char letter) { return letter < 0; });
    if (description.get() == nullptr && is_ascii) {
      return "no description of: " + line;
    }
    return fault_of(line, sample);
  }

  // Tries `job` 0 to `jobs` - 1, each of which hands its reports on.
  void go_through(const std::string& what, std::size_t jobs,
                  const std::function<void(std::size_t job, const std::function<void(const _HubProfileReport&)>&)>& job,
                  const Fault& fault = fault_of_line) {
    std::atomic<std::size_t> next = 0;
    std::vector<std::thread> workers(std::max(1U, std::thread::hardware_concurrency()));
    for (std::thread& worker : workers) {
      worker = std::thread([&] {
        std::uint64_t count = 0;
        for (std::size_t mine = next++; mine < jobs; mine = next++) {
          job(mine, [&](const _HubProfileReport& sample) {
            note(fault(*exactly(sample)));
            ++count;
          });
        }
        tried_ += count;
      });
    }
    for (std::thread& worker : workers) {
      worker.join();
    }
    tell(what, tried_, "lines", wrong_);
    EXPECT_EQ(wrong_, 0U);
  }

  void go_through(const std::string& what, const Ids& categories, const Ids& components,
                  const std::function<Ids(unsigned category)>& events, const Ids& types,
                  const Fault& fault = fault_of_line) {
    go_through(
        what, categories.size() * components.size(),
        [&](std::size_t job, const auto& hand_on) {
          const unsigned category = categories[job / components.size()];
          const unsigned component = components[job % components.size()];
          for (const unsigned event : events(category)) {
            for (const unsigned type : types) {
              hand_on(report_with(category, component, event, type));
            }
          }
        },
        fault);
  }

 private:
  // The report in memory of its own, behind whose end nothing is to be read.
  static std::unique_ptr<_HubProfileReport> exactly(const _HubProfileReport& sample) {
    return std::make_unique<_HubProfileReport>(sample);
  }

  void note(const std::string& fault) {
    constexpr std::uint64_t kMostTold = 10;
    if (!fault.empty() && ++wrong_ <= kMostTold) {
      const std::lock_guard lock(telling_);
      ADD_FAILURE() << fault;
    }
  }

  std::atomic<std::uint64_t> tried_ = 0;
  std::atomic<std::uint64_t> wrong_ = 0;
  std::mutex telling_;
};

TEST_F(EveryHeader, has_its_line) {
  const auto events = [](unsigned category) { return everything() ? first(kAll) : event_edges(category); };
  go_through("headers: categories 0-13 x components 0-255 x events (all, or at edges) x types 0-13",
             first(kRegistered + 1), first(kAll), events, first(kRegistered + 1));
}

TEST_F(EveryHeader, that_is_not_registered_has_its_line) {
  const Ids components = everything() ? Ids{0, 1, 3, 5, 7, 12, 13, 255} : Ids{0, 5};
  const Ids events = everything() ? Ids{0, 1, 2, 3, 4, 16, 18, 255} : Ids{1};
  go_through(
      "headers: categories 0-255 x components and events at edges x types 0-255", first(kAll), components,
      [&](unsigned) { return Ids(events); }, first(kAll));
}

TEST_F(EveryHeader, has_one_line_whatever_way_it_is_asked_for) {
  const Ids components = everything() ? first(kAll) : Ids{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 255};
  const CFIndex strings = static_cast<CFIndex>(platform::live_objects(CFStringGetTypeID()));
  go_through("headers: by registry, decoder and description, events at edges", first(kRegistered + 1), components,
             event_edges, first(kRegistered + 1), fault_of_all_ways);
  EXPECT_EQ(static_cast<CFIndex>(platform::live_objects(CFStringGetTypeID())), strings);
}

// Numbers in a payload that choose what is shown: 16 bits of them, or those that tables could have and some beyond.
TEST_F(EveryHeader, shows_the_context_of_every_version) {
  const unsigned step = everything() ? 1 : 251;
  go_through("payloads: button contexts of versions 0-65535", kAll, [&](std::size_t job, const auto& hand_on) {
    const auto low = static_cast<unsigned>(job);
    for (unsigned high = 0; high < kAll; high += step) {
      hand_on(report(7, low % 9, 1, 10).count_up().u16(0, 256 * high + low));
    }
  });
}

TEST_F(EveryHeader, shows_the_name_of_every_subtype) {
  const Ids components = everything() ? first(kAll) : first(12);
  go_through("payloads: trace points of categories 7 and 11, subtypes 0-511 and powers of two", 2 * components.size(),
             [&](std::size_t job, const auto& hand_on) {
               const unsigned category = job % 2 == 0 ? 7 : 11;
               for (unsigned subtype = 0; subtype < 512 + 2 * 32; ++subtype) {
                 const unsigned bit = (subtype - 512) / 2;
                 const std::uint32_t number = subtype < 512 ? subtype : (1U << bit) - subtype % 2;
                 hand_on(report(category, components[job / 2], 0, 3).count_up().u32(0, number));
               }
             });
}

TEST_F(EveryHeader, shows_raw_data_of_every_length) {
  const std::size_t step = everything() ? 1 : 64;
  go_through("payloads: long data of lengths 0-65535", kRegistered + 1, [&](std::size_t job, const auto& hand_on) {
    for (std::size_t length = 0; length < 65536; length += length < 64 ? 1 : step) {
      hand_on(report(static_cast<unsigned>(job), 0, 0, 1).count_up().u16(4, length));
    }
  });
}

}  // namespace
}  // namespace hub::test
