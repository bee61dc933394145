// SPDX-License-Identifier: Apache-2.0
#include "profile/category.h"

#include <array>
#include <iterator>

#include "profile/cumulus_decoder.h"
#include "profile/execution_decoder.h"
#include "profile/haptics_decoder.h"
#include "profile/interrupt_decoder.h"
#include "profile/scm_decoder.h"
#include "profile/sensor_decoder.h"
#include "profile/sphere_decoder.h"
#include "profile/sshb_decoder.h"
#include "profile/trace_decoder.h"
#include "profile/uart_decoder.h"
#include "profile/wake_decoder.h"

namespace hub::profile {
namespace {

constexpr Category kControl{8, nullptr, {}, {}, {}};
constexpr Category kCm{12, nullptr, {}, {}, {}};
constexpr Category kNotRegistered{13, nullptr, {}, {}, {}};

constexpr auto kCategoryRows = std::to_array<const Category*>({
    &execution::kCategory,  // 0
    &trace::kCategory,      // 1
    &sensor::kCategory,     // 2
    &sphere::kCategory,     // 3
    &cumulus::kCategory,    // 4
    &interrupt::kCategory,  // 5
    &uart::kCategory,       // 6
    &sshb::kCategory,       // 7
    &kControl,              // 8
    &scm::kCategory,        // 9
    &wake::kCategory,       // 10
    &haptics::kCategory,    // 11
    &kCm,                   // 12
});

}  // namespace

constinit const std::span<const Category* const> kCategories{kCategoryRows};

const Category& category_of(const _HubProfileReport& report) {
  return report.category_id < std::size(kCategoryRows) ? *kCategoryRows[report.category_id] : kNotRegistered;
}

}  // namespace hub::profile
