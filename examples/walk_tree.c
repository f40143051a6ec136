/* SPDX-License-Identifier: MIT */
/* Prints the SNMP tree without an agent. The program is the host: the library calls the four functions below. Link the
   program with -rdynamic, or the library does not find these functions. */
#include <inttypes.h>
#include <kvrn/kvrn.h>
#include <stdio.h>

static void print_oid(const kvrn_snmp_oid_word* oid) {
  /* The first word is the number of words that follow. The second word encodes two arcs. */
  printf("%" PRIu32 ".%" PRIu32, oid[1] / 40, oid[1] % 40);
  for (uint32_t i = 2; i <= oid[0]; i++) printf(".%" PRIu32, oid[i]);
}

int odb_add(void* host, const kvrn_snmp_oid_word* oid, const kvrn_snmp_value* value) {
  ++*(int*)host;
  print_oid(oid);
  switch (value->type) {
    case KVRN_SNMP_TYPE_OCTET_STRING: /* not terminated */
      printf(" = \"%.*s\"\n", (int)value->as.text.length, value->as.text.bytes);
      break;
    case KVRN_SNMP_TYPE_OBJECT_ID:
      printf(" = ");
      print_oid(value->as.oid);
      printf("\n");
      break;
    case KVRN_SNMP_TYPE_INTEGER:
      printf(" = %" PRId32 "\n", (int32_t)value->as.number);
      break;
    default:
      printf(" = %" PRIu32 "\n", value->as.number);
  }
  return 0;
}

void odb_destroy(void* host) { *(int*)host = 0; }
void abz_clear_error(void* host) { (void)host; }
void abz_set_error(const char* format, ...) { (void)format; }

int main(void) {
  int objects = 0; /* the host's context, which the library passes to odb_add() */
  int result = update_kvrn_table(&objects, 1);
  printf("%d objects\n", objects);
  return result != 0;
}
