// SPDX-License-Identifier: Apache-2.0
#include "host/device/user_client_model.h"

#include "tests/host/device/interface_fixture.h"

namespace hub::test {
namespace {

using host::Answer;
using host::AnswerSequence;
using host::UserClientModel;
using host::UserClientPlan;

constexpr std::uint32_t kReadProperty = 2;
constexpr std::uint32_t kPerformCommand = 3;

struct Got {
  IOReturn status;
  std::string output;
  bool operator==(const Got&) const = default;
};

Got call(UserClientModel& model, std::uint32_t selector, std::vector<std::uint64_t> scalars, std::size_t room = 16) {
  host::Bytes output(room, std::byte{'-'});
  const platform::MethodResult result =
      model.call({.selector = selector, .scalars = scalars, .input = {}, .output = output, .scalars_out = {}});
  EXPECT_EQ(result.scalars_out_count, 0U);
  const std::size_t length = result.status == kIOReturnSuccess ? result.output_bytes : room;
  return {result.status, std::string(reinterpret_cast<const char*>(output.data()), length)};
}

Answer answer(const std::string& text) { return {0, bytes_of(text)}; }

TEST(UserClient, property_command_and_method_are_three_tables) {
  UserClientModel model({.properties = {{7, answer("property")}},
                         .commands = {{7, answer("command")}},
                         .methods = {{7, answer("method")}}});
  EXPECT_EQ(call(model, kReadProperty, {7}), (Got{kIOReturnSuccess, "property"}));
  EXPECT_EQ(call(model, kPerformCommand, {7}), (Got{kIOReturnSuccess, "command"}));
  EXPECT_EQ(call(model, 7, {}), (Got{kIOReturnSuccess, "method"}));
}

TEST(UserClient, method_is_found_whatever_its_scalars) {
  UserClientModel model(with(&UserClientPlan::methods, {{9, answer("method")}}));
  EXPECT_EQ(call(model, 9, {1, 2, 3}), (Got{kIOReturnSuccess, "method"}));
}

TEST(UserClient, unlisted_id_is_unsupported_and_leaves_the_room_alone) {
  UserClientModel model(with(&UserClientPlan::properties, {{7, answer("a")}}));
  EXPECT_EQ(call(model, kReadProperty, {8}, 2), (Got{kIOReturnUnsupported, "--"}));
  EXPECT_EQ(call(model, kPerformCommand, {7}, 2), (Got{kIOReturnUnsupported, "--"}));
  EXPECT_EQ(call(model, 7, {}, 2), (Got{kIOReturnUnsupported, "--"}));
}

TEST(UserClient, id_beyond_32_bits_is_no_other_id) {
  UserClientModel model(with(&UserClientPlan::properties, {{7, answer("a")}}));
  EXPECT_EQ(call(model, kReadProperty, {(std::uint64_t{1} << 32) + 7}, 2), (Got{kIOReturnUnsupported, "--"}));
  EXPECT_EQ(call(model, kReadProperty, {UINT64_MAX}, 2).status, kIOReturnUnsupported);
}

TEST(UserClient, property_or_command_without_one_scalar_is_refused) {
  UserClientModel model(
      with(&UserClientPlan::properties, {{0, answer("a")}}, with(&UserClientPlan::commands, {{0, answer("b")}})));
  for (const std::uint32_t selector : {kReadProperty, kPerformCommand}) {
    EXPECT_EQ(call(model, selector, {}, 2), (Got{kIOReturnBadArgument, "--"}));
    EXPECT_EQ(call(model, selector, {0, 0}, 2), (Got{kIOReturnBadArgument, "--"}));
  }
}

TEST(UserClient, reply_is_cut_to_the_room) {
  UserClientModel model(with(&UserClientPlan::methods, {{9, answer("abc")}}));
  EXPECT_EQ(call(model, 9, {}, 3).output, "abc");
  EXPECT_EQ(call(model, 9, {}, 2).output, "ab");
  EXPECT_EQ(call(model, 9, {}, 0).output, "");
}

TEST(UserClient, status_is_returned) {
  UserClientModel model(with(&UserClientPlan::methods, {{9, Answer{kIOReturnAborted, {}}}}));
  EXPECT_EQ(call(model, 9, {}, 2), (Got{kIOReturnAborted, "--"}));
}

TEST(UserClient, opens_as_planned_call_by_call) {
  UserClientModel model(with(&UserClientPlan::open, {kIOReturnNotPrivileged, kIOReturnSuccess}));
  std::unique_ptr<platform::UserClient> connection;
  EXPECT_EQ(model.open(connection), kIOReturnNotPrivileged);
  EXPECT_EQ(connection, nullptr);
  EXPECT_EQ(model.open(connection), kIOReturnSuccess);
  EXPECT_NE(connection, nullptr);
}

TEST(UserClient, replies_go_on_across_connections) {
  UserClientModel model(with(&UserClientPlan::methods, {{9, AnswerSequence{{answer("1"), answer("2")}}}}));
  const auto through_a_new_connection = [&model] {
    std::unique_ptr<platform::UserClient> connection;
    EXPECT_EQ(model.open(connection), kIOReturnSuccess);
    host::Bytes output(1);
    connection->call({.selector = 9, .scalars = {}, .input = {}, .output = output, .scalars_out = {}});
    return static_cast<char>(output[0]);
  };
  EXPECT_EQ(through_a_new_connection(), '1');
  EXPECT_EQ(through_a_new_connection(), '2');
}

}  // namespace
}  // namespace hub::test
