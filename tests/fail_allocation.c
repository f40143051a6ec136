// SPDX-License-Identifier: MIT
// Preloaded: the n-th allocation (FAIL_AT) behind the first look for a file's real path fails.
#include <dlfcn.h>
#include <errno.h>
#include <stdlib.h>

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);

static int left;

#define EXPORT __attribute__((visibility("default")))

EXPORT char* realpath(const char* path, char* out) {
  static char* (*next)(const char*, char*);
  if (next == NULL) {
    next = (char* (*)(const char*, char*))dlsym(RTLD_NEXT, "realpath");
    left = atoi(getenv("FAIL_AT"));
  }
  return next(path, out);
}

static int fails(void) {
  if (left == 0 || --left != 0) return 0;
  errno = ENOMEM;
  return 1;
}

EXPORT void* malloc(size_t size) { return fails() ? NULL : __libc_malloc(size); }
EXPORT void* calloc(size_t count, size_t size) { return fails() ? NULL : __libc_calloc(count, size); }
EXPORT void* realloc(void* block, size_t size) { return fails() ? NULL : __libc_realloc(block, size); }
