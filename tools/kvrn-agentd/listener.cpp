// SPDX-License-Identifier: MIT
#include "tools/kvrn-agentd/listener.hpp"

// net-snmp's headers need this order.
#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "tools/kvrn-agentd/library_log.hpp"
#include "tools/kvrn-agentd/system_group.hpp"
#include "tools/kvrn-agentd/tree.hpp"
#include "util/handle.hpp"

namespace agentd {
namespace {

constexpr unsigned longest_wait_s = 1;  // for a look at `stop`

[[noreturn]] void fail(const std::string& what, int error) {
  throw std::runtime_error(fmt::format("{}: {}", what, std::strerror(error)));
}

// net-snmp would start without the file. A file that is no regular file could block it.
void check_readable(const std::string& path) {
  const kvrn::Fd file = kvrn::Fd::open(path.c_str(), O_RDONLY | O_NONBLOCK);
  struct stat status {};
  if (!file || ::fstat(file.get(), &status) != 0) fail(path, errno);
  if (!S_ISREG(status.st_mode)) throw std::runtime_error(path + ": is no file");
}

void make_folder(const std::string& path) {
  if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) fail(path, errno);
  if (!kvrn::Fd::open(path.c_str(), O_PATH | O_DIRECTORY)) fail(path, errno);
}

bool has_user(const char* name) {
  for (const usmUser* user = ::usm_get_userList(); user != nullptr; user = user->next)
    if (std::strcmp(user->secName, name) == 0) return true;
  return false;
}

// Whether the settings give rights to anybody: to a community, or to a user that exists.
bool lets_somebody_in() {
  ::vacm_scanGroupInit();
  while (const vacm_groupEntry* group = ::vacm_scanGroupNext()) {
    // The first byte is the length of the name.
    if (group->securityModel != SNMP_SEC_MODEL_USM || has_user(group->securityName + 1)) return true;
  }
  return false;
}

// An address in numbers. net-snmp needs the brackets to tell a port from an IPv6 address.
bool is_address(std::string_view family, const std::string& text) {
  in6_addr address;
  if (family == "udp") return ::inet_pton(AF_INET, text.c_str(), &address) == 1;
  if (family != "udp6" || !text.starts_with('[') || !text.ends_with(']')) return false;
  return ::inet_pton(AF_INET6, text.substr(1, text.size() - 2).c_str(), &address) == 1;
}

}  // namespace

Listener::Listener(Settings settings, Tables tables, Turn turn)
    : settings_(std::move(settings)), tables_(std::move(tables)), turn_(std::move(turn)) {}

bool Listener::open() {
  if (!std::exchange(started_, true)) start();
  if (!listen()) return false;
  if (settings_.user) drop_rights();
  store();
  return true;
}

void Listener::start() {
  check_readable(settings_.config);
  make_folder(settings_.state);
  log_library();
  (void)::netsnmp_ds_set_string(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_OPTIONALCONFIG, settings_.config.c_str());
  (void)::netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_DONT_LOG_TCPWRAPPERS_CONNECTS, 1);
  if (::init_agent(program) != 0) throw std::runtime_error("the SNMP library cannot be started");
  add_system_words();
  ::init_snmp(program);
  ::netsnmp_set_lookup_cache_size(-1);  // net-snmp's own agent uses this size
  if (!serve(tree_root, tables_) || !serve_system_groups())
    throw std::runtime_error("the SNMP library does not take the tree");
  if (!lets_somebody_in())
    ::syslog(LOG_WARNING, "%s gives rights to no community and to no user that exists: nothing is answered",
             settings_.config.c_str());
}

// Not init_master_agent(), which listens at port 161 unless it is told otherwise, and which also becomes the master of
// sub-agents if the configuration file says so.
bool Listener::listen() {
  for (; opened_ < settings_.addresses.size(); ++opened_) {
    const std::string& address = settings_.addresses[opened_];
    errno = 0;
    netsnmp_transport* transport = ::netsnmp_transport_open_server("snmp", address.c_str());
    if (transport == nullptr) {
      const int error = errno != 0 ? errno : EPROTONOSUPPORT;
      const std::string problem = fmt::format("cannot listen at {}: {}", address, std::strerror(error));
      if (error != EADDRINUSE && error != EADDRNOTAVAIL) throw std::runtime_error(problem);
      if (std::exchange(problem_, problem) != problem)
        ::syslog(LOG_ERR, "%s; tried again every second", problem.c_str());
      return false;
    }
    (void)::fcntl(transport->sock, F_SETFD, FD_CLOEXEC);
    if (::netsnmp_register_agent_nsap(transport) < 0) fail(address, ENOMEM);
  }
  return true;
}

void Listener::drop_rights() const {
  const char* path = settings_.state.c_str();
  struct stat folder {};
  // A folder that everybody may write to, such as /tmp, keeps its owner.
  if (::stat(path, &folder) != 0 ||
      ((folder.st_mode & S_IWOTH) == 0 && ::chown(path, settings_.user->uid, settings_.user->gid) != 0))
    fail(settings_.state, errno);
  service::become(*settings_.user);
}

// Stores keys, engine id and boots. Nothing of this changes later, so net-snmp need not write at the end.
void Listener::store() const {
  const char* folder = settings_.state.c_str();
  if (::access(folder, W_OK | X_OK) != 0) fail(settings_.state, errno);
  // net-snmp writes a new file and removes the old one, even if there was no room for the new one.
  constexpr unsigned long long least_room = 64 * 1024;
  struct statvfs room {};
  if (::statvfs(folder, &room) == 0 && 1ULL * room.f_bavail * room.f_frsize < least_room)
    ::syslog(LOG_ERR, "%s is full: new users and the number of starts cannot be stored", folder);
  else
    ::snmp_store(program);
  (void)::netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_PERSIST_STATE, 1);
}

void Listener::run(const std::atomic<bool>& stop) {
  (void)::snmp_alarm_register(
      longest_wait_s, SA_REPEAT, [](unsigned, void*) {}, nullptr);
  while (!stop) {
    if (::agent_check_and_process(1) < 0) fail("waiting for requests", errno);
    turn_(true, 0);
  }
  ::snmp_shutdown(program);
}

std::string Listener::text_of(Link) const {
  const std::string text = fmt::format("listening at {}", fmt::join(settings_.addresses, ", "));
  return settings_.user ? fmt::format("{} as the user {}", text, settings_.user->name) : text;
}

std::string check_address(const std::string& text) {
  const std::size_t first = text.find(':');
  const std::size_t last = text.rfind(':');
  std::uint16_t port = 0;
  const char* end = text.data() + text.size();
  if (first != last && is_address(text.substr(0, first), text.substr(first + 1, last - first - 1)) &&
      std::from_chars(text.data() + last + 1, end, port).ptr == end && port != 0)
    return "";
  return fmt::format("'{}' is neither udp:ADDRESS:PORT nor udp6:[ADDRESS]:PORT with an address in numbers", text);
}

}  // namespace agentd
