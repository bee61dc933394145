// SPDX-License-Identifier: Apache-2.0
// Every length of every reply that the snapshots of buttons and of raw debug data are made of.
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "profile/NEBLogDecoder.h"
#include "system/system_host.h"
#include "tests/plugin/state_fixture.h"
#include "tests/reliability/ranges/how_much.h"
#include "tests/reliability/ranges/replies.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using Content = std::string (*)(std::size_t size);

std::optional<Snapshot> ask(std::size_t handler) {
  const platform::OwnedStateData data = platform::ask_state_handler(handler, OS_STATE_API_REQUEST);
  return data != nullptr ? std::optional(Snapshot(handler, *data)) : std::nullopt;
}

// ---- Buttons.

constexpr std::size_t kStatisticsHandler = 0;
constexpr std::size_t kAssetsHandler = 1;
constexpr std::uint32_t kStatistics = 215;
constexpr std::uint32_t kAssets = 216;
constexpr std::size_t kAssetsLength = 1479;

// The signed 64-bit numbers of a press.
constexpr std::pair<std::size_t, const char*> kTimes[] = {
    {0x00, "last button press/finger on ts"},       {0x08, "last button press/finger off ts"},
    {0x10, "last button press/start haptic ts"},    {0x18, "last button press/finger detect to button down"},
    {0x10A, "last button press/second scan ts"},    {0x11A, "latency/min_nz_latency_FD_to_BD"},
    {0x122, "latency/max_latency_FD_to_BD"},        {0x12A, "latency/min_nz_latency_BC_to_PlayAsset"},
    {0x132, "latency/max_latency_BC_to_PlayAsset"}, {0x13A, "latency/min_latency_Total"},
    {0x142, "latency/max_latency_Total"},
};

// Those of a click; the next one's stand 16 bytes further.
constexpr std::pair<std::size_t, const char*> kClickTimes[] = {
    {0x58, "button down ts"},          {0x60, "button up ts"},
    {0x90, "play asset ts"},           {0xB8, "button down to play asset"},
    {0xC0, "button up to play asset"},
};

Entries statistics(const Came& came) {
  Entries all = {{"last button press/click count", std::to_string(came.u32(0xE9) / 2)},
                 {"last button press/turtle scans", std::to_string(came.i32(0x112))}};
  for (const auto& [at, path] : kTimes) {
    all[path] = std::to_string(came.i64(at));
  }
  for (std::size_t click = 0; click < 3; ++click) {
    for (const auto& [at, key] : kClickTimes) {
      all["last button press/click " + std::to_string(click + 1) + "/" + key] =
          std::to_string(came.i64(at + 16 * click));
    }
  }
  return all;
}

std::string asset(const Came& came, std::size_t at) {
  std::array<char, 64> gain{};
  std::snprintf(gain.data(), gain.size(), "%f", static_cast<double>(came.i32(at + 1)) / 65536);
  return "'enable=" + std::to_string(came.i8(at) & 0xFF) + " slot=" + std::to_string(came.i32(at + 21)) +
         " gain=" + gain.data() + " min=" + std::to_string(came.i64(at + 5)) +
         " max=" + std::to_string(came.i64(at + 13)) + "'";
}

Entries assets(const Came& came) {
  Entries all;
  std::size_t at = 0;
  for (const std::string speed : {"Slow-", "Medium-", "Fast-"}) {
    for (const char* state : {"SingleDown", "SingleUp", "DoubleDown", "DoubleUp", "TripleDown", "TripleUp",
                              "SingleTapOn", "SingleTapOff", "DoubleTapOn", "DoubleTapOff", "TripleTapOn",
                              "TripleTapOff", "DeepDown", "DeepUp", "LongPress", "LongPressUp", "(null)"}) {
      all[speed + state] = asset(came, at);
      at += 29;
    }
  }
  return all;
}

class EveryButtonReply : public StateTest {
 protected:
  EveryButtonReply() {
    announce({kConsumerButton});
    held = things_held();
  }

  ~EveryButtonReply() override { EXPECT_EQ(things_held(), held); }

  static std::vector<Content> contents() {
    return everything() ? std::vector<Content>{letters, ones, counting} : std::vector<Content>{counting};
  }

  // All lengths, or those around what is documented of them.
  static std::vector<std::size_t> asset_lengths() {
    std::vector<std::size_t> lengths = every_length(4096);
    std::erase_if(lengths, [](std::size_t length) {
      const bool is_at_an_edge = length < 4 || (length > kAssetsLength - 32 && length < kAssetsLength + 64) ||
                                 (length > 4090 && length < 4100) || length > 4158;
      return !everything() && !is_at_an_edge;
    });
    return lengths;
  }

  Story held;  // when the button is there
};

TEST_F(EveryButtonReply, of_statistics_of_every_length_shows_what_came_and_zeros) {
  std::uint64_t tried = 0;
  for (const Content content : contents()) {
    for (const Manner manner : kManners) {
      for (const std::size_t length : every_length(330)) {
        const ReplyCase reply_case(manner, content(330), length);
        driver.properties[kStatistics] = reply_case.reply;
        const auto snapshot = ask(kStatisticsHandler);
        ASSERT_TRUE(snapshot) << length;
        ASSERT_EQ(snapshot->entries(), statistics(reply_case.came)) << length;
        ++tried;
      }
    }
  }
  tell("replies: button statistics, lengths 0 to 394", tried, "snapshots", 0);
  EXPECT_EQ(log, Story{});
}

