// SPDX-License-Identifier: MIT
// The file that keeps what was told over a restart. It is replaced in one step.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace agentd {

class ToldFile {
 public:
  // @param folder made if it is missing
  explicit ToldFile(std::string folder)
      : folder_(std::move(folder)), path_(folder_ + "/told"), fresh_(path_ + ".new") {}

  // Nothing without a file. A failure is logged.
  std::optional<std::string> read();
  // A failure is logged once, until a write succeeds.
  void write(std::string_view text);
  // Logs that the text is none of this program's.
  void refuse() const;

 private:
  bool replace(std::string_view text) const;

  const std::string folder_;
  const std::string path_;
  const std::string fresh_;
  bool failed_ = false;
};

}  // namespace agentd
