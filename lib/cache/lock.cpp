// SPDX-License-Identifier: MIT
// The lock between processes: a file that is created exclusively.
#include <errno.h>
#include <kvrn/cache.h>
#include <sys/stat.h>
#include <time.h>

#include "util/door.hpp"
#include "util/handle.hpp"
#include "util/number.hpp"
#include "util/pause.hpp"

namespace {

constexpr int tries_per_second = 50;
constexpr unsigned rest_us = 20'000;
constexpr int passes = 10;

struct State {
  const char* path;
  int depth;  // 0: not held
  int64_t wait_s;
};

State& state_of(InterProcessLock* self) { return *static_cast<State*>(self->state); }

bool create(const char* path) {
  errno = 0;
  return static_cast<bool>(kvrn::Fd::open(path, O_WRONLY | O_CREAT | O_EXCL, 0644));
}

int64_t twice(int64_t value) { return kvrn::wrap_add(value, value); }

// Removes the lock file of a dead holder: a file that is older than twice the waiting time, or whose status cannot be
// read. Returns false when its holder may be alive. A file that no longer exists is not removed, because the next
// holder may be creating its own. A symbolic link without a target also looks missing, but nobody can create the file
// in its place, so the link is removed.
bool clear_stale(const char* path, int64_t wait_s) {
  struct stat status {};
  if (::stat(path, &status) != 0 && ::lstat(path, &status) != 0) {
    if (errno == ENOENT) return true;
  } else if (!S_ISLNK(status.st_mode) && kvrn::wrap_add(status.st_mtime, twice(wait_s)) >= ::time(nullptr)) {
    return false;
  }
  (void)::unlink(path);  // if this fails, creating the file fails too
  return true;
}

// One pass: tries for about the waiting time, then breaks a stale lock. Removing and creating the file are two steps.
// When two waiters break the same lock, one of them fails its pass, and a third process may lose a lock that it has
// just acquired.
bool acquire(const char* path, int64_t wait_s) {
  const auto budget = static_cast<int64_t>(static_cast<uint64_t>(wait_s) * tries_per_second);
  for (int64_t tries = 0; tries <= budget; ++tries) {
    if (create(path)) return true;
    if (errno != EEXIST) return false;
    kvrn::pause_us(rest_us);
  }
  return clear_stale(path, wait_s) && create(path);
}

int lock(InterProcessLock* self) {
  State& state = state_of(self);
  if (++state.depth >= 2) return 0;
  for (int pass = 0; pass < passes; ++pass)
    if (acquire(state.path, state.wait_s)) return 1;
  // The depth stays at 1. Programs call unlock after a failed lock, and so remove a lock that its holder never
  // releases.
  return 0;
}

void unlock(InterProcessLock* self) {
  State& state = state_of(self);
  if (state.depth == 0 || --state.depth > 0) return;
  (void)::unlink(state.path);  // for any creator of the file; it may be missing
}

int call_locked(InterProcessLock* self, int (*function)(uintptr_t), uintptr_t word) {
  State& state = state_of(self);
  if (function == nullptr || !acquire(state.path, 0)) return 0;
  state.depth = 1;
  const int result = function(word);
  unlock(self);
  return result;
}

void destroy(InterProcessLock* self) {
  if (self == nullptr) return;
  unlock(self);
  ::free(self->state);
  ::free(self);
}

InterProcessLock* make(const char* path, int64_t wait_s) KVRN_INNER(make_lock);
InterProcessLock* make(const char* path, int64_t wait_s) {
  if (path == nullptr) return nullptr;
  kvrn::Heap<InterProcessLock> object(static_cast<InterProcessLock*>(::calloc(1, sizeof(InterProcessLock))));
  kvrn::Heap<State> state(static_cast<State*>(::calloc(1, sizeof(State))));
  if (!object || !state) return nullptr;
  *state = {path, 0, wait_s};
  *object = {state.release(), lock, unlock, call_locked, destroy};
  return object.release();
}

}  // namespace

InterProcessLock* InterProcessLockNew(const char* path, int64_t wait_s) KVRN_DOOR(make_lock);

InterProcessLock* get_dc_output_lock() { return make("/tmp/.dc_out_lock", 10); }
