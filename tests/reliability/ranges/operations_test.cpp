// SPDX-License-Identifier: Apache-2.0
// Every operation on every key, from every kind of service: the documented call of the statistics service, as often as
// documented, and no other.
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tests/plugin/plugin_fixture.h"
#include "tests/reliability/ranges/how_much.h"

namespace hub::test {
namespace {

constexpr unsigned kVersion = 0x43;
constexpr unsigned kAllBytes = 256;

struct Record {
  unsigned op;
  unsigned key;
  std::int32_t value;
  unsigned version = kVersion;
};

// ---- What is documented.

// clang-format off

constexpr std::string_view kKeys[] = {
    "com.vantu.neb.button.click.count",
    "com.vantu.neb.button.single_click.count",
    "com.vantu.neb.button.double_click.count",
    "com.vantu.neb.button.triple_click.count",
    "com.vantu.neb.button.long_press.count",
    "com.vantu.neb.button.touch_with_click.count",
    "com.vantu.neb.button.touch_no_click.count",
    "com.vantu.neb.button.click.pico",
    "com.vantu.neb.button.touch.pico",
    "com.vantu.neb.button.click_to_pico.time",
    "com.vantu.neb.button.touch_to_pico.time",
    "com.vantu.neb.button.click.duration",
    "com.vantu.neb.button.touch.duration",
    "com.vantu.neb.button.touch_to_first_click.time",
    "com.vantu.neb.button.touch_to_last_unclick.time",
    "com.vantu.neb.button.first_click_to_last_unclick.time",
    "com.vantu.neb.button.first_click_to_untouch.time",
    "com.vantu.neb.button.last_unclick_to_untouch.time",
    "com.vantu.neb.button.critical_error.count",
    "com.vantu.neb.button.timeout.count",
    "com.vantu.neb.prox.event.ext_bl_capture.count",
    "com.vantu.neb.prox.event.smudge_timeout.bh.count",
    "com.vantu.neb.prox.event.smudge_timeout.nonbh.count",
    "com.vantu.neb.prox.event.high_amb.count",
    "com.vantu.neb.prox.first_pocket_signal_sample.kcpss",
    "com.vantu.com.neb.prox.baseline_to_trigger.time.dist",
    "com.vantu.neb.prox.ext_bl_capture.signal_delta.dist",
    "com.vantu.neb.prox.ref_rate_increase.percent.dist",
    "com.vantu.neb.prox.num_frames_for_high_ambient_baseline_capture.dist",
    "com.vantu.neb.prox.num_bias_corrected_frames_for_high_ambient_baseline_capture.dist",
    "com.vantu.neb.prox.num_frames_for_high_ambient_baseline_capture_target_approched.dist",
    "com.vantu.neb.prox.num_bias_corrected_frames_for_high_ambient_baseline_capture_target_approched.dist",
    "com.vantu.neb.button.touch_with_click.ap_on.duration",
    "com.vantu.neb.button.touch_with_no_click.ap_on.duration",
    "com.vantu.neb.button.touch_with_click.ap_off.duration",
    "com.vantu.neb.button.touch_with_no_click.ap_off.duration",
    "com.vantu.neb.button.touch.ap_on.duration",
    "com.vantu.neb.button.touch.ap_off.duration",
    "com.vantu.neb.quarl.reset_hb_count",
    "com.vantu.neb.quarl.reset_count",
    "com.vantu.neb.quarl.ibfd_timeout_count",
    "com.vantu.neb.biosense.reset_timeout_count",
    "com.vantu.neb.button.vossa.cl_timeout.count",
    "com.vantu.neb.button.vossa.cl_fault.count",
    "com.vantu.neb.button.quarl_probe_failure_quarl_count",
    "com.vantu.neb.button.force_sensor_probe_failure_count",
    "com.vantu.neb.button.arc_probe_failure_count",
    "com.vantu.neb.button.btmspk_probe_failure_count",
    "com.vantu.neb.zenth.doppler.subscribe_count",
    "com.vantu.neb.zenth.doppler.unsubscribe_count",
    "com.vantu.neb.audio.arc.on.duration",
    "com.vantu.neb.audio.arc.off.duration",
    "com.vantu.neb.audio.arc.prewarm.duration",
    "com.vantu.neb.audio.btmspk.on.duration",
    "com.vantu.neb.audio.btmspk.off.duration",
    "com.vantu.neb.audio.btmspk.prewarm.duration",
    "com.vantu.neb.ttw.ttw_by_cell_distribution",
    "com.vantu.neb.haptics.play_request.clientAP",
    "com.vantu.neb.haptics.play_request.clientRTP",
    "com.vantu.neb.haptics.request_dropped_queue.clientAP",
    "com.vantu.neb.haptics.request_dropped_queue.clientRTP",
    "com.vantu.neb.haptics.request_dropped_error.clientAP",
    "com.vantu.neb.haptics.request_dropped_error.clientRTP",
    "com.vantu.neb.haptics.request_dropped_policy.clientAP",
    "com.vantu.neb.haptics.request_dropped_policy.clientRTP",
    "com.vantu.neb.haptics.leap_load_failure",
    "com.vantu.neb.test",
};
static_assert(std::size(kKeys) == 67);

// clang-format on

constexpr std::string_view key_of(const Record& record) {
  return record.key < std::size(kKeys) ? kKeys[record.key] : "com.vantu.neb.unknown";
}

enum class Call { kNone, kClearScalar, kSetScalar, kAddToScalar, kClearDistribution, kSetDistribution, kPush };

constexpr Call kCalls[] = {Call::kNone,        Call::kClearScalar,       Call::kSetScalar,
                           Call::kAddToScalar, Call::kClearDistribution, Call::kSetDistribution};

constexpr Call call_of(const Record& record) {
  return record.version != kVersion ? Call::kNone : record.op < std::size(kCalls) ? kCalls[record.op] : Call::kPush;
}

// How often: the operations above 5 are that many samples more than 5.
constexpr unsigned times_of(const Record& record) {
  const Call call = call_of(record);
  return call == Call::kNone ? 0 : call == Call::kPush ? record.op - 5 : 1;
}

// 16.16 in single precision.
double sample_of(const Record& record) { return std::ldexp(static_cast<float>(record.value), -16); }

// As printf has "%#x".
std::string hexadecimal(unsigned number) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (unsigned rest = number; rest > 0; rest /= 16) {
    text.insert(text.begin(), kDigits[rest % 16]);
  }
  return number == 0 ? "0" : "0x" + text;
}

std::string message_of(const Record& record) {
  return record.version != kVersion
             ? "error: publishSLData hubsldkeys version mismatch (" + hexadecimal(record.version) + "/0x43)"
             : "error: publishSLData op=" + hexadecimal(record.op) + " '" + std::string(key_of(record)) + "' (" +
                   hexadecimal(record.key) + ")";
}

constexpr std::int32_t kLeast = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
// Zero and ones, the sign bit and its neighbours, one and a half of 16.16, and the last number that single precision
// has, with its neighbours.
constexpr std::int32_t kValues[] = {0,       1,        -1,       kLeast,   kLeast + 1, kMost,     kMost - 1, 0x8000,
                                    0x10000, -0x10000, 0x00FFFF, 0x018000, 0xFFFFFF,   0x1000000, 0x1000001};

// ---- What comes.

// Knows which records come next, and compares each call with what they ask for.
class ExpectingLedger final : public platform::Ledger {
 public:
  void expect(std::span<const Record> records) {
    records_ = records;
    left_ = records_.empty() ? 0 : times_of(records_.front());
  }

