/* SPDX-License-Identifier: MIT */
/* A program whose own functions have names of the library's. The library must neither call nor be replaced by them. */
#include <kvrn/kvrn.h>
#include <stdio.h>
#include <stdlib.h>

/* Exported by the program, as a plug-in host's are. */
#define EXPORTED __attribute__((visibility("default")))

static void* called_by_library(void) {
  fputs("the library called the program's function\n", stderr);
  abort();
}

EXPORTED cfg_entry* parse(const char* path) {
  (void)path;
  return called_by_library();
}
EXPORTED const char* get_value(const cfg_entry* cfg, const char* fallback, const char* pattern, ...) {
  (void)cfg, (void)fallback, (void)pattern;
  return called_by_library();
}
EXPORTED int gpio_read(uint32_t line) { return line == 0 || called_by_library() != NULL; }
EXPORTED int get_psu_count(void) { return called_by_library() != NULL; }

int main(void) {
  psu_info psus[KVRN_PSU_MAX];
  const int count = psu_info_get_all(psus, NULL);
  if (crypt_cfg("/nonexistent", "/dev/null", 0) != -1) return 1; /* parses on its own */
  printf("%d sources, first id %u, %d amps\n", count, (unsigned)kvrn_u32(psus[0].id), read_gpio(111, NULL));
  return count >= 2 ? 0 : 1;
}
