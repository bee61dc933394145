// SPDX-License-Identifier: Apache-2.0
// Any bytes are a batch of operation records, as a device delivers it to the callback that the plug-in installed: the
// statistics service gets exactly the calls that the records stand for, whatever it answers, and the log tells of each.
// The input's first byte says which device delivers, what the service answers and whether anybody reads the log.
#include <array>
#include <cstdio>
#include <deque>
#include <string>

#include "fuzz/plugin_world.h"
#include "ledger/ledger_host.h"
#include "ledger_keys.h"
#include "log/log_host.h"

namespace {

using namespace hub;
using fuzz::require;

constexpr std::size_t kRecordBytes = 7;

// One record, and how many calls of the service are still to come from it.
struct Record {
  explicit Record(std::span<const std::byte> bytes) {
    fuzz::Input input(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    version = input.number<std::uint8_t>();
    op = input.number<std::uint8_t>();
    key = input.number<std::uint8_t>();
    value = input.number<std::int32_t>();
    const bool is_published = version == 0x43;
    calls = !is_published || op == 0 ? 0U : op <= 5 ? 1U : op - 5U;
    key_text = key < kStatLedgerKeyCount ? kStatLedgerKeyNames[key].text : "com.vantu.neb.unknown";
  }

  // What is logged of it.
  [[nodiscard]] std::string message() const {
    std::array<char, 160> text;
    if (version != 0x43) {
      std::snprintf(text.data(), text.size(), "publishSLData hubsldkeys version mismatch (%#x/0x43)", version);
    } else {
      std::snprintf(text.data(), text.size(), "publishSLData op=%#x '%s' (%#x)", op, key_text, key);
    }
    return text.data();
  }

  std::uint8_t version;
  std::uint8_t op;
  std::uint8_t key;
  std::int32_t value;
  unsigned calls;
  const char* key_text;
};

// Compares call after call with the records.
class ExpectingLedger final : public platform::Ledger {
 public:
  void expect(std::span<const std::byte> records, bool answer) {
    rest_ = records;
    answer_ = answer;
    next_record();
  }

  // All calls have come.
  void finish() const { require(record_.calls == 0, "every call has come", record_.key_text); }

  bool clear_scalar(std::string_view key) override { return take(key, 1, 1); }
  bool set_scalar(std::string_view key, std::int64_t value) override { return take(key, 2, 2, value); }
  bool add_to_scalar(std::string_view key, std::int64_t value) override { return take(key, 3, 3, value); }
  bool clear_distribution(std::string_view key) override { return take(key, 4, 4); }
  bool set_distribution(std::string_view key, double sample) override { return take_sample(key, 5, 5, sample); }
  bool push_to_distribution(std::string_view key, double sample) override { return take_sample(key, 6, 255, sample); }

 private:
  // To the next record that is published by a call.
  void next_record() {
    record_.calls = 0;
    while (record_.calls == 0 && rest_.size() >= kRecordBytes) {
      record_ = Record(rest_.first(kRecordBytes));
      rest_ = rest_.subspan(kRecordBytes);
    }
  }

  bool take(std::string_view key, unsigned first_op, unsigned last_op) {
    require(record_.calls != 0, "no call too many", key);
    require(record_.op >= first_op && record_.op <= last_op, "the call is the operation's", key);
    require(key == record_.key_text, "the key is the index's", key);
    if (--record_.calls == 0) {
      next_record();
    }
    return answer_;
  }

  bool take(std::string_view key, unsigned first_op, unsigned last_op, std::int64_t value) {
    require(value == record_.value, "the value is the record's", key);
    return take(key, first_op, last_op);
  }

  bool take_sample(std::string_view key, unsigned first_op, unsigned last_op, double sample) {
    require(sample == static_cast<double>(static_cast<float>(record_.value)) / 65536, "a sample is 16.16", key);
    return take(key, first_op, last_op);
  }

  std::span<const std::byte> rest_;
  bool answer_ = true;
  Record record_{{}};
};

// Compares message after message with the records.
struct ExpectedLog {
  void expect(std::span<const std::byte> records) { rest = records; }
  void finish() const { require(rest.size() < kRecordBytes, "every record is told"); }
  void take(const platform::LogMessage& message) {
    require(rest.size() >= kRecordBytes, "no message too many", message.text);
    require(message.type == OS_LOG_TYPE_ERROR, "records are told as errors", message.text);
    require(message.text == Record(rest.first(kRecordBytes)).message(), "a message tells the record", message.text);
    rest = rest.subspan(kRecordBytes);
  }
  std::span<const std::byte> rest;
};

// One device of each kind that can deliver, with the plug-in's callback.
struct Deliverers {
  Deliverers() {
    for (const fuzz::Usages& usages :
         {fuzz::Usages{{0x0C, 0x01}}, {{0x0B, 0x01}}, {{0xFF00, 0x03}}, {{0x20, 0x31}}, {{0xFF00, 0x29}}, {}}) {
      devices.push_back(world.offer(usages, true).device.get());
      require(devices.back()->callback != nullptr, "each kind of service gets the callback");
    }
  }

  fuzz::World world;
  std::deque<test::RecordingSide*> devices;
};

Deliverers* deliverers = nullptr;
ExpectingLedger ledger;
ExpectedLog expected_log;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*words*/) {
  deliverers = new Deliverers;  // never destroyed, as what the plug-in keeps of it
  platform::use_ledger(&ledger);
  platform::set_log_recorder([](const platform::LogMessage& message) { expected_log.take(message); });
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const auto choices = input.number<std::uint8_t>();
  const bool is_logged = choices % 4 == 1;
  platform::set_lowest_log_level(is_logged ? platform::LowestLogLevel::kError : platform::LowestLogLevel::kOff);
  // A copy of its own length, which ends where the last record ends.
  std::vector<std::byte> records(input.rest().begin(), input.rest().end());
  records.resize(records.size() / kRecordBytes * kRecordBytes);
  records.shrink_to_fit();

  const auto before = fuzz::things_held();
  ledger.expect(records, choices % 2 == 0);
  expected_log.expect(is_logged ? records : std::span<std::byte>());
  const test::RecordingSide& device = *deliverers->devices[choices / 4 % deliverers->devices.size()];
  device.callback(device.refcon, records.data(), records.size() / kRecordBytes);
  ledger.finish();
  expected_log.finish();
  require(fuzz::things_held() == before, "nothing is left over");
  return 0;
}
