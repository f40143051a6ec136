// SPDX-License-Identifier: MIT
#include "tools/kvrnctl/cfg_file.hpp"

#include <fcntl.h>
#include <fmt/core.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

#include "cfg/record.hpp"
#include "tools/kvrnctl/context.hpp"
#include "tools/kvrnctl/output_file.hpp"
#include "util/handle.hpp"

namespace kvrnctl {
namespace {

constexpr std::size_t longest_line = 1024;
constexpr std::size_t largest_file = std::size_t{16} << 20;  // in bytes; a configuration has about 20 KiB

[[noreturn]] void refuse(const std::string& path, std::string_view why) {
  throw CfgError{fmt::format("{}: {}", path, why)};
}

std::string resolved(const std::string& path) {
  const std::unique_ptr<char, kvrn::FreeBlock> real(::realpath(path.c_str(), nullptr));
  if (!real) refuse(path, errno_text(errno));
  return real.get();
}

std::string read_all(const std::string& path) {
  // A FIFO must not block the reader, and an edit must not replace a device by a file. The path has no links: if there
  // is one now, somebody has just put it there.
  const kvrn::Fd fd = kvrn::Fd::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW);
  if (!fd) refuse(path, errno_text(errno));
  struct stat status {};
  if (::fstat(fd.get(), &status) != 0) refuse(path, errno_text(errno));
  if (S_ISDIR(status.st_mode)) refuse(path, errno_text(EISDIR));
  if (!S_ISREG(status.st_mode)) refuse(path, "no regular file");
  std::string text;
  char chunk[65536];
  for (;;) {
    const ssize_t got = ::read(fd.get(), chunk, sizeof chunk);
    if (got < 0) refuse(path, errno_text(errno));
    if (got == 0) return text;
    text.append(chunk, static_cast<std::size_t>(got));
    if (text.size() > largest_file) refuse(path, "larger than 16 MiB: no configuration");
  }
}

// The number of entries that the library reads from a text: one for every line with "=". A long line is read in pieces,
// and each piece with "=" gives an entry.
std::size_t count_entries(std::string_view text) {
  std::size_t count = 0;
  while (!text.empty()) {
    std::string_view line = text.substr(0, longest_line);
    if (const std::size_t feed = line.find('\n'); feed != std::string_view::npos) line = line.substr(0, feed + 1);
    text.remove_prefix(line.size());
    if (line[0] == '\n' || line[0] == '\r' || line[0] == '#') continue;
    count += line.substr(0, line.find('\0')).find('=') != std::string_view::npos ? 1 : 0;
  }
  return count;
}

cfg_entry* parse_entries(const std::string& text) {
  if (text.empty()) return nullptr;
  const kvrn::Stream stream(::fmemopen(const_cast<char*>(text.data()), text.size(), "r"));
  cfg_entry* first = ::parse_stream(stream.get());
  // When the library has no memory, it leaves out entries. Without a stream it returns an empty list.
  if (static_cast<std::size_t>(::get_cfg_count(first)) == count_entries(text)) return first;
  ::free_cfg(first);
  throw CfgError{"out of memory"};
}

// When the library has no memory to open a protected entry, the entry stays sealed. A damaged entry stays sealed too,
// but in every reading: a second reading tells the difference.
cfg_entry* parse_text(const std::string& text) {
  kvrn::Config cfg(parse_entries(text));
  if (::exist_cfg_it(cfg.get(), 0, "%s", "~META~") != 0 &&
      !same_entries(cfg.get(), kvrn::Config(parse_entries(text)).get()))
    throw CfgError{"out of memory"};
  return cfg.release();
}

std::string_view text_of(const char* text) { return text == nullptr ? std::string_view() : text; }

// The reason why a file cannot hold an entry.
std::string reason(const cfg_entry& entry, bool sealed) {
  const std::string_view key = text_of(entry.key);
  const std::string_view value = text_of(entry.value);
  if (key.starts_with('#')) return "a line that begins with '#' is a comment";
  if (key.find('=') != std::string_view::npos) return "a key ends at its first '='";
  if (key.find_first_of("\r\n") != std::string_view::npos || value.find_first_of("\r\n") != std::string_view::npos)
    return "a line end would split the line";
  if (sealed) return "its protected line is too long to be opened again";
  if (key.size() + 1 + value.size() > longest_line)
    return fmt::format("a line has at most {} characters", longest_line);
  return "blanks or unprintable characters at its ends are dropped when it is read";
}

bool same(const cfg_entry& a, const cfg_entry& b) {
  return text_of(a.key) == text_of(b.key) && text_of(a.value) == text_of(b.value);
}

// A new file next to the file to replace. The destructor removes it unless it was renamed into place.
class Temporary {
 public:
  // Only this user may read the file until its owner is set. A file of a process that died is removed: nobody uses it,
  // because the caller holds the lock.
  explicit Temporary(const std::string& target) : path_(target + ".new") {
    ::unlink(path_.c_str());
    fd_ = kvrn::Fd::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600);
    if (!fd_) refuse(path_, errno_text(errno));
  }
  ~Temporary() {
    if (!path_.empty()) ::unlink(path_.c_str());
  }
  int fd() const { return fd_.get(); }
  const std::string& path() const { return path_; }
  void rename_to(const std::string& target) {
    if (::rename(path_.c_str(), target.c_str()) != 0) refuse(target, errno_text(errno));
    path_.clear();
  }

