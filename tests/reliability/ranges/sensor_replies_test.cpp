// SPDX-License-Identifier: Apache-2.0
// Every length of every reply that a sensor's description is made of: exactly the entries that are documented for what
// came, and the others as they are without it.
#include <array>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tests/plugin/sensor_fixture.h"
#include "tests/reliability/ranges/how_much.h"
#include "tests/reliability/ranges/replies.h"

namespace hub::test {
namespace {

template <typename... Arguments>
std::string printed(const char* format, Arguments... arguments) {
  std::array<char, 512> text{};
  std::snprintf(text.data(), text.size(), format, arguments...);
  return text.data();
}

// ---- What is documented of each reply: its entries.

using Shown = std::function<Entries(const Came& came)>;

bool is_ascii(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char letter) { return static_cast<unsigned char>(letter) < 0x80; });
}

// A text that is no ASCII is left out.
Entries text_entry(const std::string& key, const std::string& text) {
  return is_ascii(text) ? Entries{{key, "'" + text + "'"}} : Entries{};
}

Shown report_interval() {
  return [](const Came& came) -> Entries {
    return {{"reportInterval", came.length == 4 ? std::to_string(came.i32(0)) : "0"}};
  };
}

Shown number(const std::string& key) {
  return [key](const Came& came) -> Entries { return {{key, came.length == 4 ? std::to_string(came.i32(0)) : "-1"}}; };
}

Shown text(const std::string& key) {
  return [key](const Came& came) { return text_entry(key, came.text(0, 32)); };
}

Entries location(const Came& came) {
  const auto letter = static_cast<char>(came.i8(0));
  return text_entry("location",
                    letter == 0 ? "N/A" : std::string(1, letter) + " alternate=" + std::to_string(came.i32(1)));
}

Entries batching(const Came& came) {
  return {{"sensorBatchInterval", std::to_string(came.i32(0))},
          {"muxBatchInterval", std::to_string(came.i32(4))},
          {"apBatchInterval", std::to_string(came.i32(8))},
          {"apReportInterval", std::to_string(came.i32(12))},
          {"endpointBatchCount", std::to_string(came.i32(16))}};
}

Shown fixed_matrix(const std::string& key) {
  return [key](const Came& came) {
    std::string all;
    for (std::size_t element = 0; element < 9; ++element) {
      all += (element == 0 ? "" : element % 3 == 0 ? " | " : " ");
      all += printed("%f", static_cast<double>(came.i32(4 * element)) / 65536);
    }
    return text_entry(key, all);
  };
}

Entries calibration_offset(const Came& came) {
  return text_entry("calibrationOffset", std::to_string(came.i32(0)) + " " + std::to_string(came.i32(4)) + " " +
                                             std::to_string(came.i32(8)));
}

Entries orientation(const Came& came) {
  std::string all;
  for (std::size_t element = 0; element < 9; ++element) {
    all += (element == 0 ? "" : element % 3 == 0 ? ", " : " ") + std::to_string(came.i8(element));
  }
  return text_entry("orientationMatrix", all);
}

// Pairs of words, of which every other one is shown.
Entries registers(const Came& came) {
  std::string all;
  for (std::size_t index = 0; index < came.u32(0) && 8 + 4 * index <= came.buffer.size(); index += 2) {
    all += printed("R%02x=%02x ", came.u16(4 + 4 * index), came.u16(6 + 4 * index));
  }
  return text_entry("registers", all.substr(0, 255));
}

// A stream of tags. A number that is cut ends it.
class StreamReading {
 public:
  explicit StreamReading(const Came& came) : came_(came), end_(came.usable()) {
    while (at_ < end_) {
      const std::int64_t tag = came_.i8(at_++);
      if (ended_) {
        store();
      }
      follow(tag);
    }
    if (!text_.empty()) {
      store();
    }
  }

  Entries entries;

 private:
  void follow(std::int64_t tag) {
    if (tag == 0 || tag == 1) {
      number(tag == 0 ? 4 : 8);
    } else if (tag == 2) {
      const std::string piece = came_.text(at_, end_ - at_);
      text_ += piece;
      at_ += piece.size() + 1;
    } else if (tag == 3) {
      ended_ = true;
    } else if (tag == 4 || tag == 5) {
      hexadecimal_ = tag == 4;
    }
  }

  void number(std::size_t width_bytes) {
    if (at_ + width_bytes > end_) {
      at_ = end_;
    } else if (width_bytes == 4) {
      text_ += hexadecimal_ ? printed("%x", came_.u32(at_)) : std::to_string(came_.i32(at_));
    } else {
      text_ += hexadecimal_ ? printed("%llx", static_cast<unsigned long long>(came_.i64(at_)))
                            : std::to_string(came_.i64(at_));
    }
    at_ = std::min(at_ + width_bytes, end_);
  }

  void store() {
    entries.merge(text_entry("extra" + std::to_string(stored_++), text_));
    text_.clear();
    ended_ = false;
  }

  const Came& came_;
  std::size_t end_;
  std::size_t at_ = 0;
  std::string text_;
  bool ended_ = false;
  bool hexadecimal_ = false;
  int stored_ = 0;
};

Entries diagnostics(const Came& came) { return StreamReading(came).entries; }

