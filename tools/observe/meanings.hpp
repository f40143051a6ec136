// SPDX-License-Identifier: MIT
// Texts for people about the codes of the library.
#pragma once

#include <array>
#include <cstddef>

namespace observe {

// The meaning of a result of get_device_state(); null for a number that is no code.
inline const char* device_state_meaning(int code) {
  static constexpr std::array<const char*, 15> meanings{"running on mains, battery idle",
                                                        "running on battery",
                                                        nullptr,
                                                        nullptr,
                                                        "battery low",
                                                        "outputs off, or no source",
                                                        "mains failed on the first input",
                                                        "mains failed on the second input",
                                                        "outputs overloaded",
                                                        "output stopped by its protection",
                                                        "charging",
                                                        "charging with the highest current",
                                                        "calibrating the battery",
                                                        "battery error",
                                                        "running on mains, no battery or a battery outage"};
  return code >= 0 && static_cast<std::size_t>(code) < meanings.size() ? meanings[static_cast<std::size_t>(code)]
                                                                       : nullptr;
}

}  // namespace observe