  // True when nothing that was expected is missing.
  bool is_done() {
    find_next();
    return records_.empty();
  }

  std::uint64_t calls = 0;
  std::uint64_t wrong = 0;

  bool clear_scalar(std::string_view key) override { return came(Call::kClearScalar, key); }
  bool set_scalar(std::string_view key, std::int64_t value) override { return came(Call::kSetScalar, key, value); }
  bool add_to_scalar(std::string_view key, std::int64_t value) override { return came(Call::kAddToScalar, key, value); }
  bool clear_distribution(std::string_view key) override { return came(Call::kClearDistribution, key); }
  bool set_distribution(std::string_view key, double sample) override {
    return came(Call::kSetDistribution, key, std::nullopt, sample);
  }
  bool push_to_distribution(std::string_view key, double sample) override {
    return came(Call::kPush, key, std::nullopt, sample);
  }

 private:
  void find_next() {
    while (left_ == 0 && !records_.empty()) {
      expect(records_.subspan(1));
    }
  }

  bool came(Call call, std::string_view key, std::optional<std::int64_t> value = {},
            std::optional<double> sample = {}) {
    ++calls;
    find_next();
    const bool right = !records_.empty() && call == call_of(records_.front()) && key == key_of(records_.front()) &&
                       value.value_or(records_.front().value) == records_.front().value &&
                       sample.value_or(sample_of(records_.front())) == sample_of(records_.front());
    wrong += right ? 0 : 1;
    left_ -= left_ > 0 ? 1 : 0;
    return true;
  }

  std::span<const Record> records_;
  unsigned left_ = 0;  // calls that the first record still asks for
};

struct ServiceRow {
  const char* name;
  std::set<Usage> usages;
};
const ServiceRow kServices[] = {
    {"button of the device", {{0x0C, 0x01}}},
    {"telephony button", {{0x0B, 0x01}}},
    {"sensor", {{0xFF00, 0x03}}},
    {"gesture sensor", {{0xFF00, 0x09}}},
    {"motion sensor", {{0xFF00, 0x0A}}},
    {"orientation sensor", {{0x20, 0x31}}},
    {"debug", {{0xFF00, 0x29}}},
    {"button, sensor and debug", {{0x0C, 0x01}, {0xFF00, 0x03}, {0xFF00, 0x29}}},
    {"none of these", {}},
};

// A service of each kind, with statistics; what they bring is compared as it comes.
class EveryOperation : public RunningPlugInTest {
 protected:
  EveryOperation() {
    for (const ServiceRow& row : kServices) {
      services.push_back(&announce(row, kCFBooleanTrue));
    }
    platform::use_ledger(&expecting);
    log.clear();
  }