 private:
  std::string path_;
  kvrn::Fd fd_;
};

void keep_mode_and_owner(int fd, const std::string& path, const struct stat& old) {
  struct stat now {};
  if (::fstat(fd, &now) != 0) refuse(path, errno_text(errno));
  const bool foreign = now.st_uid != old.st_uid || now.st_gid != old.st_gid;
  if (foreign && ::fchown(fd, old.st_uid, old.st_gid) != 0)
    refuse(path, "cannot keep the file's owner: " + errno_text(errno));
  if (::fchmod(fd, old.st_mode & 07777) != 0) refuse(path, errno_text(errno));
}

// Gives the old file a second name by a hard link. Its first name stays until the new file replaces it. `fresh` is the
// temporary form of the second name.
void back_up(const std::string& path, const std::string& fresh) {
  const std::string backup = path + ".bak";
  const bool done = ::link(path.c_str(), fresh.c_str()) == 0 && ::rename(fresh.c_str(), backup.c_str()) == 0;
  const int error = errno;
  // Needed also after success: rename() does nothing when both names are links to the same file.
  ::unlink(fresh.c_str());
  if (!done) refuse(backup, errno_text(error));
}

void flush_folder(const std::string& folder) {
  const kvrn::Fd fd = kvrn::Fd::open(folder.c_str(), O_RDONLY | O_DIRECTORY);
  // Errors are ignored: the content is already flushed, and some file systems cannot flush a folder.
  if (fd) (void)::fsync(fd.get());
}

// The target of a symbolic link.
std::string link_target(const std::string& path, const struct stat& link) {
  // Another user's link must not decide which file is overwritten. The kernel has this rule for shared folders too.
  if (link.st_uid != ::geteuid() && link.st_uid != 0)
    refuse(path, "a symbolic link of another user is not edited through");
  char target[PATH_MAX];
  const ssize_t size = ::readlink(path.c_str(), target, sizeof target);
  if (size < 0) refuse(path, errno_text(errno));
  return {target, static_cast<std::size_t>(size)};
}

}  // namespace

std::string editable_path(const std::string& path) {
  std::string done = path.starts_with('/') ? "/" : "";
  std::string rest = path;
  for (int links = 0; !rest.empty() && links <= 40;) {
    const std::string name = rest.substr(0, rest.find('/'));
    rest.erase(0, name.size() + 1);
    if (name.empty()) continue;
    struct stat status {};
    if (::lstat((done + name).c_str(), &status) != 0 || !S_ISLNK(status.st_mode)) {
      done += rest.empty() ? name : name + '/';
      continue;
    }
    const std::string target = link_target(done + name, status);
    if (target.starts_with('/')) done = "/";
    rest = rest.empty() ? target : target + '/' + rest;
    ++links;
  }
  if (!rest.empty()) refuse(path, errno_text(ELOOP));
  return done;
}

Cfg::Cfg(cfg_entry* parsed) : first_(parsed) {
  if (first_ == nullptr) return;
  cfg_entry* rest = std::exchange(first_->next, nullptr);
  while (rest != nullptr) {
    cfg_entry* following = std::exchange(rest->next, first_->next);
    first_->next = rest;
    rest = following;
  }
}

Cfg::Cfg(Cfg&& other) noexcept : first_(std::exchange(other.first_, nullptr)) {}

Cfg& Cfg::operator=(Cfg&& other) noexcept {
  std::swap(first_, other.first_);
  return *this;
}

CfgFile read_cfg_file(const std::string& path) {
  CfgFile file;
  file.path = resolved(path);
  file.text = read_all(file.path);
  file.cfg = parse_cfg_text(file.text);
  return file;
}

