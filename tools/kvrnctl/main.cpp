// SPDX-License-Identifier: MIT
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <random>

#include "tools/kvrnctl/command.hpp"
#include "tools/service/standard_descriptors.hpp"

namespace kvrnctl {

CLI::App* CommandLine::add(CLI::App& parent, const char* name, const char* description) {
  CLI::App* command = parent.add_subcommand(name, description);
  command->add_flag("--json", context.json, "Print one JSON document");
  command->add_flag("-v,--verbose", context.verbosity, "Say more on standard error");
  return command;
}

namespace {

// Colour is for people at a terminal that can show it; NO_COLOR (any non-empty value) turns it off.
bool wants_color() {
  const char* off = std::getenv("NO_COLOR");
  if (off != nullptr && *off != '\0') return false;
  const char* terminal = std::getenv("TERM");
  if (terminal == nullptr || *terminal == '\0' || std::string_view(terminal) == "dumb") return false;
  return ::isatty(STDOUT_FILENO) == 1;
}

int run(int argc, char** argv) {
  CommandLine line;
  line.app.description("Board, power sources and lines of this device.");
  line.app.name("kvrnctl");
  line.app.set_version_flag("--version", "kvrnctl " KVRN_VERSION);
  line.app.require_subcommand(1);
  line.app.footer(
      "Exit status: 0 done, 1 failed, 2 wrong usage, 3 the data is stale, 4 not on this board.\n"
      "Readings go to standard output, diagnostics to standard error.");
  add_board_command(line);
  add_psu_commands(line);
  add_gpio_commands(line);
  add_get_command(line);
  add_power_commands(line);
  add_alarm_commands(line);
  add_charge_commands(line);
  add_watch_command(line);
  add_sensors_command(line);
  add_snmp_commands(line);
  add_cfg_commands(line);
  add_doctor_command(line);
  try {
    line.app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    // Help and version are successes; every other refusal is wrong usage.
    if (line.app.exit(error) != 0) return static_cast<int>(Exit::usage);
    return static_cast<int>(flush_output() ? Exit::ok : Exit::failed);
  }
  // A file size limit is an error of the write, as a full disk is; not the end of the process with half a file.
  (void)std::signal(SIGXFSZ, SIG_IGN);
  // The library draws salts from rand() and leaves the seed to its program.
  std::srand(std::random_device{}());
  line.context.color = wants_color();
  return deliver(line.context, line.action(line.context));
}

}  // namespace
}  // namespace kvrnctl

int main(int argc, char** argv) {
  service::hold_standard_descriptors();
  try {
    return kvrnctl::run(argc, argv);
  } catch (const std::exception& error) {
    kvrnctl::Context().warn(error.what());
    return static_cast<int>(kvrnctl::Exit::failed);
  }
}