Entries clients(const Came& came) {
  Entries all;
  for (std::size_t index = 0; 31 * (index + 1) <= came.usable(); ++index) {
    const std::size_t at = 31 * index;
    if (came.i8(at + 28) != 0) {
      all.merge(text_entry("client" + std::to_string(index),
                           came.text(at, 12) + ": report=" + std::to_string(came.i32(at + 12)) + " batch=" +
                               std::to_string(came.i32(at + 16)) + " threshold=" + std::to_string(came.i32(at + 20)) +
                               " timelimit=" + std::to_string(came.i32(at + 24))));
    }
  }
  return all;
}

using Content = std::string (*)(std::size_t size);

std::string two_registers(std::size_t size) { return std::string("\x04\0\0\0", 4) + counting(size - 4); }

std::string all_tags(std::size_t size) {
  using namespace std::string_literals;
  return repeated(
      "\x02name=\0\x00\x2A\0\0\0\x03\x01\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x04\x00\xFE\xFF\xFF\xFF\x03\x03\x05\x07"s
      "\x01\xFF\0\0\0\0\0\0\0\x04\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x05\x02\0\x03\x02only\0"s,
      size);
}

std::string one_text(std::size_t size) { return "\x02" + letters(size - 1); }

// Every other record is in use; names are short, full or empty.
std::string some_clients(std::size_t size) {
  using namespace std::string_literals;
  const std::string used = "lyrebird\0???\x01\0\0\0\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x7F\0\0\0\x80\x01??"s;
  const std::string full = "exactlytwelv\x02\0\0\0\x03\0\0\0\x04\0\0\0\x05\0\0\0\x80??"s;
  return repeated(used + std::string(31, '\0') + full + std::string(31, '\0'), size);
}

// A reply: who asks for it, how much room it has, what it shows, and what may stand in it beside what every reply has.
struct ReplyRow {
  bool is_command;
  std::uint32_t id;
  std::size_t room;
  Shown shown;
  std::vector<Content> contents = {};
};

std::vector<ReplyRow> all_replies() {
  return {
      {false, 0, 4, report_interval()},
      {false, 15, 32, text("manufacturer")},
      {false, 16, 32, text("model")},
      {false, 68, 5, location},
      {false, 64, 4, number("systickInterval")},
      {false, 36, 4, number("decimationEnabled")},
      {false, 67, 20, batching},
      {false, 10, 4, number("rawMode")},
      {false, 13, 4, number("factoryMode")},
      {false, 61, 4, number("calibrationComplete")},
      {false, 45, 4, number("startupTime")},
      {false, 25, 4, number("intCal")},
      {false, 11, 36, fixed_matrix("calibrationMatrix")},
      {false, 26, 12, calibration_offset},
      {false, 24, 9, orientation},
      {false, 29, 36, fixed_matrix("compassSensitivityCalibrationMatrix")},
      {false, 56, 128, registers, {two_registers}},
      {false, 57, 256, diagnostics, {all_tags, one_text}},
      {false, 58, 256, diagnostics, {all_tags}},
      {false, 59, 256, diagnostics, {all_tags}},
      {false, 60, 256, diagnostics, {all_tags}},
      {true, 57, 496, clients, {some_clients}},
  };
}

class EverySensorReply : public SensorStateTest {
 protected:
  // The entries of the sensor's handler.
  Entries described() {
    driver.story.clear();
    const platform::OwnedStateData data = platform::ask_state_handler(0, OS_STATE_API_REQUEST);
    if (data == nullptr) {
      ADD_FAILURE() << "no snapshot";
      return {};
    }
    return Snapshot(0, *data).entries();
  }

  // What the replies show that are not there, but for this one.
  static Entries without(const ReplyRow& left_out) {
    Entries all = {{"sensorType", "'als-carrier'"}};
    for (const ReplyRow& row : all_replies()) {
      if (row.id != left_out.id || row.is_command != left_out.is_command) {
        all.merge(row.shown({std::string(row.room, '\0'), 0}));
      }
    }
    return all;
  }

  void go_through(const ReplyRow& row) {
    const Entries others = without(row);
    std::vector<Content> contents = row.contents;
    if (everything()) {
      contents.insert(contents.end(), {letters, ones, counting});
    } else if (contents.empty()) {
      contents = {letters};
    }
    std::map<std::uint32_t, Reply>& replies = row.is_command ? driver.commands : driver.properties;
    const std::optional<Reply> usual = replies.contains(row.id) ? std::optional(replies[row.id]) : std::nullopt;
    for (const Content content : contents) {
      for (const Manner manner : kManners) {
        for (const std::size_t length : every_length(row.room)) {
          const ReplyCase reply_case(manner, content(row.room), length);
          replies[row.id] = reply_case.reply;
          Entries expected = row.shown(reply_case.came);
          expected.insert(others.begin(), others.end());
          ASSERT_EQ(described(), expected) << (row.is_command ? "command " : "property ") << row.id << ", " << length
                                           << " bytes, manner " << static_cast<int>(manner);
          ++tried;
        }
      }
    }
    replies.erase(row.id);
    if (usual) {
      replies[row.id] = *usual;
    }
  }

  std::uint64_t tried = 0;
};

TEST_F(EverySensorReply, of_every_length_shows_what_came_and_leaves_the_others_alone) {
  const Story held = things_held();
  for (const ReplyRow& row : all_replies()) {
    go_through(row);
    ASSERT_FALSE(HasFatalFailure());
  }
  tell("replies: sensor, 21 properties and a command, lengths 0 to size + 64", tried, "snapshots", 0);
  EXPECT_EQ(things_held(), held);
  EXPECT_EQ(log, Story{});
}

}  // namespace
}  // namespace hub::test
