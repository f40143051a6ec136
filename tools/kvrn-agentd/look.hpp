// SPDX-License-Identifier: MIT
// One reading of the device, for the notifications: the objects of one update, and what no object tells.
#pragma once

#include <kvrn/cache.h>

#include <array>
#include <cstdint>
#include <optional>

#include "tools/kvrn-agentd/refresher.hpp"

namespace agentd {

struct Look {
  struct Output {
    std::int32_t state = 0;  // enum kvrn_output_state
    bool on = false;
  };

  TablePtr table;                                 // never null
  bool expired = false;                           // there are no complete readings: the table is empty
  std::optional<bool> outputs_frozen{};           // nothing on a board without outputs
  std::array<Output, KVRN_OUTPUT_MAX> outputs{};  // meaningless while they are frozen
  std::uint32_t unread = 0;                       // a bit for each source whose line could not be read
  bool mains_unread = false;                      // one of them is an input: whether batteries discharge is unknown
  std::optional<std::int32_t> device_state{};     // enum kvrn_device_state; nothing when a part of it could not be read
};

// Reads what the table does not have. Takes 600 ms for each battery without its file, and the hardware may hang. Only
// one thread at a time may call it.
Look look_at_device(TablePtr table);

// What there is to see when the last readings are too old.
Look look_without_readings();

}  // namespace agentd
