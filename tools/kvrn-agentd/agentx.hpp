// SPDX-License-Identifier: MIT
// The SNMP side: an AgentX sub-agent that answers from whatever table it is handed.
#pragma once

#include <atomic>
#include <functional>
#include <string>

#include "tools/kvrn-agentd/refresher.hpp"

namespace agentd {

// One a process: net-snmp keeps its state in globals. It has a thread of its own, because a master that hangs may hold
// it for as long as it likes.
class AgentX {
 public:
  using Tables = std::function<TablePtr()>;

  // @param socket of the master agent: a path, or "tcp:host:port"
  AgentX(std::string socket, Tables tables);
  ~AgentX();  // takes leave of the master
  AgentX(const AgentX&) = delete;

  // Registers the tree, and connects when there is a master. @return false: net-snmp refused
  bool start();

  // Serves requests, and tries to connect every second, until `stop` is set.
  void serve(const std::atomic<bool>& stop);

 private:
  void report_link();

  const std::string socket_;
  Tables tables_;
  bool was_up_ = false;
  std::string reported_;  // what was logged of the link last
};

}  // namespace agentd
