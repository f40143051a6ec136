// SPDX-License-Identifier: MIT
#include "tools/kvrn-monitord/options.hpp"

#include <getopt.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>

#include "tools/cli/distance.hpp"
#include "tools/kvrn-monitord/say.hpp"

namespace monitord {
namespace {

constexpr double shortest_s = 0.1;
constexpr double longest_s = 9;

// The values that getopt_long() returns.
enum Code : int { plain_word = 1, help = 'h', version = 'V', period = 256, pid_file, once, background, to_stderr };

// Each name is stored with its dashes, which the messages need and getopt_long() does not take.
constexpr option entry(const char* dashed, int has_value, int code) { return {dashed + 2, has_value, nullptr, code}; }
const char* dashed(const option& one) { return one.name - 2; }

constexpr option table[] = {
    entry("--period", required_argument, period),   entry("--once", no_argument, once),
    entry("--background", no_argument, background), entry("--pid-file", required_argument, pid_file),
    entry("--stderr", no_argument, to_stderr),      entry("--help", no_argument, help),
    entry("--version", no_argument, version),       {}};
constexpr std::span known(table, std::size(table) - 1);

__attribute__((format(printf, 1, 2))) int refuse(const char* format, ...) {
  va_list args;
  va_start(args, format);
  vsay(format, args);
  va_end(args);
  (void)std::fputs("Try 'kvrn-monitord --help'.\n", stderr);
  return 2;
}

// Suggests the option that the user may have meant, or lists all options.
int refuse_option(const char* name) {
  const auto far = [name](const option& one) { return cli::distance(name, dashed(one)); };
  const char* nearest = dashed(*std::ranges::min_element(known, {}, far));
  if (cli::is_near(name, nearest)) return refuse("no option '%s'; did you mean '%s'?", name, nearest);
  std::array<char, 128> all{};
  for (const option& one : known) {
    if (all[0] != '\0') std::strcat(all.data(), ", ");
    std::strcat(all.data(), dashed(one));
  }
  return refuse("no option '%s'; choose from %s", name, all.data());
}

// Finds a long option by its full name. getopt_long() would accept the beginning of a name too.
const option* find(const char* word) {
  const std::string_view name(word, std::strcspn(word, "="));
  const auto found = std::ranges::find(known, name, dashed);
  return found == known.end() ? nullptr : &*found;
}

int refuse_word(const char* word) { return refuse("'%s' is one word too many", word); }

bool to_period(const char* text, double& period_s) {
  char* rest = nullptr;
  const double value = std::strtod(text, &rest);
  // strtod() would also accept blanks, a plus sign, exponents and "nan".
  const bool whole = *rest == '\0' && text[std::strspn(text, "-.0123456789")] == '\0';
  if (!whole || value < shortest_s || value > longest_s) return false;
  period_s = value;
  return true;
}

// Returns the exit status after the help or the version was printed.
int printed() {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return 0;
  say("cannot write: %s", std::strerror(errno));
  return 1;
}

int print_version() {
  (void)std::puts("kvrn-monitord " KVRN_VERSION);
  return printed();
}

int print_help(const Options& initial) {
  (void)std::printf(
      "usage: kvrn-monitord [--period S] [--once | --background] [--pid-file F]\n"
      "       [--stderr]\n"
      "\n"
      "Reads the power hardware and publishes the readings for every other process.\n"
      "\n"
      "Options:\n"
      "  --period S     From reading to reading; readers refuse readings above 10 s\n"
      "                 (%g to %g s, default %g)\n"
      "  --once         Publish once and end\n"
      "  --background   Leave the terminal\n"
      "  --pid-file F   The file that names the monitor's process (default\n"
      "                 %s)\n"
      "  --stderr       Log to standard error too\n"
      "  -h, --help     Print this help\n"
      "  -V, --version  Print the version\n"
      "\n"
      "Exit status: 0 ended by a signal or --once, 1 failed or another monitor runs, 2\n"
      "wrong usage.\n",
      shortest_s, longest_s, initial.period_s, initial.pid_file);
  return printed();
}

// Stores an option. `given` tells which options with a value were given before. Returns the exit status if the program
// must end.
std::optional<int> take(Options& options, const option& one, std::array<bool, 2>& given) {
  if (one.has_arg == required_argument && std::exchange(given[static_cast<std::size_t>(one.val - period)], true))
    return refuse("%s is given twice", dashed(one));
  switch (one.val) {
    case period:
      if (to_period(::optarg, options.period_s)) break;
      return refuse("%s is a number from %g to %g s, not '%s'", dashed(one), shortest_s, longest_s, ::optarg);
    case pid_file:
      // An option behind it is taken as its value by getopt_long().
      if (*::optarg == '\0' || *::optarg == '-') return refuse("%s needs a value", dashed(one));
      options.pid_file = ::optarg;
      break;
    case once:
      options.once = true;
      break;
    case background:
      options.background = true;
      break;
    case to_stderr:
      options.to_stderr = true;
      break;
    default:
      return one.val == help ? print_help(Options()) : print_version();
  }
  return std::nullopt;
}

}  // namespace

std::optional<int> parse(Options& options, int argc, char** argv) {
  std::array<bool, 2> given{};
  ::opterr = 0;
  while (::optind < argc) {
    char* word = argv[::optind];
    const option* one = find(word);
    if (word[0] == '-' && std::strchr("0123456789.", word[1]) != nullptr && word[1] != '\0') return refuse_word(word);
    if (std::strncmp(word, "--", 2) == 0 && word[2] != '\0' && one == nullptr) {
      word[std::strcspn(word, "=")] = '\0';
      return refuse_option(word);
    }
    // '-' returns plain words in their order. ':' tells a missing value from an unknown option.
    const int code = ::getopt_long(argc, argv, "-:hV", table, nullptr);
    if (code == -1) break;  // "--": only plain words follow
    if (code == plain_word) return refuse_word(word);
    if (code == ':') return refuse("%s needs a value", word);
    if (code == '?') return one == nullptr ? refuse_option(word) : refuse("%s takes no value", dashed(*one));
    if (one == nullptr) return code == help ? print_help(Options()) : print_version();
    if (const auto status = take(options, *one, given)) return status;
  }
  if (::optind < argc) return refuse_word(argv[::optind]);
  // Nobody would see the status of --once.
  if (options.once && options.background) return refuse("--once and --background exclude each other");
  return std::nullopt;
}

}  // namespace monitord
