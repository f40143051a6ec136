// SPDX-License-Identifier: MIT
#include "status/flags.hpp"

#include <cstring>

#include "util/handle.hpp"
#include "util/observe.hpp"
#include "util/read_file.hpp"

namespace kvrn {

FlagName flag_name(const Flag& flag, int index) {
  switch (flag.indexed) {
    case Indexed::appended:
      return FlagName("%s%d", flag.base, index);
    case Indexed::underscored:
      return FlagName("%s_%d", flag.base, index);
    case Indexed::within:
      return index == -1 ? FlagName("%s_active", flag.base) : FlagName("%s_%d_active", flag.base, index);
    case Indexed::no:
      break;
  }
  return FlagName("%s", flag.base);
}

int read_flag(const Flag& flag, int index) {
  const bool whole = flag.subject == KVRN_SUBJECT_DEVICE || index < 0;
  const About about(whole ? 0 : static_cast<int>(flag.subject) << 16 | index);
  const auto file = read_number(flag_name(flag, index).c_str(), parse_d, reading(KVRN_SOURCE_FILE, flag.fact));
  return file.opened ? file.value.value_or(flag.garbage) : flag.absent;
}

bool write_flag(const Flag& flag, int value, int index) {
  const Fd fd = Fd::open_regular(flag_name(flag, index).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
  if (!fd) return false;
  const Text<16> text("%d", value);
  // On a full /tmp the file stays empty and reads as a file without an integer. Setters report only a failure to open
  // the file.
  (void)!::write(fd.get(), text.c_str(), std::strlen(text.c_str()));
  return true;
}

}  // namespace kvrn
