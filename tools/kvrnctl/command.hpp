// SPDX-License-Identifier: MIT
// How commands are added to the command line.
#pragma once

#include <functional>

#include "tools/cli/command.hpp"
#include "tools/kvrnctl/context.hpp"

namespace kvrnctl {

using Action = std::function<Result(const Context&)>;

// The command line: the global options, and the action that the chosen command sets.
struct CommandLine {
  cli::Command app{"kvrnctl", "Board, power sources and lines of this device"};
  Context context;
  Action action;

  cli::Command& add(const char* name, const char* description) { return app.command(name, description); }
};

void add_board_command(CommandLine& line);
void add_psu_commands(CommandLine& line);
void add_gpio_commands(CommandLine& line);
void add_get_command(CommandLine& line);
void add_power_commands(CommandLine& line);
void add_alarm_commands(CommandLine& line);
void add_charge_commands(CommandLine& line);
void add_watch_command(CommandLine& line);
void add_sensors_command(CommandLine& line);
void add_events_command(CommandLine& line);
void add_snmp_commands(CommandLine& line);
void add_cfg_commands(CommandLine& line);
void add_doctor_command(CommandLine& line);

}  // namespace kvrnctl
