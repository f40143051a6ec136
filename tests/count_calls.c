// SPDX-License-Identifier: MIT
// Preloaded ahead of the simulated device: counts what a program and its libraries ask of the kernel and of the heap,
// and prints the counts of a period when the program begins to wait for the next one. Calls of the simulated device
// itself do not count.
#include <dlfcn.h>
#include <string.h>

// Integer arguments alone, and as many as any of these takes.
typedef long call(long, long, long, long, long, long);
int snprintf(char*, unsigned long, const char*, ...);  // <stdio.h> and its like declare what is counted
static void print(void);

static int counts(void* caller) {
  Dl_info info;
  return dladdr(caller, &info) == 0 || strstr(info.dli_fname, "libkvrn-sim") == NULL;
}

#define COUNTED(name)                                                                                \
  static unsigned count_##name;                                                                      \
  __attribute__((visibility("default"))) long name(long a, long b, long c, long d, long e, long f) { \
    static call* next;                                                                               \
    if (next == NULL) next = (call*)dlsym(RTLD_NEXT, #name);                                         \
    if (counts(__builtin_return_address(0))) ++count_##name;                                         \
    if (strcmp(#name, "sigtimedwait") == 0) print();                                                 \
    return next(a, b, c, d, e, f);                                                                   \
  }
// clang-format off
#define CALLS(X)                                                                                              \
  X(open) X(open64) X(fopen64) X(close) X(read) X(pread64) X(write) X(pwrite64) X(fstat64) X(stat) X(stat64)  \
  X(lstat) X(lstat64) X(realpath) X(mmap64) X(munmap) X(ioctl) X(ppoll) X(fcntl64) X(lseek64) X(nanosleep) X(unlink)     \
  X(rename) X(flock) X(socket) X(sendto) X(sigtimedwait) X(malloc) X(calloc) X(realloc) X(free)
// clang-format on
CALLS(COUNTED)

static void print(void) {
  char line[1024];
  int length = 0;
#define PRINT(name) \
  if (count_##name != 0) length += snprintf(line + length, sizeof line - length, #name " %u ", count_##name);
  CALLS(PRINT)
  line[length++] = '\n';
  write(2, (long)line, length, 0, 0, 0);
#define RESET(name) count_##name = 0;
  CALLS(RESET)
}
