// SPDX-License-Identifier: MIT
#include "tools/service/notify.hpp"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "util/handle.hpp"
#include "util/number.hpp"

namespace service {

bool notify(std::string_view state) {
  const char* path = std::getenv("NOTIFY_SOCKET");
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path == nullptr || (path[0] != '/' && path[0] != '@')) return true;
  const std::size_t length = std::strlen(path);
  if (length >= sizeof address.sun_path) return true;
  std::memcpy(address.sun_path, path, length);
  if (path[0] == '@') address.sun_path[0] = '\0';  // an abstract name
  const kvrn::Fd fd(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!fd) return false;
  // Do not wait: a service manager that does not listen must not delay the readings.
  return ::sendto(fd.get(), state.data(), state.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                  reinterpret_cast<const sockaddr*>(&address),
                  static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length)) >= 0;
}

std::optional<std::chrono::microseconds> watchdog_period() {
  const char* period = std::getenv("WATCHDOG_USEC");
  const char* process = std::getenv("WATCHDOG_PID");
  if (period == nullptr || (process != nullptr && kvrn::parse_lli(process) != ::getpid())) return std::nullopt;
  const std::int64_t microseconds = kvrn::parse_lli(period).value_or(0);
  if (microseconds <= 0) return std::nullopt;
  return std::chrono::microseconds(std::max<std::int64_t>(microseconds / 2, 1000));
}

}  // namespace service
