// SPDX-License-Identifier: MIT
// Why is it unknown? Every source that the readout uses on this board, and what the kernel answers.
#include <fcntl.h>
#include <fmt/core.h>
#include <kvrn/kvrn.h>

#include <algorithm>

#include "battery/sbs_bus.hpp"
#include "board/platform.hpp"
#include "hw/attribute.hpp"
#include "hw/gpio_number.hpp"
#include "psu/readout.hpp"
#include "tools/kvrnctl/cache_probe.hpp"
#include "tools/kvrnctl/command.hpp"
#include "tools/kvrnctl/format.hpp"
#include "tools/kvrnctl/probe.hpp"
#include "tools/kvrnctl/sections.hpp"

namespace kvrnctl {
namespace {

enum class Status { ok, optional, failed };

class Report {
 public:
  void add(std::string fact, std::string source, const Answer& answer, std::string stands_in, std::string hint = {}) {
    put(answer.ok ? Status::ok : Status::failed, std::move(fact), std::move(source), answer, std::move(stands_in),
        std::move(hint));
  }

  // A file that may well be missing: its absence is no fault, a file that cannot be read is.
  void add_flag(std::string fact, const char* path, std::string without) {
    Answer answer = probe_number(path);
    const bool missing = answer.error == ENOENT;
    if (missing) answer.text = "no such file";
    put(answer.ok ? Status::ok
        : missing ? Status::optional
                  : Status::failed,
        std::move(fact), path, answer, std::move(without),
        answer.ok || missing ? "" : "write one number into it, or remove it");
  }

  void add_line(std::string fact, std::uint32_t line, std::string stands_in) {
    const Answer answer = probe_gpio(line);
    add(std::move(fact), fmt::format("GPIO {}", line), answer, std::move(stands_in), gpio_hint(line, answer));
  }

  // An image that the monitoring process shares, or does not.
  void add_image(std::string fact, const kvrn::ImageSpec& spec, std::string stands_in) {
    const CacheProbe file = probe_cache(spec);
    Status status = file.fresh() ? Status::ok : Status::failed;
    if (file.open_error == ENOENT) status = Status::optional;
    const char* hint = "the monitoring process is not running";
    if (file.open_error == EACCES) hint = "run as the user that owns the file";
    if (file.in_future()) {
      hint = "stamped before the device started: start the monitoring process, or remove the file";
      stands_in = "none: the library takes it as fresh";
    }
    if (file.open_error == 0 && !file.whole) hint = "another program wrote the file: remove it";
    put(status, std::move(fact), spec.path, {file.fresh(), file.open_error, file.text()}, std::move(stands_in), hint);
  }

  void put(Status status, std::string fact, std::string source, const Answer& answer, std::string stands_in,
           std::string hint) {
    static constexpr const char* names[]{"ok", "absent", "failed"};
    failures_ += status == Status::failed ? 1 : 0;
    probes_.push_back({{"id", probes_.size()},
                       {"fact", std::move(fact)},
                       {"source", std::move(source)},
                       {"status", names[static_cast<int>(status)]},
                       {"answer", answer.text},
                       {"stands_in", status == Status::ok ? json(nullptr) : json(std::move(stands_in))},
                       {"hint", status == Status::failed && !hint.empty() ? json(std::move(hint)) : json(nullptr)}});
  }

  const json& probes() const { return probes_; }
  int failures() const { return failures_; }

 private:
  static std::string gpio_hint(std::uint32_t line, const Answer& answer) {
    if (answer.error == EBUSY) return "another program or driver holds the line: gpioinfo shows which";
    if (answer.error == EACCES) return "run as root or as a member of the gpio group";
    if (answer.error == ENOENT)
      return fmt::format("no chip {}: is its driver loaded?", ::get_chip_path(kvrn::gpio_chip_index(line)));
    return "does the chip have this line?";
  }

