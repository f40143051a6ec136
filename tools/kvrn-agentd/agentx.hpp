// SPDX-License-Identifier: MIT
// The SNMP side: an AgentX sub-agent that answers from the table that it is given.
#pragma once

#include <atomic>
#include <functional>
#include <string>

#include "tools/kvrn-agentd/refresher.hpp"

namespace agentd {

// At most one per process: net-snmp keeps its state in global variables.
class AgentX {
 public:
  using Tables = std::function<TablePtr()>;
  // Called in each turn of the serving thread, at least every few seconds. `linked`: the master takes what is sent.
  // With another number of the connection, what was sent last may be lost.
  using Turn = std::function<void(bool linked, unsigned connection)>;
  // taken: another sub-agent serves the tree. The agent asks the master again every second.
  enum class Link { unknown, down, taken, refused, up };

  // @param socket of the master agent: a path, or "tcp:host:port"
  AgentX(std::string socket, Tables tables, Turn turn);
  AgentX(const AgentX&) = delete;

  // Sets the environment variables that net-snmp reads. Must be called before the process has threads.
  static void prepare();

  // Serves the tree until `stop` is set. Without a connection it tries to connect every second. Needs a separate
  // thread: a master that hangs may block it for any time. Throws when net-snmp cannot be started.
  void run(const std::atomic<bool>& stop);

  // Any thread may call these functions.
  Link link() const;
  unsigned losses() const;  // how often the link was lost; shows a loss that link() has missed
  std::string text_of(Link link) const;

 private:
  bool start();

  const std::string socket_;
  Tables tables_;
  Turn turn_;
};

}  // namespace agentd
