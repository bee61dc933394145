// SPDX-License-Identifier: Apache-2.0
// How the co-processor's properties and commands are called, and how long their replies are, in bytes.
#pragma once

#include <cstddef>
#include <cstdint>

// A property of a service, read through its driver.
struct HubProperty {
  std::uint32_t id;
  std::size_t length;
};

// Button services.
inline constexpr HubProperty kSSHBLatencyStats = {215, 330};
inline constexpr HubProperty kSSHBAssets = {216, 4096};

// Sensor services.
inline constexpr HubProperty kReportInterval = {0, 4};
inline constexpr HubProperty kRawMode = {10, 4};
inline constexpr HubProperty kCalibrationMatrix = {11, 36};
inline constexpr HubProperty kFactoryMode = {13, 4};
inline constexpr HubProperty kManufacturer = {15, 32};
inline constexpr HubProperty kModel = {16, 32};
inline constexpr HubProperty kOrientationMatrix = {24, 9};
inline constexpr HubProperty kIntCal = {25, 4};
inline constexpr HubProperty kCalibrationOffset = {26, 12};
inline constexpr HubProperty kCompassSensitivityCalibrationMatrix = {29, 36};
inline constexpr HubProperty kDecimationEnabled = {36, 4};
inline constexpr HubProperty kStartupTime = {45, 4};
inline constexpr HubProperty kRegisters = {56, 128};
inline constexpr HubProperty kDiagnosticStreams[] = {{57, 256}, {58, 256}, {59, 256}, {60, 256}};
inline constexpr HubProperty kCalibrationComplete = {61, 4};
inline constexpr HubProperty kSystickInterval = {64, 4};
inline constexpr HubProperty kBatching = {67, 20};
inline constexpr HubProperty kLocation = {68, 5};

// A command of a sensor service's driver: the table of its clients.
inline constexpr std::uint32_t kClientTableCommand = 57;
inline constexpr std::size_t kClientTableLength = 496;

// User clients, found by name.
inline constexpr char kFirmwareProfileService[] = "NEB_profile";
inline constexpr std::uint32_t kPrepareProfileCommand = 38;  // its input is the parameter of 4 bytes
inline constexpr std::uint32_t kProfileReportsProperty = 209;
inline constexpr char kProfileDriverService[] = "VantuHUBProfileDriver";
inline constexpr std::uint32_t kDriverReportsMethod = 9;
inline constexpr std::uint32_t kErrorReportsMethod = 8;
