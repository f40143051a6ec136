// SPDX-License-Identifier: MIT
// The SNMP side: an AgentX sub-agent that answers from whatever table it is handed.
#pragma once

#include <signal.h>

#include <chrono>
#include <functional>
#include <string>

#include "tools/kvrn-agentd/refresher.hpp"

namespace agentd {

// One a process: net-snmp keeps its state in globals. Everything runs on one thread.
class AgentX {
 public:
  using Tables = std::function<TablePtr()>;

  // @param socket of the master agent: a path, or "tcp:host:port"
  AgentX(std::string socket, Tables tables);
  ~AgentX();  // takes leave of the master
  AgentX(const AgentX&) = delete;

  // Registers the tree, and connects as soon as there is a master. @return false: net-snmp refused
  bool start();

  // Serves requests for a while. `unblocked` is the signal mask while it waits. @return false when a signal came
  bool serve(std::chrono::microseconds time, const sigset_t& unblocked);

 private:
  void report_link();

  const std::string socket_;
  Tables tables_;
  bool reported_up_ = false;
  std::string reported_;  // what was logged of the link last
};

}  // namespace agentd
