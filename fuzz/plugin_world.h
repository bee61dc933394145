// SPDX-License-Identifier: Apache-2.0
// The plug-in among services whose replies are the fuzzer's bytes. Nothing is scheduled: what would run on the
// plug-in's queue runs on the thread that asks.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "VantuHUBHIDStatistics.h"
#include "fuzz/fuzzing.h"
#include "fuzz/things_held.h"
#include "propertylist/property_list_reader.h"
#include "registry/service_backend.h"
#include "state/state_host.h"
#include "tests/support/recording_kernel.h"

namespace hub::fuzz {

using Usages = std::set<test::Usage>;

// An input as the replies to whatever is asked, one after the other, and from its beginning when it has come to its
// end. A byte says what becomes of each call, for which the driver has room of so many bytes:
//
//   0, 6, 7 (mod 8)   success, all of the room is filled
//   1                 success, two bytes say how much of it
//   2                 success, nothing
//   3                 success, all of the room is filled, and the next byte says how much more is reported
//   4                 a code that is not 0
//   5                 the same, though all of the room is filled
class Replies {
 public:
  struct Answered {
    IOReturn status = kIOReturnSuccess;
    std::size_t length = 0;        // as reported
    std::vector<std::byte> bytes;  // the room, zeros where nothing was written
  };

  void begin(std::span<const std::byte> input) {
    input_ = input;
    position_ = 0;
  }

  IOReturn answer(std::span<std::byte> room, std::size_t& length) {
    const unsigned how = next() % 8;
    const bool is_failure = how == 4 || how == 5;
    const std::size_t filled = how == 1   ? (next() | next() << 8U) % (room.size() + 1)
                               : how == 2 ? 0
                               : how == 4 ? 0
                                          : room.size();
    std::generate_n(room.begin(), filled, [this] { return static_cast<std::byte>(next()); });
    length = how == 3 ? filled + next() : filled;
    last_.status = is_failure ? kIOReturnError + static_cast<IOReturn>(next()) : kIOReturnSuccess;
    last_.length = length;
    last_.bytes.assign(room.size(), std::byte{0});
    std::copy_n(room.begin(), filled, last_.bytes.begin());
    return last_.status;
  }

  // What was answered last.
  [[nodiscard]] const Answered& last() const { return last_; }

 private:
  unsigned next() {
    if (input_.empty()) {
      return 0;
    }
    const auto byte = std::to_integer<unsigned>(input_[position_]);
    position_ = (position_ + 1) % input_.size();
    return byte;
  }

  std::span<const std::byte> input_;
  std::size_t position_ = 0;
  Answered last_;
};

// A service that is found by its name, whose user clients answer from the replies.
class AnsweringClientService final : public platform::ServiceBackend {
 public:
  explicit AnsweringClientService(Replies& replies) : replies_(replies) {}

  kern_return_t open_user_client(std::uint32_t, std::unique_ptr<platform::UserClient>& client) override {
    std::size_t length = 0;
    const kern_return_t status = replies_.answer({}, length);
    if (status == kIOReturnSuccess) {
      client = std::make_unique<Client>(replies_);
    }
    return status;
  }

 private:
  struct Client final : platform::UserClient {
    explicit Client(Replies& its_replies) : replies(its_replies) {}
    platform::MethodResult call(const platform::MethodCall& call) override {
      platform::MethodResult result{.status = kIOReturnSuccess};
      result.status = replies.answer(call.output, result.output_bytes);
      return result;
    }
    Replies& replies;
  };

  Replies& replies_;
};

// The plug-in, open, and what has been registered with it. Lives to the end of the process.
class World {
 public:
  World()
      : plugin_(static_cast<IOHIDSessionFilterPlugInInterface**>(
            VantuHUBHIDStatisticsFactory(kCFAllocatorDefault, kIOHIDSessionFilterPlugInTypeID))) {
    require((*plugin_)->open(plugin_, nullptr, 0), "the plug-in opens");
  }

  // Offers a service of these usages, whose driver answers from the replies.
  test::RecordedService& offer(Usages usages, bool has_statistics = false) {
    test::ServiceScript script;
    script.levels_above = 3;
    script.usages = std::move(usages);
    if (has_statistics) {
      script.supports_statistics = platform::Owned<CFTypeRef>(CFRetain(kCFBooleanTrue));
    }
    script.answer = [this](std::uint32_t, std::span<const std::byte>, std::span<std::byte> output,
                           std::size_t& length) { return replies.answer(output, length); };
    services_.push_back(std::make_unique<test::RecordedService>(std::move(script), questions_, questions_));
    (*plugin_)->registerService(plugin_, services_.back()->service.get());
    return *services_.back();
  }

  void offer_clients(const std::string& name) {
    const auto entry = platform::add_registry_entry(platform::kNoParent, name, "Client", nullptr);
    platform::set_service_backend(entry, std::make_shared<AnsweringClientService>(replies));
  }

  Replies replies;

 private:
  IOHIDSessionFilterPlugInInterface** plugin_;
  test::Story questions_;
  std::vector<std::unique_ptr<test::RecordedService>> services_;
};

struct Snapshot {
  std::string title;
  platform::PropertyListValue contents;
};

// What a handler gave.
inline Snapshot read_back(const os_state_data_s& record) {
  require(record.type == OS_STATE_DATA_SERIALIZED_CF_OBJECT, "a record is a property list");
  const std::span data(reinterpret_cast<const std::byte*>(record.data), record.data_size_bytes);
  return {record.title, platform::read_property_list(data)};
}

// Asks one handler for a request's snapshot, has `check` look at it, and sees that nothing is left over.
template <typename Check>
void ask_handler(std::size_t handler, const Check& check) {
  const auto before = things_held();
  {
    const platform::OwnedStateData record = platform::ask_state_handler(handler, OS_STATE_API_REQUEST);
    check(record.get());
  }
  require(things_held() == before, "nothing is left over");
}

// A dictionary's entry; ends the process when there is none.
inline const platform::PropertyListValue& entry(const platform::PropertyListValue& dictionary, std::string_view key) {
  const auto* members = std::get_if<platform::PropertyListDictionary>(&dictionary.value);
  require(members != nullptr, "there is a dictionary around", key);
  const auto found =
      std::find_if(members->begin(), members->end(), [key](const auto& member) { return member.key == key; });
  require(found != members->end(), "there is such an entry", key);
  return found->value;
}

// The same, of this type.
template <typename Value>
const Value& entry(const platform::PropertyListValue& dictionary, std::string_view key) {
  const auto* value = std::get_if<Value>(&entry(dictionary, key).value);
  require(value != nullptr, "an entry is of its type", key);
  return *value;
}

inline std::size_t entries_in(const platform::PropertyListValue& dictionary) {
  return std::get<platform::PropertyListDictionary>(dictionary.value).size();
}

}  // namespace hub::fuzz
