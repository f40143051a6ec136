// SPDX-License-Identifier: MIT
// What the tests on a simulated device share.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>
#include <kvrn/kvrn.hpp>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>

#include "sim/device.hpp"
#include "tests/files.hpp"

using kvrn::sim::Device;

// A record or an image as its file holds it.
template <typename Record>
std::string bytes_of(const Record& record) {
  return {reinterpret_cast<const char*>(&record), sizeof record};
}

// What the monitor of an output, counted from 1, reads.
inline void load_output(Device& device, int output, const char* voltage_mv, const char* current_ma) {
  const std::string monitor = "mon-dc-out-" + std::to_string(output);
  device.hwmon(monitor, "in0_input", voltage_mv);
  device.hwmon(monitor, "curr1_input", current_ma);
}

// A caller's own source of a cache, which hands out a view; one without records fails.
template <typename View>
struct OwnSource {
  View view{};
  cache_source source{this, nullptr, get, nullptr};

  static int get(cache_source* self, void* out) {
    const View& view = static_cast<OwnSource*>(self->state)->view;
    *static_cast<View*>(out) = view;
    return view.records != nullptr ? 1 : 0;
  }
};
