// SPDX-License-Identifier: Apache-2.0
// Services that are reached by name, for tests of the plug-in: their user clients do what a test's script says and
// write down what they are asked.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>

#include "registry/service_backend.h"
#include "tests/support/recording_kernel.h"

namespace hub::test {

inline std::string hex(std::span<const std::byte> bytes) {
  std::string text;
  for (const std::byte byte : bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    text += kDigits[std::to_integer<unsigned>(byte) >> 4U];
    text += kDigits[std::to_integer<unsigned>(byte) & 0xFU];
  }
  return text;
}

// One service, whose user clients all answer by the same script.
class RecordingClientService final : public platform::ServiceBackend {
 public:
  explicit RecordingClientService(AnswerScript its_answer) : answer(std::move(its_answer)) {}

  kern_return_t open_user_client(std::uint32_t type, std::unique_ptr<platform::UserClient>& client) override {
    ++opened;
    EXPECT_EQ(type, 0U);
    if (open_status == kIOReturnSuccess) {
      client = std::make_unique<Client>(*this);
    }
    return open_status;
  }

  AnswerScript answer;
  IOReturn open_status = kIOReturnSuccess;
  int opened = 0;
  Story scalars;  // of each call: " scalar 209"

 private:
  struct Client final : platform::UserClient {
    explicit Client(RecordingClientService& its_service) : service(its_service) {}
    platform::MethodResult call(const platform::MethodCall& call) override {
      std::string text;
      for (const std::uint64_t scalar : call.scalars) {
        text += " scalar " + std::to_string(scalar);
      }
      EXPECT_TRUE(call.scalars_out.empty());
      service.scalars.push_back(text);
      platform::MethodResult result{.status = kIOReturnSuccess};
      result.status = service.answer(call.selector, call.input, call.output, result.output_bytes);
      return result;
    }
    RecordingClientService& service;
  };
};

// Puts one in the registry.
inline std::shared_ptr<RecordingClientService> add_client_service(const std::string& name, AnswerScript answer) {
  auto service = std::make_shared<RecordingClientService>(std::move(answer));
  const auto entry = platform::add_registry_entry(platform::kNoParent, name, "Client", nullptr);
  platform::set_service_backend(entry, service);
  return service;
}

}  // namespace hub::test
