// SPDX-License-Identifier: MIT
#include "cfg/line_reader.hpp"

#include <string.h>

#include <algorithm>

namespace kvrn {

bool LineReader::next(std::string_view& line) {
  for (;;) {
    const char* start = buffer_ + begin_;
    std::size_t length = std::min(end_ - begin_, longest);
    if (const void* feed = ::memchr(start, '\n', length)) {
      length = static_cast<std::size_t>(static_cast<const char*>(feed) - start) + 1;
    } else if (length < longest && !ended_) {
      fill();
      continue;
    }
    begin_ += length;
    line = std::string_view(start, length);
    return length > 0;
  }
}

void LineReader::fill() {
  end_ -= begin_;
  ::memmove(buffer_, buffer_ + begin_, end_);
  begin_ = 0;
  const std::size_t room = sizeof buffer_ - end_;
  const std::size_t got = ::fread(buffer_ + end_, 1, room, stream_);
  end_ += got;
  if (got == room) return;
  ended_ = true;
  if (::feof(stream_) != 0) return;
  // After a read error the text behind the last line feed is an incomplete line.
  while (end_ > 0 && buffer_[end_ - 1] != '\n') --end_;
}

}  // namespace kvrn
