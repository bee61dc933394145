// SPDX-License-Identifier: Apache-2.0
#include "host/device/driver_model.h"

#include <array>
#include <cstring>

#include "tests/host/device/interface_fixture.h"

namespace hub::test {
namespace {

using host::Answer;
using host::AnswerSequence;
using host::DriverModel;
using host::DriverPlan;
using Sentences = std::vector<std::string>;

constexpr std::uint32_t kReadProperty = 10;

class Driver : public PlatformTest {
 protected:
  // The interface of a driver of this plan.
  IOHIDHubDriverInterface** interface_of(const DriverPlan& plan) {
    model.emplace(plan, observations);
    return query<IOHIDHubDriverInterface>(plugin_of(*model), kIOHIDHubDriverInterfaceID).interface;
  }

  struct Got {
    IOReturn status;
    std::string output;
    bool operator==(const Got&) const = default;
  };

  // What a command brings into so much room.
  static Got send(IOHIDHubDriverInterface** driver, std::uint32_t command, const void* input, std::size_t input_bytes,
                  std::size_t room) {
    std::string output(room, '-');
    std::size_t output_bytes = room;
    const IOReturn status = (*driver)->command(driver, command, input, input_bytes, output.data(), &output_bytes);
    EXPECT_LE(output_bytes, room);
    output.resize(output_bytes);
    return {status, output};
  }

  static Got send(IOHIDHubDriverInterface** driver, std::uint32_t command, std::size_t room = 16) {
    return send(driver, command, nullptr, 0, room);
  }

  static Got read(IOHIDHubDriverInterface** driver, std::uint32_t property, std::size_t room = 16) {
    return send(driver, kReadProperty, &property, sizeof property, room);
  }

