// SPDX-License-Identifier: MIT
// Preloaded ahead of the simulated device: counts what a program and its libraries ask of the kernel, and prints the
// counts of a period when the program begins to wait for the next. What the simulated device does itself does not
// count.
#include <dlfcn.h>
#include <string.h>

// Integer arguments alone, and as many as any of these takes.
typedef long call(long, long, long, long, long, long);
int dprintf(int, const char*, ...);  // <stdio.h> and its like declare what is counted
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
  X(rename) X(flock) X(socket) X(sendto) X(sigtimedwait)
// clang-format on
CALLS(COUNTED)

static void print(void) {
#define PRINT(name)                                              \
  if (count_##name != 0) dprintf(2, #name " %u ", count_##name); \
  count_##name = 0;
  CALLS(PRINT)
  dprintf(2, "\n");
}