  RecordedService& announce(const ServiceRow& row, CFTypeRef statistics, CFStringRef transport = CFSTR("HUB")) {
    ServiceScript script;
    script.name = row.name;
    script.usages = row.usages;
    script.transport = platform::Owned<CFTypeRef>(CFRetain(transport));
    if (statistics != nullptr) {
      script.supports_statistics = platform::Owned<CFTypeRef>(CFRetain(statistics));
    }
    RecordedService& service = add(std::move(script));
    instance.register_service(service);
    return service;
  }

  // One batch, in memory that ends with it.
  void publish(const RecordedService& service, std::span<const Record> records) {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(7 * records.size());
    for (const Record& record : records) {
      const auto value = static_cast<std::uint32_t>(record.value);
      for (const unsigned byte : {record.version, record.op, record.key, value & 0xFF, value >> 8U & 0xFF,
                                  value >> 16U & 0xFF, value >> 24U}) {
        bytes.push_back(static_cast<std::uint8_t>(byte));
      }
    }
    expecting.expect(records);
    service.device->callback(service.device->refcon, bytes.data(), records.size());
    missing += expecting.is_done() ? 0 : 1;
    published += records.size();
  }

  // All keys with one operation, in one batch; the n-th with the n-th value from `first_value` on.
  static std::vector<Record> all_keys(unsigned op, std::size_t first_value, std::size_t values_step) {
    std::vector<Record> records;
    for (unsigned key = 0; key < kAllBytes; ++key) {
      records.push_back({op, key, kValues[(first_value + values_step * key) % std::size(kValues)]});
    }
    return records;
  }

  void tell_and_expect_all_right(const std::string& what) {
    tell(what, published, ("records, " + std::to_string(expecting.calls) + " calls").c_str(),
         expecting.wrong + missing);
    EXPECT_EQ(expecting.wrong, 0U);
    EXPECT_EQ(missing, 0U);
  }

  ExpectingLedger expecting;
  std::vector<const RecordedService*> services;
  std::uint64_t published = 0;
  std::uint64_t missing = 0;  // batches of which calls did not come
};

TEST_F(EveryOperation, on_every_key_makes_the_documented_calls_and_no_other) {
  platform::set_lowest_log_level(platform::LowestLogLevel::kOff);
  const std::size_t values = everything() ? std::size(kValues) : 1;
  for (unsigned op = 0; op < kAllBytes; ++op) {
    for (std::size_t service = 0; service < services.size(); ++service) {
      if (everything() || service == op % services.size()) {
        for (std::size_t value = 0; value < values; ++value) {
          publish(*services[service], all_keys(op, op + value, everything() ? 0 : 1));
        }
      }
    }
  }
  tell_and_expect_all_right("operations: op 0-255 x key 0-255, values and kinds of services (all, or in turn)");
}

TEST_F(EveryOperation, is_told_in_its_words_once_and_in_order) {
  for (unsigned op = 0; op < kAllBytes; op += everything() ? 1 : 5) {
    const std::vector<Record> records = all_keys(op, op, 1);
    publish(*services[op % services.size()], records);
    Story expected;
    for (const Record& record : records) {
      expected.push_back(message_of(record));
    }
    ASSERT_EQ(log, expected);
    log.clear();
  }
  tell_and_expect_all_right("operations: messages of op 0-255 x key 0-255");
}

TEST_F(EveryOperation, of_another_version_makes_no_call_and_does_not_hold_up_the_next_one) {
  const unsigned op_step = everything() ? 1 : 51;
  const unsigned key_step = everything() ? 1 : 17;
  platform::set_lowest_log_level(platform::LowestLogLevel::kOff);
  for (unsigned version = 0; version < kAllBytes; ++version) {
    std::vector<Record> records;
    for (unsigned op = 0; op < kAllBytes && version != kVersion; op += op_step) {
      for (unsigned key = 0; key < kAllBytes; key += key_step) {
        records.push_back({op, key, kValues[(op + key) % std::size(kValues)], version});
      }
    }
    records.push_back({3, 66, 1});
    publish(*services[version % services.size()], records);
  }
  tell_and_expect_all_right("operations: versions 0-255, but for the right one, x op x key");
  EXPECT_EQ(expecting.calls, 256U);
}

TEST_F(EveryOperation, comes_from_no_service_without_statistics_or_of_another_co_processor) {
  for (const ServiceRow& row : kServices) {
    EXPECT_EQ(announce(row, nullptr).device->callback, nullptr) << row.name;
    EXPECT_EQ(announce(row, kCFBooleanFalse).device->callback, nullptr) << row.name;
    EXPECT_EQ(announce(row, CFSTR("true")).device->callback, nullptr) << row.name;
    EXPECT_EQ(announce(row, kCFBooleanTrue, CFSTR("USB")).device->callback, nullptr) << row.name;
  }
}

}  // namespace
}  // namespace hub::test