std::string cfg_text(const cfg_entry* cfg, bool protect) {
  std::string text;
  for (const cfg_entry* entry = cfg; entry != nullptr; entry = entry->next) {
    const char* key = entry->key;
    const char* value = entry->value == nullptr ? "" : entry->value;
    if (protect) ::adv_vento_cfg_encrypt(&key, &value);
    text += key;
    text += '=';
    text += value;
    text += '\n';
  }
  return text;
}

DeviceView::DeviceView(const CfgFile& file) : first_(parse_text(file.text)) {}

Cfg parse_cfg_text(const std::string& text) { return Cfg(parse_text(text)); }

bool is_password(std::string_view key) {
  // Compared without case, as in lookups. A password whose key has another case is hidden but not protected.
  std::string lower(key);
  std::ranges::transform(lower, lower.begin(), [](unsigned char c) { return std::tolower(c); });
  return lower.starts_with("users.") && lower.ends_with(".password");
}

CfgLock::CfgLock(const std::string& path) {
  const std::string name = path + ".lock";
  fd_ = ::open(name.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (fd_ < 0) refuse(name, errno_text(errno));
  for (int attempt = 0; ::flock(fd_, LOCK_EX | LOCK_NB) != 0; ++attempt) {
    if (errno != EWOULDBLOCK || attempt == 50) {
      const int error = std::exchange(errno, 0);
      ::close(fd_);
      refuse(path, error == EWOULDBLOCK ? "another editor is at work" : errno_text(error));
    }
    ::usleep(100'000);
  }
}

CfgLock::~CfgLock() { ::close(fd_); }

bool same_entries(const cfg_entry* a, const cfg_entry* b) {
  for (; a != nullptr && b != nullptr && same(*a, *b); a = a->next) b = b->next;
  return a == nullptr && b == nullptr;
}

std::optional<std::string> loss_in(const cfg_entry* wanted, const std::string& text) {
  const Cfg read = parse_cfg_text(text);
  const cfg_entry* got = read.first();
  const std::string_view sealed_prefix = "~META~";
  for (; wanted != nullptr; wanted = wanted->next) {
    if (got == nullptr || !same(*wanted, *got)) {
      const bool sealed = is_password(wanted->key) && got != nullptr && text_of(got->key).starts_with(sealed_prefix);
      return fmt::format("'{}' would be lost: {}", wanted->key, reason(*wanted, sealed));
    }
    got = got->next;
  }
  if (got != nullptr) return fmt::format("'{}' would come out of another entry's line", got->key);
  return std::nullopt;
}

std::string Dropped::text() const {
  std::string list;
  const auto add = [&](std::size_t count, std::string_view what) {
    if (count != 0) list += fmt::format("{}{} {}", list.empty() ? "" : ", ", count, what);
  };
  add(comments, "comments or lines without '='");
  add(overlong, "lines above 1024 characters");
  add(unprintable, "lines with a NUL or unprintable characters at an end");
  return list;
}

Dropped dropped_by_edit(const std::string& text) {
  Dropped dropped;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    std::string_view line(text.data() + at, end - at);
    at = end + 1;
    if (line.ends_with('\r')) line.remove_suffix(1);  // the loss of a CR at the line end does not matter
    if (line.empty()) continue;
    const auto unprintable = [](char c) { return c < ' ' || c > '~'; };
    if (line.size() > longest_line)
      ++dropped.overlong;
    else if (line.find('\0') != std::string_view::npos || unprintable(line.front()) || unprintable(line.back()))
      ++dropped.unprintable;
    else if (line[0] == '#' || line.find('=') == std::string_view::npos)
      ++dropped.comments;
  }
  return dropped;
}

void replace_file(const std::string& path, const std::string& text, bool keep_backup) {
  struct stat old {};
  if (::lstat(path.c_str(), &old) != 0) refuse(path, errno_text(errno));
  const std::string fresh_backup = path + ".bak.new";
  ::unlink(fresh_backup.c_str());  // may be left by an editor that was killed
  Temporary temporary(path);
  keep_mode_and_owner(temporary.fd(), path, old);
  if (!write_all(temporary.fd(), text)) refuse(temporary.path(), errno_text(errno));
  if (::fsync(temporary.fd()) != 0) refuse(temporary.path(), errno_text(errno));
  if (read_all(temporary.path()) != text) refuse(temporary.path(), "reads back differently");
  if (keep_backup) back_up(path, fresh_backup);
  const std::string folder = path.substr(0, path.rfind('/') + 1);
  temporary.rename_to(path);  // after this, nothing can fail
  flush_folder(folder);
}

}  // namespace kvrnctl
