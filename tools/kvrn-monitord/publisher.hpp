// SPDX-License-Identifier: MIT
// Everything that the monitor publishes: both status caches and, where the board has a smart battery, its readings.
#pragma once

#include <kvrn/kvrn.h>

#include <memory>

#include "cache/writer.hpp"

namespace monitord {

struct DestroySource {
  void operator()(cache_source* source) const { source->destroy(source); }
};
using Source = std::unique_ptr<cache_source, DestroySource>;

class Publisher {
 public:
  Publisher();
  explicit operator bool() const { return psus_ && outputs_; }

  // Reads the hardware once and publishes it. Failures are logged when they begin and when they end.
  // @return every file holds this reading
  bool refresh();

 private:
  bool publish_battery();
  static bool is_published(const kvrn::ImageSpec& spec, std::int64_t since);
  void log_change(bool working);

  bool smart_battery_;
  int limit_mw_ = 0;
  kvrn::WriterImage battery_image_;
  Source psus_;
  Source outputs_;
  bool working_ = true;
};

}  // namespace monitord
