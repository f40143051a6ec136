// SPDX-License-Identifier: MIT
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>

#include "tools/kvrnctl/command.hpp"
#include "tools/service/descriptors.hpp"

namespace kvrnctl {

namespace {

// Colour is only for a terminal that can show it. NO_COLOR with any non-empty value turns it off.
bool wants_color() {
  const char* off = std::getenv("NO_COLOR");
  if (off != nullptr && *off != '\0') return false;
  const char* terminal = std::getenv("TERM");
  if (terminal == nullptr || *terminal == '\0' || std::string_view(terminal) == "dumb") return false;
  return ::isatty(STDOUT_FILENO) == 1;
}

int run(int argc, char** argv) {
  CommandLine line;
  line.app.flag("--json", line.context.json, "Print one JSON document");
  line.app.counter("-v,--verbose", line.context.verbosity, "Say more on standard error");
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
  add_events_command(line);
  add_snmp_commands(line);
  add_cfg_commands(line);
  add_doctor_command(line);
  if (const auto status = cli::parse(line.app, KVRN_VERSION, argc, argv)) return *status;
  // With the signal ignored, a file size limit is a write error, as a full disk is. The signal would end the process
  // and leave an incomplete file.
  (void)std::signal(SIGXFSZ, SIG_IGN);
  // The library takes salts from rand(), and the program must set the seed.
  unsigned seed = 0;
  if (::getentropy(&seed, sizeof seed) != 0) {
    line.context.warn("no random number: " + errno_text(errno));
    return static_cast<int>(Exit::failed);
  }
  std::srand(seed);
  line.context.color = wants_color();
  return deliver(line.context, line.action(line.context));
}

}  // namespace
}  // namespace kvrnctl

int main(int argc, char** argv) {
  service::hold_standard_descriptors();
  try {
    return kvrnctl::run(argc, argv);
  } catch (const std::bad_alloc&) {
    (void)std::fputs("kvrnctl: out of memory\n", stderr);
    return static_cast<int>(kvrnctl::Exit::failed);
  } catch (const std::exception& error) {
    kvrnctl::Context().warn(error.what());
    return static_cast<int>(kvrnctl::Exit::failed);
  }
}
