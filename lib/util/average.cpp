// SPDX-License-Identifier: MIT
#include <kvrn/util.h>
#include <stdlib.h>

#include "util/number.hpp"

namespace {

// The low 32 bits of sum / count, rounded towards zero. A 64-bit division would add a kilobyte of the compiler's own
// library on a 32-bit device, so this function divides bit by bit.
std::int32_t average(std::int64_t sum, std::uint32_t count) {
  std::uint64_t left = sum < 0 ? 0 - static_cast<std::uint64_t>(sum) : static_cast<std::uint64_t>(sum);
  std::uint64_t rest = 0;
  std::uint32_t quotient = 0;
  for (int bit = 0; bit < 64; ++bit) {
    rest = rest << 1 | left >> 63;
    left <<= 1;
    quotient <<= 1;
    if (rest < count) continue;
    rest -= count;
    quotient |= 1;
  }
  return static_cast<std::int32_t>(sum < 0 ? 0 - quotient : quotient);
}

}  // namespace

int avg_value_buff_init(avg_value_buff* buffer, uint32_t capacity) {
  if (buffer == nullptr) return 0;
  // calloc checks the product for overflow. The cost of zeroing does not matter here.
  buffer->samples = static_cast<int64_t*>(::calloc(capacity == 0 ? 1 : capacity, sizeof(int64_t)));
  if (buffer->samples == nullptr) return 0;
  *buffer = {.samples = buffer->samples, .count = 0, .next = 0, .capacity = capacity, .average = 0};
  return 1;
}

void avg_value_buff_reset(avg_value_buff* buffer) {
  if (buffer == nullptr) return;
  buffer->count = 0;
  buffer->next = 0;
  buffer->average = 0;
}

int64_t avg_value_buff_add(avg_value_buff* buffer, int64_t value) {
  if (buffer == nullptr || buffer->samples == nullptr) return 0;
  if (buffer->count < buffer->capacity) ++buffer->count;
  buffer->samples[buffer->next] = value;
  buffer->next = (buffer->next + 1) % buffer->capacity;
  int64_t sum = 0;
  for (uint32_t i = 0; i < buffer->count; ++i) sum = kvrn::wrap_add(sum, buffer->samples[i]);
  // Programs compare the result with 32-bit numbers that they stored earlier. The result therefore has 32 bits and
  // wraps.
  buffer->average = average(sum, buffer->count);
  return buffer->average;
}

void avg_value_buff_clean(avg_value_buff* buffer) {
  if (buffer != nullptr) ::free(buffer->samples);
}
