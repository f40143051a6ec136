// SPDX-License-Identifier: MIT
// The role without a master: net-snmp's agent in this process answers requests from the network.
#pragma once

#include <optional>
#include <vector>

#include "tools/kvrn-agentd/role.hpp"
#include "tools/kvrn-agentd/tree_handler.hpp"
#include "tools/service/rights.hpp"

namespace agentd {

class Listener : public Role {
 public:
  struct Settings {
    std::vector<std::string> addresses;  // "udp:ADDRESS:PORT"
    std::string config;                  // a file with net-snmp's words: users, views, where notifications go
    std::string state;                   // the folder of net-snmp's persistent file: keys, engine id and boots
    std::optional<service::User> user;   // whose rights the process keeps
  };

  Listener(Settings settings, Tables tables, Turn turn);

  // @return false when an address is in use or not there yet. Logs this once. Throws on every other failure.
  bool open() override;
  void run(const std::atomic<bool>& stop) override;

  Link link() const override { return Link::up; }
  unsigned losses() const override { return 0; }
  std::string text_of(Link link) const override;

 private:
  void start();
  bool listen();
  void drop_rights() const;
  void store() const;

  const Settings settings_;
  Tables tables_;
  const Turn turn_;
  bool started_ = false;
  std::size_t opened_ = 0;  // so many addresses
  std::string problem_;     // of the next address, as logged
};

// @return what is wrong with an address to listen at, or an empty text
std::string check_address(const std::string& text);

}  // namespace agentd
