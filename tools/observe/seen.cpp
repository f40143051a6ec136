// SPDX-License-Identifier: MIT
#include "tools/observe/seen.hpp"

#include <fmt/core.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace observe {
namespace {

constexpr auto fact_names = [] {
  std::array<const char*, KVRN_FACT_COUNT> names{};
  names[KVRN_FACT_NONE] = "reading";
  names[KVRN_FACT_FAMILY] = "SoC family";
  names[KVRN_FACT_CALIBRATION] = "board id and MAC addresses";
  names[KVRN_FACT_REVISION] = "SoC revision";
  names[KVRN_FACT_RECORDS] = "published readings";
  names[KVRN_FACT_OUTPUT_RECORDS] = "published outputs";
  names[KVRN_FACT_MAINS] = "mains";
  names[KVRN_FACT_SLOT] = "slot";
  names[KVRN_FACT_OUTPUT_VOLTAGE] = "voltage";
  names[KVRN_FACT_OUTPUT_CURRENT] = "current";
  names[KVRN_FACT_TEMPERATURE] = "temperature";
  names[KVRN_FACT_CHARGE_DISABLE] = "charge disable";
  names[KVRN_FACT_CHARGER] = "charger enabled";
  names[KVRN_FACT_CHARGING_CURRENT] = "charging current";
  names[KVRN_FACT_PRESENT] = "present";
  names[KVRN_FACT_CHARGING] = "charging";
  names[KVRN_FACT_VOLTAGE] = "voltage";
  names[KVRN_FACT_CURRENT] = "current";
  names[KVRN_FACT_STATUS] = "status";
  names[KVRN_FACT_STATE_CODE] = "state code";
  names[KVRN_FACT_TIME_TO_EMPTY] = "time to empty";
  names[KVRN_FACT_TIME_TO_FULL] = "time to full";
  names[KVRN_FACT_CYCLE_COUNT] = "cycle count";
  names[KVRN_FACT_MANUFACTURE_DATE] = "manufacture date";
  names[KVRN_FACT_CAPACITY_MODE] = "battery mode";
  names[KVRN_FACT_FULL_CAPACITY] = "full capacity";
  names[KVRN_FACT_REMAINING_CAPACITY] = "remaining capacity";
  names[KVRN_FACT_DESIGN_CAPACITY] = "design capacity";
  names[KVRN_FACT_CELLS] = "cells 5-7";
  names[KVRN_FACT_LOWER_CELLS] = "cells 1-4";
  names[KVRN_FACT_BLOCK_51] = "block 51";
  names[KVRN_FACT_BLOCK_55] = "block 55";
  names[KVRN_FACT_ESTIMATE] = "estimate";
  names[KVRN_FACT_BATTERY_DATA] = "battery data";
  names[KVRN_FACT_RESISTANCE] = "internal resistance";
  names[KVRN_FACT_CALIBRATING] = "calibration";
  names[KVRN_FACT_ASSIST] = "battery assistance";
  names[KVRN_FACT_SWITCHED] = "switched on";
  names[KVRN_FACT_CONFIGURED] = "configured";
  names[KVRN_FACT_PROTECTION] = "protection";
  names[KVRN_FACT_OVERLOAD] = "overload";
  names[KVRN_FACT_OVERLOAD_REQUEST] = "overload request";
  names[KVRN_FACT_INSUFFICIENT_POWER] = "insufficient power";
  names[KVRN_FACT_MAINS_OUTAGE] = "mains outage";
  names[KVRN_FACT_MAINS_OUTAGE_OVERLOAD] = "overload after a mains outage";
  names[KVRN_FACT_BATTERY_OUTAGE] = "battery outage";
  names[KVRN_FACT_LOW_VOLTAGE] = "low voltage";
  names[KVRN_FACT_POWER_METER] = "power meter";
  names[KVRN_FACT_CONFIGURATION] = "configuration";
  return names;
}();
static_assert(
    [] {
      for (const char* name : fact_names)
        if (name == nullptr) return false;
      return true;
    }(),
    "every fact has a name");

std::string age_text(const Seen& image) {
  if (image.what.value == KVRN_NEVER_REFRESHED) return "never refreshed";
  if (image.what.value < 0) return fmt::format("stamped {} s in the future", -image.what.value);
  return fmt::format("{} s old", image.what.value);
}

void add(const kvrn_observation* observation, void* context) {
  static_cast<std::vector<Seen>*>(context)->emplace_back(*observation);
}

}  // namespace

Seen::Seen(const kvrn_observation& observation)
    : what(observation), path(observation.path == nullptr ? "" : observation.path) {
  what.path = nullptr;
}

bool Seen::absent() const {
  const bool may_be = what.kind == KVRN_SOURCE_FILE || what.kind == KVRN_SOURCE_IMAGE;
  return may_be && what.outcome == KVRN_OUTCOME_FAILED && what.error == ENOENT;
}

std::string Seen::fact() const {
  const char* name = fact_names[what.fact];
  switch (what.subject) {
    case KVRN_SUBJECT_PSU:
      return fmt::format("PSU {} {}", what.subject_number, name);
    case KVRN_SUBJECT_OUTPUT:
      return fmt::format("output {} {}", what.subject_number, name);
    case KVRN_SUBJECT_DEVICE:
      break;
  }
  return name;
}

std::string Seen::source() const {
  // "/dev/i2c-2" is bus 2.
  const std::string bus = path.substr(path.rfind('-') + 1);
  switch (what.kind) {
    case KVRN_SOURCE_GPIO:
      return fmt::format("GPIO {}", what.number);
    case KVRN_SOURCE_I2C:
      if (what.number < 0) return fmt::format("I2C {}-{:02x}", bus, what.address);
      return fmt::format("I2C {}-{:02x} register 0x{:02x}", bus, what.address, what.number);
    case KVRN_SOURCE_BLOCK:
      return fmt::format("I2C {}-{:02x} block 0x{:02x}", bus, what.address, what.number);
    default:
      return path;
  }
}

std::string Seen::answer() const {
  switch (what.outcome) {
    case KVRN_OUTCOME_FAILED:
      return absent() ? "no such file" : std::strerror(what.error);
    case KVRN_OUTCOME_WRONG_SIZE:
      return fmt::format("wrong size ({} bytes)", what.value);
    case KVRN_OUTCOME_REFUSED:
      if (what.kind == KVRN_SOURCE_I2C) return fmt::format("{}, which means no data", what.value);
      return what.kind == KVRN_SOURCE_BOARD ? "not what it should hold" : "no number in it";
    case KVRN_OUTCOME_STALE:
    case KVRN_OUTCOME_ANSWERED:
      break;
  }
  switch (what.kind) {
    case KVRN_SOURCE_IMAGE:
      return age_text(*this);
    case KVRN_SOURCE_BOARD:
      return what.fact == KVRN_FACT_REVISION ? fmt::format("0x{:08x}", what.value) : "read";
    case KVRN_SOURCE_BLOCK:
      return fmt::format("{} bytes", what.value);
    default:
      return std::to_string(what.value);
  }
}

Observer::Observer() { ::kvrn_observe(add, &seen_); }
Observer::~Observer() { ::kvrn_observe(nullptr, nullptr); }

}  // namespace observe
