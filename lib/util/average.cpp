// SPDX-License-Identifier: MIT
#include <kvrn/util.h>
#include <stdlib.h>

#include "util/number.hpp"

int avg_value_buff_init(avg_value_buff* buffer, uint32_t capacity) {
  if (buffer == nullptr) return 0;
  // calloc checks the product; the zeroed ring costs nothing that matters.
  buffer->samples = static_cast<int64_t*>(::calloc(capacity == 0 ? 1 : capacity, sizeof(int64_t)));
  if (buffer->samples == nullptr) return 0;
  buffer->capacity = capacity;
  avg_value_buff_reset(buffer);
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
  // Programs compare the result with 32-bit numbers they stored earlier: it stays within 32 bits and wraps.
  buffer->average = kvrn::wrap_i32(sum / static_cast<int64_t>(buffer->count));
  return buffer->average;
}

void avg_value_buff_clean(avg_value_buff* buffer) {
  if (buffer != nullptr) ::free(buffer->samples);
}
