// SPDX-License-Identifier: MIT
// A way to serve the tree with net-snmp: as a sub-agent of a master, or alone. At most one object per process, because
// net-snmp keeps its state in global variables.
#pragma once

#include <atomic>
#include <functional>
#include <string>

namespace agentd {

// For net-snmp: also the name of its persistent file.
inline constexpr const char* program = "kvrn-agentd";

class Role {
 public:
  // taken: another sub-agent serves the tree. The agent asks the master again every second.
  enum class Link { unknown, down, taken, refused, up };

  // Called in each turn of the serving thread, at least every few seconds. `linked`: what is sent goes out. With
  // another number of the connection, what was sent last may be lost.
  using Turn = std::function<void(bool linked, unsigned connection)>;

  Role() = default;
  Role(const Role&) = delete;
  virtual ~Role() = default;

  // Opens what needs the rights of the caller and gives these rights up. Must be called before the readings start.
  // @return false when the role must be opened again, in a second; throws when this is useless
  virtual bool open() = 0;

  // Serves the tree until `stop` is set. Needs a separate thread: it may block for any time. Throws when net-snmp
  // cannot be started.
  virtual void run(const std::atomic<bool>& stop) = 0;

  // Any thread may call these functions.
  virtual Link link() const = 0;
  virtual unsigned losses() const = 0;  // how often the link was lost; shows a loss that link() has missed
  virtual std::string text_of(Link link) const = 0;
};

// Sets the environment variables that net-snmp reads. It then reads no settings, MIB modules and certificates of the
// system. Must be called before the process has threads.
// @param state the folder of net-snmp's persistent file; empty: it neither reads nor writes one
void set_environment(const std::string& state);

}  // namespace agentd
