// SPDX-License-Identifier: MIT
// The SNMP side: an AgentX sub-agent that answers from whatever table it is handed.
#pragma once

#include <atomic>
#include <functional>
#include <string>

#include "tools/kvrn-agentd/refresher.hpp"

namespace agentd {

// One a process: net-snmp keeps its state in globals.
class AgentX {
 public:
  using Tables = std::function<TablePtr()>;
  // taken: another sub-agent serves the tree; the master is asked again every second
  enum class Link { unknown, down, taken, refused, up };

  // @param socket of the master agent: a path, or "tcp:host:port"
  AgentX(std::string socket, Tables tables);
  AgentX(const AgentX&) = delete;

  // Sets what net-snmp reads of the environment: before the process has threads.
  static void prepare();

  // Serves the tree, and tries to connect every second, until `stop` is set. On a thread of its own, because a master
  // that hangs may hold it for as long as it likes. Throws when net-snmp cannot be started.
  void run(const std::atomic<bool>& stop);

  // For any thread.
  Link link() const;
  unsigned losses() const;  // how often the link was lost: it may be back before anybody looks
  std::string text_of(Link link) const;

 private:
  bool start();

  const std::string socket_;
  Tables tables_;
};

}  // namespace agentd
