// SPDX-License-Identifier: MIT
// Everything that the monitor publishes: both status caches and, where the board has a smart battery, its readings.
#pragma once

#include <kvrn/kvrn.hpp>

#include <array>

#include "cache/writer.hpp"

namespace monitord {

class Publisher {
 public:
  Publisher();
  explicit operator bool() const { return psus_ && outputs_; }

  // Reads the hardware once and publishes it. Failures are logged when they begin and when they end.
  // @return every file holds this reading
  bool refresh();

  // Each file that does not hold the last reading, and why; empty when all do.
  const char* failure() const { return failure_.data(); }

 private:
  using Failure = std::array<char, 512>;

  void publish_battery();
  void log_change(const Failure& failure);

  bool smart_battery_;
  int limit_mw_ = 0;
  kvrn::WriterImage battery_image_;
  kvrnpp::CacheSource psus_;
  kvrnpp::CacheSource outputs_;
  Failure failure_{};
};

}  // namespace monitord
