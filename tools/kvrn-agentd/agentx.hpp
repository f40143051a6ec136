// SPDX-License-Identifier: MIT
// The role with a master: an AgentX sub-agent that answers from the table that it is given.
#pragma once

#include <string>

#include "tools/kvrn-agentd/role.hpp"
#include "tools/kvrn-agentd/tree_handler.hpp"

namespace agentd {

class AgentX : public Role {
 public:
  // @param socket of the master agent: a path, or "tcp:host:port"
  AgentX(std::string socket, Tables tables, Turn turn);

  bool open() override { return true; }
  // Without a connection it tries to connect every second. A master that hangs may block it.
  void run(const std::atomic<bool>& stop) override;

  Link link() const override;
  unsigned losses() const override;
  std::string text_of(Link link) const override;

 private:
  bool start();

  const std::string socket_;
  Tables tables_;
  Turn turn_;
};

}  // namespace agentd
