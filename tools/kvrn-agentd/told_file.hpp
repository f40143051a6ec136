// SPDX-License-Identifier: MIT
// The file that keeps what was told over a restart. It is replaced in one step.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace agentd {

class ToldFile {
 public:
  explicit ToldFile(std::string path) : path_(std::move(path)), fresh_(path_ + ".new") {}

  // Nothing without a file. A failure is logged.
  std::optional<std::string> read();
  // A failure is logged once, until a write succeeds.
  void write(std::string_view text);
  // Logs that the text is none of this program's.
  void refuse() const;

 private:
  bool replace(std::string_view text) const;

  const std::string path_;
  const std::string fresh_;
  bool failed_ = false;
};

}  // namespace agentd
