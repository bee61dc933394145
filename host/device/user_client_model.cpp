// SPDX-License-Identifier: Apache-2.0
#include "host/device/user_client_model.h"

namespace hub::host {
namespace {

// The selectors whose answers go by the scalar that comes in; the others go by themselves.
constexpr std::uint32_t kReadProperty = 2;
constexpr std::uint32_t kPerformCommand = 3;

class Connection final : public platform::UserClient {
 public:
  explicit Connection(UserClientModel& model) : model_(model) {}

  platform::MethodResult call(const platform::MethodCall& call) override { return model_.call(call); }

 private:
  UserClientModel& model_;
};

}  // namespace

UserClientModel::UserClientModel(const UserClientPlan& plan)
    : open_(plan.open), properties_(plan.properties), commands_(plan.commands), methods_(plan.methods) {}

kern_return_t UserClientModel::open(std::unique_ptr<platform::UserClient>& client) {
  const std::lock_guard lock(mutex_);
  const kern_return_t status = open_.next();
  if (status == kIOReturnSuccess) {
    client = std::make_unique<Connection>(*this);
  }
  return status;
}

UserClientModel::Place UserClientModel::place_of(const platform::MethodCall& call) {
  switch (call.selector) {
    case kReadProperty:
      return {properties_, call.scalars.front()};
    case kPerformCommand:
      return {commands_, call.scalars.front()};
    default:
      return {methods_, call.selector};
  }
}

platform::MethodResult UserClientModel::call(const platform::MethodCall& call) {
  if ((call.selector == kReadProperty || call.selector == kPerformCommand) && call.scalars.size() != 1) {
    return {.status = kIOReturnBadArgument};
  }
  const std::lock_guard lock(mutex_);
  const Place place = place_of(call);
  if (place.id > UINT32_MAX) {
    return {.status = kIOReturnUnsupported};
  }
  platform::MethodResult result{.status = kIOReturnSuccess};
  result.status = place.answers.answer(static_cast<std::uint32_t>(place.id), call.output, result.output_bytes);
  return result;
}

}  // namespace hub::host
