// SPDX-License-Identifier: Apache-2.0
#include "profile/NEBLogDecoder.h"

#include <array>
#include <type_traits>

#include "profile/line_text.h"

namespace {

template <typename... Decoders>
constexpr bool have_no_data = ((sizeof(Decoders) == sizeof(void*) && std::is_trivially_destructible_v<Decoders>)&&...);

static_assert(have_no_data<execution_decoder, trace_decoder, sensor_decoder, sphere_decoder, cumulus_decoder,
                           interrupt_decoder, uart_decoder, sshb_decoder, scm_decoder, wake_decoder, haptics_decoder>);

// The registered decoder of a category, or null.
profile_decoder* decoder_of(unsigned int category) {
  return category < NEBLogDecoder::kCategoryCount ? NEBLogDecoder::_decoders[category] : nullptr;
}

}  // namespace

constinit execution_decoder NEBLogDecoder::_exec;
constinit trace_decoder NEBLogDecoder::_trace;
constinit sensor_decoder NEBLogDecoder::_sensor;
constinit sphere_decoder NEBLogDecoder::_sphere;
constinit cumulus_decoder NEBLogDecoder::_cumulus;
constinit interrupt_decoder NEBLogDecoder::_interrupt;
constinit uart_decoder NEBLogDecoder::_uart;
constinit sshb_decoder NEBLogDecoder::_sshb;
constinit profile_decoder NEBLogDecoder::_control;
constinit scm_decoder NEBLogDecoder::_scm;
constinit wake_decoder NEBLogDecoder::_wake;
constinit haptics_decoder NEBLogDecoder::_haptics;
constinit profile_decoder NEBLogDecoder::_cm;
constinit profile_decoder NEBLogDecoder::_default;

constinit profile_decoder* const NEBLogDecoder::_decoders[kCategoryCount] = {
    &_exec,       // 0
    &_trace,      // 1
    &_sensor,     // 2
    &_sphere,     // 3
    &_cumulus,    // 4
    &_interrupt,  // 5
    &_uart,       // 6
    &_sshb,       // 7
    &_control,    // 8: the base decoder on purpose
    &_scm,        // 9
    &_wake,       // 10
    &_haptics,    // 11
    &_cm,         // 12: the base decoder on purpose
};

std::string NEBLogDecoder::to_string(const _HubProfileReport& report) {
  std::array<char, hub::profile::kLineRoom> line;
  return {line.data(), hub::profile::put_line(line.data(), report)};
}

std::string NEBLogDecoder::category_to_string(unsigned int category) {
  profile_decoder* decoder = decoder_of(category);
  return decoder != nullptr ? decoder->category_name(category) : std::to_string(category);
}

std::string NEBLogDecoder::component_to_string(unsigned int category, unsigned int component) {
  profile_decoder* decoder = decoder_of(category);
  return decoder != nullptr ? decoder->component_name(component) : std::to_string(component);
}
