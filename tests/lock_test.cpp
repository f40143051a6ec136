// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <atomic>

#include "tests/device.hpp"

namespace {

using Lock = kvrnpp::RawLock;

using std::filesystem::exists;

// Makes a lock file whose holder started some seconds ago.
void make_file(const std::string& path, int64_t age) {
  write_text(path, "");
  const timespec started{static_cast<time_t>(get_timestamp() - age), 0};
  const timespec times[2] = {started, started};
  ::utimensat(AT_FDCWD, path.c_str(), times, 0);
}

// A moment with much of the second ahead, and behind: a file's time may lag a little behind the clock.
void early_in_a_second() {
  while (get_timestamp_ms() % 1000 < 100 || get_timestamp_ms() % 1000 > 500) ::usleep(10000);
}

int called_with = 0;
int remember(uintptr_t word) {
  called_with = static_cast<int>(word);
  return 42;
}

// Whether nobody else held the lock in any round.
bool held_alone(InterProcessLock* lock, std::atomic<int>& holders, int rounds) {
  for (int round = 0; round < rounds; ++round) {
    if (lock->lock(lock) == 0 || holders.fetch_add(1) != 0) return false;
    if (round % 50 == 0) ::usleep(500);
    holders.fetch_sub(1);
    lock->unlock(lock);
  }
  return true;
}

class LockFile : public testing::Test {
 protected:
  Lock lock_of(int64_t wait_s) const { return Lock(InterProcessLockNew(path.c_str(), wait_s)); }

  const TempDir dir;
  const std::string path = dir / "lock";
};

}  // namespace

TEST_F(LockFile, FileExistsWhileHeldAndNestingCounts) {
  const Lock lock = lock_of(1);
  lock->unlock(lock.get());
  EXPECT_NE(lock->lock(lock.get()), 0);
  struct stat status {};
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_size, 0);
  EXPECT_EQ(status.st_mode & 0777 & ~0644U, 0U);
  EXPECT_EQ(lock->lock(lock.get()), 0);  // nested: counted, reported as 0
  lock->unlock(lock.get());
  EXPECT_TRUE(exists(path));
  lock->unlock(lock.get());
  EXPECT_FALSE(exists(path));
  EXPECT_EQ(InterProcessLockNew(nullptr, 1), nullptr);
  Device device("generic");
  InterProcessLock* outputs = get_dc_output_lock();
  EXPECT_NE(outputs->lock(outputs), 0);
  EXPECT_TRUE(exists(device.path("/tmp/.dc_out_lock")));
  outputs->destroy(outputs);
  EXPECT_FALSE(exists(device.path("/tmp/.dc_out_lock")));
}

TEST_F(LockFile, AgeDecidesWhetherAFileIsBroken) {
  const std::tuple<int64_t, int64_t, bool> cases[] = {
      {0, 2, true}, {0, -1000, false}, {-1, 0, true}, {-500, -900, true}, {INT64_MAX, 0, true}};
  for (const auto& [wait_s, age, acquired] : cases) {
    make_file(path, age);
    Lock lock = lock_of(wait_s);
    EXPECT_EQ(lock->lock(lock.get()) != 0, acquired) << wait_s << ' ' << age;
    lock.reset();
    EXPECT_FALSE(exists(path));  // in any case: a failed lock counts as held
  }
}

TEST_F(LockFile, AFailedLockCountsAsHeld) {
  make_file(path, -1000);
  const Lock lock = lock_of(0);
  EXPECT_EQ(lock->lock(lock.get()), 0);
  const int64_t start = get_timestamp_mono_ms();
  EXPECT_EQ(lock->lock(lock.get()), 0);
  EXPECT_LT(get_timestamp_mono_ms() - start, 20);
  lock->unlock(lock.get());
  EXPECT_TRUE(exists(path));
  lock->unlock(lock.get());
  EXPECT_FALSE(exists(path));  // another holder's file

  const std::string nowhere = dir / "no/such/folder";
  const Lock impossible(InterProcessLockNew(nowhere.c_str(), 10));
  const int64_t begin = get_timestamp_mono_ms();
  EXPECT_EQ(impossible->lock(impossible.get()), 0);
  EXPECT_LT(get_timestamp_mono_ms() - begin, 1000);  // gives up without waiting
}

TEST_F(LockFile, CallLockedDoesNotWait) {
  const Lock lock = lock_of(10);
  EXPECT_EQ(lock->call_locked(lock.get(), remember, 7), 42);
  EXPECT_EQ(called_with, 7);
  EXPECT_FALSE(exists(path));
  early_in_a_second();
  write_text(path, "");
  EXPECT_EQ(lock->call_locked(lock.get(), remember, 8), 0);
  EXPECT_EQ(called_with, 7);
  make_file(path, 1);
  EXPECT_EQ(lock->call_locked(lock.get(), remember, 9), 42);
  EXPECT_EQ(lock->call_locked(lock.get(), nullptr, 9), 0);
  std::filesystem::create_symlink("nowhere", path);  // has no status
  EXPECT_EQ(lock->call_locked(lock.get(), remember, 10), 42);
}

TEST_F(LockFile, EightProcessesNeverHoldItTogether) {
  const Lock lock = lock_of(1);
  void* shared = ::mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  auto& holders = *new (shared) std::atomic<int>(0);
  pid_t children[8];
  for (pid_t& child : children) {
    child = ::fork();
    if (child == 0) ::_exit(held_alone(lock.get(), holders, 500) ? 0 : 1);
  }
  for (const pid_t child : children) {
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  EXPECT_FALSE(exists(path));
  ::munmap(shared, sizeof(std::atomic<int>));
}

TEST_F(LockFile, ADeadHolderIsOvertaken) {
  write_text(path, "");
  const Lock lock = lock_of(1);
  const int64_t start = get_timestamp_mono_ms();
  EXPECT_NE(lock->lock(lock.get()), 0);
  const int64_t waited = get_timestamp_mono_ms() - start;
  EXPECT_GE(waited, 1000);
  EXPECT_LT(waited, 5000);  // older than 2 s, seen at the end of a pass
}
