// SPDX-License-Identifier: Apache-2.0
// The categories that have names and no payloads of their own.
#include "tests/support/decoding.h"

namespace hub::test {
namespace {

TEST(ExecutionDecoder, components_have_their_names) {
  expect_components(
      NEBLogDecoder::_exec,
      {{0, "scheduler"}, {1, "function"}, {2, "workloop"}, {3, "command"}, {4, "extfunction"}, {5, "timing"}});
}

TEST(ExecutionDecoder, each_component_but_timing_has_an_event_table) {
  const Names tables[] = {
      {{0, "context-switch"}, {1, "prevent-nap"}, {2, "thread-state"}},
      {{0, "function"}},
      {{0, "action"}, {1, "signal"}},
      {{0, "start"},
       {1, "finalize"},
       {2, "new-packet"},
       {3, "receive"},
       {4, "timeout"},
       {5, "live-report"},
       {6, "hist-report"},
       {7, "user-report"}},
      {{0, "extfunction"}},
  };
  for (unsigned component = 0; component < std::size(tables); ++component) {
    expect_exactly(tables[component],
                   [&](unsigned event) { return NEBLogDecoder::_exec.event_name(component, event); });
  }
}

TEST(ExecutionDecoder, events_of_timing_and_of_unknown_components_are_numbers) {
  for (unsigned component : {5U, 6U, 255U, 4294967295U}) {
    expect_exactly({}, [&](unsigned event) { return NEBLogDecoder::_exec.event_name(component, event); });
  }
}

TEST(TraceDecoder, components_have_their_names) {
  expect_components(NEBLogDecoder::_trace, {{0, "remoteq"}, {1, "endpoint"}, {2, "systick"}, {3, "interrupt"}});
}

TEST(TraceDecoder, events_are_always_numbers) { expect_numbers_for_events(NEBLogDecoder::_trace); }

TEST(SensorDecoder, components_have_their_names) {
  expect_components(
      NEBLogDecoder::_sensor,
      {{0, "accel"}, {1, "gyro"}, {2, "compass"}, {3, "pressure"}, {4, "helium"}, {5, "als"}, {6, "temperature"}});
}

TEST(SensorDecoder, one_event_table_with_a_gap_serves_every_component) {
  expect_events_of_all_components(NEBLogDecoder::_sensor, {{0, "latency"},
                                                           {1, "rawdata"},
                                                           {2, "data"},
                                                           {3, "filtdata"},
                                                           {4, "apdata"},
                                                           {5, "regwrite"},
                                                           {6, "regread"},
                                                           {7, "update"},
                                                           {8, "filter-state"},
                                                           {9, "sensor-info"},
                                                           {10, "annotation"},
                                                           {16, "trigger-magnitude"},
                                                           {17, "trigger-latency"}});
}

TEST(SphereDecoder, names_its_component_and_events) {
  expect_components(NEBLogDecoder::_sphere, {{0, "sphere"}});
  expect_events_of_all_components(NEBLogDecoder::_sphere, {{0, "latency"}, {1, "monitor"}, {17, "trigger-latency"}});
}

TEST(InterruptDecoder, names_its_component_and_event) {
  expect_components(NEBLogDecoder::_interrupt, {{0, "gpio"}});
  expect_events_of_all_components(NEBLogDecoder::_interrupt, {{0, "latency"}});
}

TEST(UartDecoder, names_its_components_and_events) {
  expect_components(NEBLogDecoder::_uart, {{0, "uart0"}, {1, "uart1"}, {2, "uart2"}});
  expect_events_of_all_components(NEBLogDecoder::_uart, {{0, "preamble"},
                                                         {1, "sw-handshake"},
                                                         {2, "hw-handshake"},
                                                         {3, "trace"},
                                                         {4, "packet"},
                                                         {5, "baseband"},
                                                         {6, "transport"},
                                                         {7, "neb-test"}});
}

TEST(ScmDecoder, components_have_their_names) {
  expect_components(NEBLogDecoder::_scm,
                    {{0, "spi0"}, {1, "smb0"}, {2, "smb1"}, {3, "i2cm0"}, {4, "i2c_ctrl0"}, {5, "i2c_ctrl1"}});
}

TEST(ScmDecoder, events_are_always_numbers) { expect_numbers_for_events(NEBLogDecoder::_scm); }

}  // namespace
}  // namespace hub::test