  host::Observations observations;
  std::optional<DriverModel> model;
};

TEST_F(Driver, without_a_plugin_makes_none) {
  DriverModel without(with(&DriverPlan::plugin, {.has_plugin = false}), observations);
  IOCFPlugInInterface** plugin = nullptr;
  EXPECT_EQ(without.create_plugin(&plugin), kIOReturnUnsupported);
  EXPECT_EQ(plugin, nullptr);
}

TEST_F(Driver, gives_its_interface_and_no_other) {
  model.emplace(DriverPlan{}, observations);
  IOCFPlugInInterface** plugin = plugin_of(*model);
  const auto own = query<IOHIDHubDriverInterface>(plugin, kIOHIDHubDriverInterfaceID);
  EXPECT_EQ(own.status, S_OK);
  EXPECT_NE(own.interface, nullptr);
  const auto other = query<IOHIDHubDriverInterface>(plugin, kIOHIDHubDeviceInterfaceID);
  EXPECT_EQ(other.status, E_NOINTERFACE);
  EXPECT_EQ(other.interface, nullptr);
}

TEST_F(Driver, without_an_interface_gives_the_planned_status_alone) {
  model.emplace(with(&DriverPlan::plugin, {.has_interface = false, .query_status = 1}), observations);
  const auto queried = query<IOHIDHubDriverInterface>(plugin_of(*model), kIOHIDHubDriverInterfaceID);
  EXPECT_EQ(queried.status, 1);
  EXPECT_EQ(queried.interface, nullptr);
}

TEST_F(Driver, failing_query_comes_with_the_interface) {
  model.emplace(with(&DriverPlan::plugin, {.query_status = -1}), observations);
  const auto queried = query<IOHIDHubDriverInterface>(plugin_of(*model), kIOHIDHubDriverInterfaceID);
  EXPECT_EQ(queried.status, -1);
  EXPECT_NE(queried.interface, nullptr);
}

TEST_F(Driver, makes_another_plugin_object_each_time) {
  model.emplace(DriverPlan{}, observations);
  EXPECT_NE(plugin_of(*model), plugin_of(*model));
}

TEST_F(Driver, objects_are_counted) {
  model.emplace(DriverPlan{}, observations);
  IOCFPlugInInterface** plugin = plugin_of(*model);
  EXPECT_EQ((*plugin)->AddRef(plugin), 2U);
  EXPECT_EQ((*plugin)->Release(plugin), 1U);
  EXPECT_EQ((*plugin)->Release(plugin), 0U);
  EXPECT_EQ(observations.complaints(), Sentences{});
}

TEST_F(Driver, release_too_many_is_a_complaint_and_does_no_harm) {
  IOHIDHubDriverInterface** driver = interface_of({});
  EXPECT_EQ((*driver)->Release(driver), 0U);
  EXPECT_EQ((*driver)->Release(driver), 0U);
  EXPECT_EQ(observations.complaints(), Sentences{"a driver interface was released more often than it was retained"});
  EXPECT_EQ((*driver)->open(driver, 0), kIOReturnSuccess);
}

TEST_F(Driver, opens_as_planned_call_by_call_and_counts_refusals) {
  IOHIDHubDriverInterface** driver =
      interface_of(with(&DriverPlan::open, {kIOReturnNotReady, kIOReturnSuccess, kIOReturnError}));
  EXPECT_EQ((*driver)->open(driver, 0), kIOReturnNotReady);
  EXPECT_EQ((*driver)->open(driver, 0), kIOReturnSuccess);
  EXPECT_EQ(observations.refusals(), 1U);
  EXPECT_EQ((*driver)->open(driver, 0), kIOReturnError);
  EXPECT_EQ((*driver)->open(driver, 0), kIOReturnError);
  EXPECT_EQ(observations.refusals(), 3U);
}

TEST_F(Driver, open_goes_on_across_interfaces) {
  IOHIDHubDriverInterface** one = interface_of(with(&DriverPlan::open, {kIOReturnNotReady, kIOReturnSuccess}));
  auto** other = query<IOHIDHubDriverInterface>(plugin_of(*model), kIOHIDHubDriverInterfaceID).interface;
  EXPECT_EQ((*one)->open(one, 0), kIOReturnNotReady);
  EXPECT_EQ((*other)->open(other, 0), kIOReturnSuccess);
}

TEST_F(Driver, property_is_read_by_its_id_and_command_by_its_own) {
  IOHIDHubDriverInterface** driver =
      interface_of(with(&DriverPlan::properties, {{215, Answer{0, bytes_of("property")}}},
                        with(&DriverPlan::commands, {{215, Answer{0, bytes_of("command")}}})));
  EXPECT_EQ(read(driver, 215), (Got{kIOReturnSuccess, "property"}));
  EXPECT_EQ(send(driver, 215), (Got{kIOReturnSuccess, "command"}));
}

TEST_F(Driver, unlisted_id_is_unsupported_and_leaves_the_room_alone) {
  IOHIDHubDriverInterface** driver = interface_of({});
  EXPECT_EQ(read(driver, 215, 4), (Got{kIOReturnUnsupported, "----"}));
  EXPECT_EQ(send(driver, 57, 4), (Got{kIOReturnUnsupported, "----"}));
}

TEST_F(Driver, status_is_returned_and_leaves_the_room_alone) {
  IOHIDHubDriverInterface** driver = interface_of(with(&DriverPlan::properties, {{1, Answer{kIOReturnTimeout, {}}}}));
  EXPECT_EQ(read(driver, 1, 4), (Got{kIOReturnTimeout, "----"}));
}

TEST_F(Driver, success_without_bytes_has_no_length) {
  IOHIDHubDriverInterface** driver = interface_of(with(&DriverPlan::properties, {{1, Answer{}}}));
  EXPECT_EQ(read(driver, 1, 4), (Got{kIOReturnSuccess, ""}));
}

TEST_F(Driver, reply_is_cut_to_the_room) {
  IOHIDHubDriverInterface** driver = interface_of(with(&DriverPlan::properties, {{1, Answer{0, bytes_of("abc")}}}));
  EXPECT_EQ(read(driver, 1, 3).output, "abc");
  EXPECT_EQ(read(driver, 1, 2).output, "ab");
  EXPECT_EQ(read(driver, 1, 0).output, "");
}

TEST_F(Driver, replies_of_each_id_go_on_by_themselves) {
  const AnswerSequence sequence{{{0, bytes_of("1")}, {0, bytes_of("2")}}};
  IOHIDHubDriverInterface** driver = interface_of(with(&DriverPlan::properties, {{1, sequence}, {2, sequence}}));
  EXPECT_EQ(read(driver, 1).output, "1");
  EXPECT_EQ(read(driver, 1).output, "2");
  EXPECT_EQ(read(driver, 2).output, "1");
}

TEST_F(Driver, property_id_of_another_width_is_refused) {
  IOHIDHubDriverInterface** driver = interface_of(with(&DriverPlan::properties, {{0, Answer{0, bytes_of("a")}}}));
  const std::uint64_t zeros = 0;
  for (const std::size_t width : {0U, 3U, 5U, 8U}) {
    EXPECT_EQ(send(driver, kReadProperty, &zeros, width, 4), (Got{kIOReturnBadArgument, "----"})) << width;
  }
}

TEST_F(Driver, command_may_have_no_output) {
  IOHIDHubDriverInterface** driver = interface_of(with(&DriverPlan::commands, {{57, Answer{0, bytes_of("abc")}}}));
  EXPECT_EQ((*driver)->command(driver, 57, nullptr, 0, nullptr, nullptr), kIOReturnSuccess);
  std::size_t output_bytes = 8;
  EXPECT_EQ((*driver)->command(driver, 57, nullptr, 0, nullptr, &output_bytes), kIOReturnSuccess);
  EXPECT_EQ(output_bytes, 0U);
  std::array<char, 2> room = {'k', 'k'};
  EXPECT_EQ((*driver)->command(driver, 57, nullptr, 0, room.data(), nullptr), kIOReturnSuccess);
  EXPECT_EQ(room, (std::array<char, 2>{'k', 'k'}));
}

TEST_F(Driver, answers_several_threads_with_each_reply_once) {
  AnswerSequence sequence;
  for (int index = 0; index < 200; ++index) {
    sequence.answers.push_back({0, {static_cast<std::byte>(index)}});
  }
  IOHIDHubDriverInterface** driver = interface_of(with(&DriverPlan::commands, {{1, sequence}}));
  std::array<std::string, 2> got;
  in_threads(got.size(), [&](std::size_t thread) {
    for (int call = 0; call < 100; ++call) {
      got[thread] += send(driver, 1).output;
    }
  });
  const std::set<char> different = [&] {
    std::set<char> bytes(got[0].begin(), got[0].end());
    bytes.insert(got[1].begin(), got[1].end());
    return bytes;
  }();
  EXPECT_EQ(different.size(), 200U);
}

}  // namespace
}  // namespace hub::test
