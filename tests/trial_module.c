/* SPDX-License-Identifier: MIT */
/* A module that does what a file says: the file named by TRIAL_MODULE holds "fail", "hang", "huge", or the number to
 * publish. From its loading to its first update it holds /dev/zero open, as a refresh holds a line. */
#include <kvrn/snmp.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static const kvrn_snmp_oid_word root[] = {6, 43, 6, 1, 4, 1, 47474};
static const kvrn_snmp_oid_word object[] = {8, 43, 6, 1, 4, 1, 47474, 1, 0};

static FILE* held;
__attribute__((constructor)) static void hold(void) { held = fopen("/dev/zero", "re"); }

static int update(void* host) {
  if (held != NULL) {
    usleep(200000); /* while the other threads start */
    (void)fclose(held);
    held = NULL;
  }
  char order[32] = "";
  FILE* file = fopen(getenv("TRIAL_MODULE"), "re");
  if (file != NULL) {
    (void)!fgets(order, sizeof order, file);
    (void)fclose(file);
  }
  abz_clear_error(host);
  odb_destroy(host);
  if (strncmp(order, "hang", 4) == 0) pause();
  kvrn_snmp_value value;
  value.type = KVRN_SNMP_TYPE_INTEGER;
  value.as.number = (uint32_t)strtoul(order, NULL, 10);
  if (strncmp(order, "huge", 4) == 0) {
    value.type = KVRN_SNMP_TYPE_OCTET_STRING;
    value.as.text.length = UINT32_MAX;
    value.as.text.bytes = order;
  }
  int result = odb_add(host, object, &value);
  if (strncmp(order, "fail", 4) == 0) {
    abz_set_error("sensor %d is on fire", 7);
    result = 5;
  }
  return result;
}

#ifdef TRIAL_SIZE
/* Another object, by the name that a host looks up. */
KVRN_API const void* trial_words[] __asm__("module") = {root, (const void*)update};
#else
kvrn_snmp_module module = {"trial", "trial module", root, root, {TRIAL_WORD, 0}, update, {0}};
#endif