  json probes_ = json::array();
  int failures_ = 0;
};

std::string device_hint(const Answer& answer) {
  switch (answer.error) {
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

void probe_board(Report& report) {
  Answer system = probe_text("/proc/cpuinfo", "system type");
  if (system.ok && !board_is_known()) {
    system.ok = false;
    system.text += ": none of the library's SoCs";
  }
  report.add("SoC family", "/proc/cpuinfo", system, "the \"Unknown\" board", "is this the device?");
  report.add("board id and MAC addresses", "calibration partition", probe_calibration(),
             "the family's generic board, MAC unknown",
             "/dev/mtd* and /dev/mtdblock* are root's; the partition must be named EEPROM or ART");
  const Answer memory = probe_revision();
  report.add("SoC revision", "/dev/mem at 0x18060090", memory, "revision unknown", device_hint(memory));
}

void probe_input(Report& report, int index, const kvrn::Platform& platform) {
  const kvrn::Input& input = kvrn::inputs[static_cast<std::size_t>(index)];
  const std::string psu = fmt::format("PSU {} ", index);
  report.add_flag(psu + "mains (override)", input.mains_flag, "the mains line decides");
  report.add_line(psu + "mains", input.mains_line, "no mains");
  if (!platform.slots) {
    report.put(Status::optional, psu + "output and temperature", "none", {false, 0, "not measured on this board"},
               "no value", "");
    return;
  }
  report.add_line(psu + "slot", input.slot_line, "the slot counts as occupied");
  constexpr std::pair<const char*, std::uint8_t> registers[]{{"output voltage", kvrn::supply_vout},
                                                             {"output current", kvrn::supply_iout},
                                                             {"temperature", kvrn::supply_temperature}};
  for (const auto& [name, reg] : registers) {
    const Answer answer = probe_register(input.monitor_bus, input.monitor_address, reg, false);
    report.add(psu + name,
               fmt::format("I2C {}-{:02x} register 0x{:02x}", input.monitor_bus, input.monitor_address, reg), answer,
               "unknown", device_hint(answer));
  }
}

void probe_charger(Report& report, const kvrn::Charger& charger, const kvrn::Platform& platform) {
  const std::string psu = fmt::format("PSU {} ", charger.psu);
  report.add_line(psu + "charge disable", charger.disable_line, "charging allowed");
  report.add_flag(psu + "charger enabled (override)", charger.enabled_flag, "the charge-disable line decides");
  for (const kvrn::LineLevel& wanted : platform.charging_table(charger.psu)[0].lines)
    if (wanted.line != 0) report.add_line(psu + "charging current", wanted.line, "not the highest current");
}

void probe_hwmon_battery(Report& report, const kvrn::Platform& platform) {
  probe_charger(report, kvrn::hwmon_charger, platform);
  for (const char* attribute : {"in0_input", "curr1_input"}) {
    const auto path = kvrn::hwmon_path(kvrn::battery_monitor, attribute);
    const Answer answer = probe_number(path.c_str());
    report.add(fmt::format("PSU 2 {}", attribute[0] == 'i' ? "voltage" : "current"), path.c_str(), answer, "0",
               "start-up scripts link hwmon devices into /var/run/hwmon: is the monitor's driver loaded?");
  }
  report.add_flag("PSU 2 present (override)", kvrn::battery_present_flag, "the presence line decides");
  report.add_line("PSU 2 present", kvrn::battery_present_line, "absent");
  report.add_flag("PSU 2 charging (override)", kvrn::charging_status_file, "the current's direction decides");
}

void probe_smart_battery(Report& report, const kvrn::Platform& platform) {
  probe_charger(report, kvrn::smart_charger, platform);
  report.add_image("PSU 3 published readings", kvrn::raw_battery_file, "the battery is read over I2C");
  constexpr std::pair<const char*, std::uint8_t> registers[]{{"status", kvrn::sbs::battery_status},
                                                             {"state code", kvrn::sbs::manufacturer_access},
                                                             {"voltage", kvrn::sbs::voltage},
                                                             {"current", kvrn::sbs::current},
                                                             {"temperature", kvrn::sbs::temperature},
                                                             {"time to empty", kvrn::sbs::average_time_to_empty},
                                                             {"time to full", kvrn::sbs::average_time_to_full},
                                                             {"cycle count", kvrn::sbs::cycle_count},
                                                             {"manufacture date", kvrn::sbs::manufacture_date},
                                                             {"battery mode", kvrn::sbs::battery_mode},
                                                             {"full capacity", kvrn::sbs::full_charge_capacity},
                                                             {"remaining capacity", kvrn::sbs::remaining_capacity},
                                                             {"design capacity", kvrn::sbs::design_capacity}};
  const std::string device = fmt::format("I2C {}-{:02x}", kvrn::sbs_bus, kvrn::sbs_address);
  for (const auto& [name, reg] : registers) {
    const Answer answer = probe_register(kvrn::sbs_bus, kvrn::sbs_address, reg, true);
    report.add(fmt::format("PSU 3 {}", name), fmt::format("{} register 0x{:02x}", device, reg), answer, "unknown",
               device_hint(answer));
  }
  constexpr std::pair<const char*, std::uint16_t> blocks[]{
      {"cells 5-7", 0x7B}, {"cells 1-4", 0x71}, {"block 51", 0x51}, {"block 55", 0x55}};
  for (const auto& [name, block] : blocks) {
    const Answer answer = probe_block(block);
    report.add(fmt::format("PSU 3 {}", name), fmt::format("{} block 0x{:02x}", device, block), answer, "unknown",
               device_hint(answer));
  }
}

Result doctor(const Context& context) {
  Report report;
  probe_board(report);
  report.add_image("all PSUs", kvrn::psu_cache_file, "every PSU is read directly");
  const kvrn::Platform& platform = kvrn::platform_of(::board_identify()->system_id);
  for (int input = 0; input < 2; ++input) probe_input(report, input, platform);
  for (int psu = 2; psu < platform.psu_count; ++psu) {
    if (platform.battery(psu) == kvrn::BatteryReader::hwmon) probe_hwmon_battery(report, platform);
    if (platform.battery(psu) == kvrn::BatteryReader::smart) probe_smart_battery(report, platform);
  }
  Result result;
  result.data["board"] = {{"model", ::map_board_name(::board_identify())}, {"psu_count", platform.psu_count}};
  result.data["probes"] = report.probes();
  result.data["failures"] = report.failures();
  Table table({"STATUS", "FACT", "SOURCE", "ANSWER; WHAT STANDS IN"});
  std::string hints;
  for (const json& probe : report.probes()) {
    const std::string status = probe["status"];
    const Color color = status == "ok" ? Color::good : status == "failed" ? Color::bad : Color::dim;
    std::string answer = probe["answer"];
    if (!probe["stands_in"].is_null()) answer += "; " + probe["stands_in"].get<std::string>();
    table.add({painted(context, color, status), probe["fact"], probe["source"], answer});
    if (!probe["hint"].is_null())
      hints += folded(fmt::format("{}: {}", probe["fact"].get<std::string>(), probe["hint"].get<std::string>()), 2);
  }
  result.text = table.text();
  if (!hints.empty()) result.text += "\nHints\n" + hints;
  if (report.failures() > 0)
    result.fail(Exit::failed, fmt::format("{} of {} sources failed", report.failures(), report.probes().size()));
  return result;
}

}  // namespace

void add_doctor_command(CommandLine& line) {
  line.add("doctor", "Why is it unknown? What every source answers, and what stands in").action([&line] {
    line.action = doctor;
  });
}

}  // namespace kvrnctl