TEST_F(EveryButtonReply, of_assets_shows_all_of_them_or_tells_that_it_is_short) {
  std::uint64_t tried = 0;
  for (const Content content : contents()) {
    for (const Manner manner : kManners) {
      for (const std::size_t length : asset_lengths()) {
        const ReplyCase reply_case(manner, content(4096), length);
        driver.properties[kAssets] = reply_case.reply;
        const auto snapshot = ask(kAssetsHandler);
        ASSERT_EQ(snapshot.has_value(), length >= kAssetsLength) << length;
        if (snapshot) {
          ASSERT_EQ(snapshot->entries(), assets(reply_case.came)) << length;
        }
        ASSERT_EQ(log, snapshot ? Story{} : Story{assertion("propertyLength >= sizeof(assets)", 632)}) << length;
        log.clear();
        ++tried;
      }
    }
  }
  tell("replies: button assets, lengths 0 to 4160 (all, or at edges)", tried, "replies", 0);
}

// ---- Raw debug data.

constexpr std::size_t kReportLength = 48;
constexpr std::size_t kBatchLength = 32 * kReportLength;
constexpr std::uint32_t kReadProperty = 2;
constexpr std::uint32_t kHubCommand = 3;

struct RawDebugHandler {
  std::size_t handler;
  std::uint32_t method;
  std::size_t index;
  const char* type;
};
constexpr RawDebugHandler kHandlers[] = {
    {0, kReadProperty, 0, "fw"},   {48, 9, 0, "kext"}, {56, 8, 0, "err"},
    {47, kReadProperty, 47, "fw"}, {55, 9, 7, "kext"}, {103, 8, 47, "err"},
};

// Different reports, of all types, with texts in them.
std::string batch(std::size_t size) {
  std::string bytes;
  for (unsigned number = 0; bytes.size() < size; ++number) {
    const _HubProfileReport one = report(number % 14, number % 8, number % 5, number % 15)
                                      .sequence(number)
                                      .time_us(std::uint64_t{1000} * number)
                                      .text(0, letters(32));
    bytes.append(reinterpret_cast<const char*>(&one), sizeof one);
  }
  return bytes;
}

Story lines_of(const Came& came) {
  Story lines;
  for (std::size_t at = 0; at + kReportLength <= came.usable(); at += kReportLength) {
    _HubProfileReport one;
    std::memcpy(&one, came.buffer.data() + at, sizeof one);
    lines.push_back(NEBLogDecoder::to_string(one));
  }
  return lines;
}

class EveryRawDebugReply : public StateTest {
 protected:
  EveryRawDebugReply() {
    platform::fail_boot_time(ENOENT);
    NEBLogDecoder::to_string(_HubProfileReport{});  // what this thread keeps from its first line on is there already
    announce({kDebugService});
    const auto answer = [this](std::uint32_t method, auto, std::span<std::byte> output, std::size_t& length) {
      const Reply& its_reply = replies[method];
      const std::size_t written = std::min(output.size(), its_reply.bytes.size());
      std::copy_n(std::as_bytes(std::span(its_reply.bytes)).begin(), written, output.begin());
      length = its_reply.bytes.size() + its_reply.surplus;
      return its_reply.status;
    };
    firmware->answer = answer;
    profile_driver->answer = answer;
  }
  ~EveryRawDebugReply() override { platform::use_machine_boot_time(); }

  std::map<std::uint32_t, Reply> replies;  // by method
};

TEST_F(EveryRawDebugReply, of_every_length_is_a_line_for_each_whole_report) {
  const Story held = things_held();
  std::uint64_t tried = 0;
  for (const RawDebugHandler& row : kHandlers) {
    for (const Manner manner : kManners) {
      if (!everything() && (row.index != 0 || (manner != Manner::kHonest && row.handler != 0))) {
        continue;
      }
      for (const std::size_t length : every_length(kBatchLength)) {
        const ReplyCase reply_case(manner, batch(kBatchLength), length);
        replies[row.method] = reply_case.reply;
        const auto snapshot = ask(row.handler);
        const Story lines = lines_of(reply_case.came);
        ASSERT_EQ(snapshot.has_value(), !lines.empty()) << row.type << " " << length;
        if (snapshot) {
          ASSERT_EQ(snapshot->lines(), lines) << row.type << " " << length;
          ASSERT_EQ(snapshot->title, "NEB Profile " + std::to_string(row.index) +
                                         " ;count=" + std::to_string(lines.size()) + " ;type=" + row.type);
        }
        ++tried;
      }
    }
  }
  tell("replies: raw debug data, lengths 0 to 1600", tried, "replies", 0);
  EXPECT_EQ(things_held(), held);
  EXPECT_EQ(log, Story{});
}

TEST_F(EveryRawDebugReply, to_the_command_that_wants_none_changes_nothing) {
  const ReplyCase one(Manner::kHonest, batch(kBatchLength), kReportLength);
  replies[kReadProperty] = one.reply;
  const Story lines = lines_of(one.came);
  for (const std::size_t length : every_length(0)) {
    replies[kHubCommand].surplus = length;
    const auto snapshot = ask(0);
    ASSERT_TRUE(snapshot) << length;
    EXPECT_EQ(snapshot->lines(), lines) << length;
  }
  EXPECT_EQ(log, Story{});
}

}  // namespace
}  // namespace hub::test
