// SPDX-License-Identifier: MIT
// A configuration file for an editor: entries in the order of the lines, and a safe replacement of the file.
#pragma once

#include <kvrn/cfg.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kvrnctl {

// An error message for people.
struct CfgError {
  std::string text;
};

// A configuration in the order of the file's lines. The library's list has the first line, then the others in reverse
// order. The constructor puts them into the file's order, so that appending to the list appends to the file.
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

// A file: its path, its text and its entries.
struct CfgFile {
  std::string path;  // with links resolved: an edit must not replace a link by a file
  std::string text;
  Cfg cfg;
};

// The entries in the library's own order, as the device's programs see them. The order decides which duplicate counts.
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
// Throws CfgError when there is not enough memory for all entries.
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

// The reason why the text, when it is read back, does not give the wanted entries. Nothing when it does.
std::optional<std::string> loss_in(const cfg_entry* wanted, const std::string& text);

// What an edit would drop: lines that are not completely stored in an entry.
struct Dropped {
  std::size_t comments = 0;     // comments and lines without "="
  std::size_t overlong = 0;     // lines that are read in pieces
  std::size_t unprintable = 0;  // lines with a NUL, or with unprintable characters at an end
  std::size_t total() const { return comments + overlong + unprintable; }
  std::string text() const;
};
Dropped dropped_by_edit(const std::string& text);

// Writes the text to a new file next to the old one, flushes it and renames it into place. The file keeps its mode and
// owner. When the function throws CfgError, the old file is unchanged.
void replace_file(const std::string& path, const std::string& text, bool keep_backup);

}  // namespace kvrnctl
