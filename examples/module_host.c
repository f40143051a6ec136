/* SPDX-License-Identifier: MIT */
/* module_host [LIBRARY]: loads the library at run time as a plug-in, as an agent does, and runs one update. */
#include <dlfcn.h>
#include <kvrn/snmp.h>
#include <stdarg.h>
#include <stdio.h>

/* The host's functions. The library finds them by name, because the program is linked with -rdynamic. */
int odb_add(void* host, const kvrn_snmp_oid_word* oid, const kvrn_snmp_value* value) {
  (void)oid, (void)value;
  ++*(int*)host;
  return 0; /* anything else ends the update */
}
void odb_destroy(void* host) { *(int*)host = 0; }
void abz_clear_error(void* host) { (void)host; }
void abz_set_error(const char* format, ...) {
  va_list args;
  va_start(args, format);
  vfprintf(stderr, format, args);
  va_end(args);
}

int main(int argc, char** argv) {
  void* library = dlopen(argc > 1 ? argv[1] : "libkvrn.so.1", RTLD_NOW | RTLD_LOCAL);
  if (library == NULL) {
    fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  const kvrn_snmp_module* plugin = dlsym(library, "module");
  if (plugin == NULL) return 1;
  int objects = 0;
  int result = plugin->update(&objects);
  printf("%s: %d objects at .1.3", plugin->name, objects);
  for (uint32_t i = 2; i <= plugin->oid[0]; i++) printf(".%u", (unsigned)plugin->oid[i]);
  printf("\n");
  return result != 0;
}
