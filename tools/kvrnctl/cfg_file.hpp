// SPDX-License-Identifier: MIT
// A configuration file as an editor sees it: entries in the order of the lines, and a safe way back to the disk.
#pragma once

#include <kvrn/cfg.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kvrnctl {

// An error for people, with the file's name in it.
struct CfgError {
  std::string text;
};

// A configuration in the order of the file's lines. The library's chain has the first line, then the others backwards;
// this one is linked anew, so that appending to the chain appends to the file.
class Cfg {
 public:
  Cfg() = default;
  explicit Cfg(cfg_entry* parsed);
  Cfg(Cfg&& other) noexcept;
  Cfg& operator=(Cfg&& other) noexcept;
  ~Cfg() { ::free_cfg(first_); }

  cfg_entry* first() const { return first_; }
  cfg_entry*& first() { return first_; }

 private:
  cfg_entry* first_ = nullptr;
};

// What a file holds beside its entries.
struct CfgFile {
  std::string path;  // with links resolved: an edit must not replace a link by a file
  std::string text;
  Cfg cfg;
};

// The entries in the library's own order, which decides between duplicates: what the device's programs see.
class DeviceView {
 public:
  explicit DeviceView(const CfgFile& file);
  ~DeviceView() { ::free_cfg(first_); }
  DeviceView(const DeviceView&) = delete;
  cfg_entry* first() const { return first_; }

 private:
  cfg_entry* first_;
};

// Throws CfgError when the file cannot be read.
CfgFile read_cfg_file(const std::string& path);

// The path of the file to edit, with its links followed. Throws CfgError for a link that belongs neither to the caller
// nor to root.
std::string editable_path(const std::string& path);

// The lines of an edited configuration; `protect` seals passwords, as the library's save_cfg() does.
std::string cfg_text(const cfg_entry* cfg, bool protect);
// Throws CfgError without memory for every entry.
Cfg parse_cfg_text(const std::string& text);

bool is_password(std::string_view key);
inline constexpr std::string_view hidden_value = "********";

// A lock against a second editor, for the life of the object. Throws CfgError after a few seconds.
class CfgLock {
 public:
  explicit CfgLock(const std::string& path);
  ~CfgLock();
  CfgLock(const CfgLock&) = delete;

 private:
  int fd_ = -1;
};

bool same_entries(const cfg_entry* a, const cfg_entry* b);

// Why reading the text back would not give the entries; nothing when it would.
std::optional<std::string> loss_in(const cfg_entry* wanted, const std::string& text);

// What an edit would drop: lines and pieces of lines that no entry keeps whole.
struct Dropped {
  std::size_t comments = 0;     // comments and lines without "="
  std::size_t overlong = 0;     // lines that are read in pieces
  std::size_t unprintable = 0;  // lines with a NUL, or with unprintable characters at an end
  std::size_t total() const { return comments + overlong + unprintable; }
  std::string text() const;
};
Dropped dropped_by_edit(const std::string& text);

// Writes the text beside the file, flushes it and renames it into place, with the file's mode and owner. Throws
// CfgError with the old file untouched.
void replace_file(const std::string& path, const std::string& text, bool keep_backup);

}  // namespace kvrnctl
