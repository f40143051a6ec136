// SPDX-License-Identifier: MIT
// The content of folders. The device's own folders are listed as they are. A folder that the device shares with the
// machine, such as /tmp, lists first the machine's entries, except those that belong to the device, then the device's.
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "sim/hooks/glob.hpp"
#include "sim/hooks/hook.hpp"
#include "sim/hooks/root.hpp"

namespace {

using namespace kvrn::sim;

// A shared folder that a program has open. `device` is null when the folder does not exist on the device.
struct Listing {
  DIR* machine;
  DIR* device;
  bool machine_done;
  Listing* next;
  char folder[path_size];
};
Listing* listings;
pthread_mutex_t listings_lock = PTHREAD_MUTEX_INITIALIZER;

// Finds the listing of an open folder. `take` also removes the listing from the list.
Listing* find(const DIR* directory, bool take = false) {
  ::pthread_mutex_lock(&listings_lock);
  Listing** at = &listings;
  while (*at != nullptr && (*at)->machine != directory) at = &(*at)->next;
  Listing* found = *at;
  if (found != nullptr && take) *at = found->next;
  ::pthread_mutex_unlock(&listings_lock);
  return found;
}

DIR* open_device_half(const char* folder) {
  char path[path_size];
  ::snprintf(path, sizeof path, "%s%s", root(), folder);
  const int saved = errno;
  DIR* half = real<DIR* (*)(const char*)>("opendir")(path);
  errno = saved;
  return half;
}

// Starts a listing if the folder is shared. `given` is the path that the program opened, or empty when it is unknown.
// The folder's real path may differ from it: /var/run may be a link.
DIR* watch(DIR* directory, const char* given) {
  char folder[path_size];
  if (directory == nullptr || root() == nullptr) return directory;
  if (is_shared_folder(given))
    ::snprintf(folder, sizeof folder, "%s", given);
  else if (!path_of(::dirfd(directory), folder) || !is_shared_folder(folder))
    return directory;
  auto* listing = static_cast<Listing*>(::malloc(sizeof(Listing)));
  if (listing == nullptr) return directory;
  *listing = {directory, open_device_half(folder), false, nullptr, ""};
  ::strcpy(listing->folder, folder);
  ::pthread_mutex_lock(&listings_lock);
  listing->next = listings;
  listings = listing;
  ::pthread_mutex_unlock(&listings_lock);
  return directory;
}

// Whether the current half of the listing shows an entry. A shared folder belongs to the device's half when the machine
// does not have that folder.
bool is_listed(const Listing& listing, const char* name) {
  char path[path_size];
  if (::snprintf(path, sizeof path, "%s/%s", listing.folder, name) >= static_cast<int>(sizeof path)) return false;
  if (!listing.machine_done) return !is_device_path(path);
  return is_device_path(path) || (is_shared_folder(path) && ::syscall(SYS_faccessat, AT_FDCWD, path, F_OK) != 0);
}

// `name` is the function that returns an Entry: "readdir" or "readdir64".
template <typename Entry>
Entry* next_entry(const char* name, DIR* directory) {
  const auto call = real<Entry* (*)(DIR*)>(name);
  Listing* listing = find(directory);
  if (listing == nullptr) return call(directory);
  const int saved = errno;
  for (;;) {
    errno = saved;
    DIR* half = listing->machine_done ? listing->device : listing->machine;
    Entry* entry = half == nullptr ? nullptr : call(half);
    if (entry != nullptr && is_listed(*listing, entry->d_name)) {
      errno = saved;
      return entry;
    }
    if (entry != nullptr) continue;
    if (listing->machine_done || errno != saved) return nullptr;
    listing->machine_done = true;
  }
}

template <typename Entry>
int scan(DIR* directory, Entry*** names, int (*wanted)(const Entry*), int (*order)(const Entry**, const Entry**),
         Entry* (*next)(DIR*)) {
  if (directory == nullptr) return -1;
  Entry** found = nullptr;
  int count = 0;
  while (Entry* entry = next(directory)) {
    if (wanted != nullptr && wanted(entry) == 0) continue;
    auto** more = static_cast<Entry**>(::realloc(found, (static_cast<size_t>(count) + 1) * sizeof *found));
    auto* copy = static_cast<Entry*>(::malloc(entry->d_reclen));
    if (more != nullptr) found = more;
    if (more == nullptr || copy == nullptr) {
      ::free(copy);
      while (count > 0) ::free(found[--count]);
      ::free(found);
      ::closedir(directory);
      errno = ENOMEM;
      return -1;
    }
    found[count++] = static_cast<Entry*>(::memcpy(copy, entry, entry->d_reclen));
  }
  ::closedir(directory);
  if (order != nullptr && count > 0)
    ::qsort(found, static_cast<size_t>(count), sizeof *found,
            reinterpret_cast<int (*)(const void*, const void*)>(order));
  *names = found;
  return count;
}

}  // namespace

KVRN_HOOK DIR* opendir(const char* path) {
  char buffer[path_size];
  const char* at = redirect(path, buffer);
  DIR* directory = real<DIR* (*)(const char*)>("opendir")(at);
  if (at != path) trace("open %s%s", path, outcome(directory == nullptr ? errno : 0));
  // The machine may not have the folder at all.
  if (directory == nullptr && errno == ENOENT && root() != nullptr && is_shared_folder(path))
    return open_device_half(path);
  return watch(directory, path);
}
KVRN_HOOK DIR* fdopendir(int fd) { return watch(real<DIR* (*)(int)>("fdopendir")(fd), ""); }
KVRN_HOOK dirent* readdir(DIR* directory) { return next_entry<dirent>("readdir", directory); }
KVRN_HOOK dirent64* readdir64(DIR* directory) { return next_entry<dirent64>("readdir64", directory); }
KVRN_HOOK void rewinddir(DIR* directory) {
  const auto call = real<void (*)(DIR*)>("rewinddir");
  Listing* listing = find(directory);
  if (listing != nullptr && listing->device != nullptr) call(listing->device);
  if (listing != nullptr) listing->machine_done = false;
  call(directory);
}
KVRN_HOOK int closedir(DIR* directory) {
  const auto call = real<int (*)(DIR*)>("closedir");
  Listing* listing = find(directory, true);
  if (listing != nullptr && listing->device != nullptr) call(listing->device);
  ::free(listing);
  return call(directory);
}

// The C library's own scandir and glob open folders without the hooks.
#define KVRN_SCANDIR(name, Entry, next)                                             \
  KVRN_HOOK int name(const char* path, Entry*** names, int (*wanted)(const Entry*), \
                     int (*order)(const Entry**, const Entry**)) {                  \
    return scan<Entry>(::opendir(path), names, wanted, order, next);                \
  }
KVRN_SCANDIR(scandir, dirent, readdir)
KVRN_SCANDIR(scandir64, dirent64, readdir64)
KVRN_GLOB(kvrn_sim_glob, "glob", glob_t, struct stat, ::readdir, ::stat, ::lstat)
KVRN_GLOB(kvrn_sim_glob64, "glob64", glob64_t, struct stat64, ::readdir64, ::stat64, ::lstat64)
