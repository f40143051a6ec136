// SPDX-License-Identifier: MIT
// doctor: shows why a value is unknown. Reads everything once and shows what each source answered.
#include <fmt/core.h>
#include <kvrn/kvrn.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "hw/gpio_number.hpp"
#include "tools/kvrnctl/command.hpp"
#include "tools/kvrnctl/format.hpp"
#include "tools/kvrnctl/sections.hpp"

namespace kvrnctl {
namespace {

// What the library uses instead of a fact that could not be read. `missing` applies to a file that does not exist.
struct Default {
  kvrn_fact fact;
  const char* failed;
  const char* missing = "";
};
constexpr std::array defaults{
    Default{KVRN_FACT_FAMILY, "the \"Unknown\" board"},
    Default{KVRN_FACT_CALIBRATION, "the family's generic board, MAC unknown"},
    Default{KVRN_FACT_RECORDS, "the hardware is read", "the hardware is read"},
    Default{KVRN_FACT_OUTPUT_RECORDS, "the hardware is read", "the hardware is read"},
    Default{KVRN_FACT_MAINS, "no mains", "the mains line decides"},
    Default{KVRN_FACT_SLOT, "the slot counts as occupied"},
    Default{KVRN_FACT_CHARGE_DISABLE, "charging allowed"},
    Default{KVRN_FACT_CHARGER, "the charge-disable line decides", "the charge-disable line decides"},
    Default{KVRN_FACT_CHARGING_CURRENT, "not the highest current"},
    Default{KVRN_FACT_PRESENT, "absent", "the presence line decides"},
    Default{KVRN_FACT_CHARGING, "the current's direction decides", "the current's direction decides"},
    Default{KVRN_FACT_SWITCHED, "on"},
    Default{KVRN_FACT_CONFIGURED, "off", "not configured: on"},
    Default{KVRN_FACT_PROTECTION, "no protection tripped", "no protection tripped"},
    Default{KVRN_FACT_ASSIST, "no help from a battery"},
};

std::string stands_in(const observe::Seen& read) {
  const auto* const found = std::ranges::find(defaults, read.what.fact, &Default::fact);
  if (read.what.kind == KVRN_SOURCE_IMAGE && read.answered()) return "none: the library takes it as fresh";
  if (found != defaults.end()) return read.what.kind == KVRN_SOURCE_FILE ? found->missing : found->failed;
  return read.what.kind == KVRN_SOURCE_HWMON ? "0" : "unknown";
}

std::string hint_of_image(const observe::Seen& image) {
  if (image.what.error == EACCES) return "run as the user that owns the file";
  if (image.what.outcome == KVRN_OUTCOME_WRONG_SIZE) return "another program wrote the file: remove it";
  if (image.what.value < 0)
    return "stamped before the device started: start the monitoring process, or remove the file";
  return "the monitoring process is not running";
}

std::string hint_of_line(const observe::Seen& line) {
  switch (line.what.error) {
    case EBUSY:
      return "another program or driver holds the line: gpioinfo shows which";
    case EACCES:
      return "run as root or as a member of the gpio group";
    case ENOENT:
      return fmt::format("no chip {}: is its driver loaded?", line.path);
    default:
      return "does the chip have this line?";
  }
}

std::string hint_of_device(int error) {
  switch (error) {
    case ENOENT:
      return "no such device: is its driver loaded?";
    case EACCES:
    case EPERM:
      return "run as root or as a member of the device's group";
    case ENXIO:
    case EIO:
      return "the device does not answer: is it there and powered?";
    case EBUSY:
      return "a kernel driver holds the address";
    default:
      return "";
  }
}

std::string hint(const observe::Seen& read) {
  switch (read.what.kind) {
    case KVRN_SOURCE_IMAGE:
      return hint_of_image(read);
    case KVRN_SOURCE_GPIO:
      return hint_of_line(read);
    case KVRN_SOURCE_HWMON:
      return "start-up scripts link hwmon devices into /var/run/hwmon: is the monitor's driver loaded?";
    case KVRN_SOURCE_FILE:
      return "write one number into it, or remove it";
    case KVRN_SOURCE_BOARD:
      if (read.what.fact == KVRN_FACT_FAMILY) return "is this the device?";
      if (read.what.fact == KVRN_FACT_CALIBRATION)
        return "/dev/mtd* and /dev/mtdblock* are root's; the partition must be named EEPROM or ART";
      [[fallthrough]];
    default:
      return hint_of_device(read.what.error);
  }
}

// An image also counts as a failure when the library uses it although its time stamp is not from this uptime.
bool is_failure(const observe::Seen& read) {
  return read.failed() ||
         (read.what.kind == KVRN_SOURCE_IMAGE && read.answered() && source_of(&read, false)["fresh"] == false);
}

json probe(std::size_t id, const observe::Seen& read) {
  const bool failure = is_failure(read);
  const bool ok = !failure && !read.absent();
  const std::string advice = failure ? hint(read) : "";
  return {{"id", id},
          {"fact", read.fact()},
          {"where", read.source()},
          {"status", failure ? "failed"
                     : ok    ? "ok"
                             : "absent"},
          {"answer", read.answer()},
          {"stands_in", ok ? json(nullptr) : json(stands_in(read))},
          {"hint", advice.empty() ? json(nullptr) : json(advice)}};
}

// Reads everything once: all values from the hardware, and also both images.
void read_everything() {
  (void)::board_identify();
  psu_info_view shared{};
  if (::get_psu_info_cache_data(&shared) != 0) ::psu_info_cache_data_free(&shared);
  psu_info psus[KVRN_PSU_MAX]{};
  (void)read_hardware(psus);
  (void)::get_max_power(psus);
  output_view outputs{};
  if (::get_output_cache_data(&outputs) != 0) ::output_cache_data_free(&outputs);
  for (int id = 0; id < output_count(); ++id) {
    (void)::is_dc_out_enabled(id);
    (void)::get_dc_hwprotect_error(id);
    (void)::is_dc_out_cfg_enabled(id);
    (void)::isl28022_read_power_id_direct(static_cast<std::uint32_t>(id));
  }
}

Result doctor(const Context& context) {
  const observe::Observer observer;
  read_everything();
  json probes = json::array();
  for (const observe::Seen& read : observer.seen()) probes.push_back(probe(probes.size(), read));
  const auto failures = std::ranges::count_if(probes, [](const json& entry) { return entry["status"] == "failed"; });
  Result result;
  result.data["board"] = {{"model", ::map_board_name(::board_identify())}, {"psu_count", ::get_psu_count()}};
  result.data["probes"] = probes;
  result.data["failures"] = failures;
  Table table({"STATUS", "FACT", "SOURCE", "ANSWER; WHAT STANDS IN"});
  std::string hints;
  for (const json& entry : probes) {
    const std::string status = entry["status"];
    const Color color = status == "ok" ? Color::good : status == "failed" ? Color::bad : Color::dim;
    std::string answer = entry["answer"];
    if (!entry["stands_in"].is_null()) answer += "; " + entry["stands_in"].get<std::string>();
    table.add({painted(context, color, status), entry["fact"], entry["where"], answer});
    if (!entry["hint"].is_null())
      hints += folded(fmt::format("{}: {}", entry["fact"].get<std::string>(), entry["hint"].get<std::string>()), 2);
  }
  result.text = table.text();
  if (!hints.empty()) result.text += "\nHints\n" + hints;
  if (failures > 0) result.fail(Exit::failed, fmt::format("{} of {} sources failed", failures, probes.size()));
  return result;
}

}  // namespace

void add_doctor_command(CommandLine& line) {
  line.add("doctor", "Why is it unknown? What every source answers, and what stands in").action([&line] {
    line.action = doctor;
  });
}

}  // namespace kvrnctl
