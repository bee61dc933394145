// SPDX-License-Identifier: Apache-2.0
// A service's user client as a device file tells it.
#pragma once

#include <memory>
#include <mutex>

#include "host/device/driver_model.h"
#include "registry/service_backend.h"

namespace hub::host {

// Outlives the connections that it opens.
class UserClientModel {
 public:
  explicit UserClientModel(const UserClientPlan& plan);

  kern_return_t open(std::unique_ptr<platform::UserClient>& client);
  platform::MethodResult call(const platform::MethodCall& call);

 private:
  // Where a call's answer stands: the table, and the id in it.
  struct Place {
    AnswerTable& answers;
    std::uint64_t id;
  };
  Place place_of(const platform::MethodCall& call);

  std::mutex mutex_;
  Status open_;
  AnswerTable properties_;
  AnswerTable commands_;
  AnswerTable methods_;
};

}  // namespace hub::host
