// SPDX-License-Identifier: MIT
#include <string.h>

#include "sim/hooks/root.hpp"

namespace kvrn::sim {
namespace {

// The paths that belong to the device. A file of /etc or /tmp is usually a prefix, which also covers numbered files
// ("/tmp/.dc-problem1"), backups and an editor's temporary files. A folder covers everything below it.
enum class Kind { file, prefix, folder };
struct Rule {
  const char* path;
  Kind kind;
};
constexpr Rule rules[] = {
    {"/dev/gpiochip", Kind::prefix},
    {"/dev/i2c-", Kind::prefix},
    {"/dev/mem", Kind::file},
    {"/dev/mtd", Kind::prefix},
    {"/proc/cpuinfo", Kind::file},
    {"/proc/mtd", Kind::file},
    {"/sys/devices/platform/i2c", Kind::folder},
    {"/sys/class/power_supply/sbs-2-000b", Kind::folder},
    {"/var/run/hwmon", Kind::folder},
    {"/etc/board.info", Kind::prefix},
    {"/etc/version", Kind::prefix},
    {"/etc/persistent", Kind::file},
    {"/etc/persistent/battery_data", Kind::prefix},
    {"/tmp/system.cfg", Kind::prefix},
    {"/tmp/.system.cfg", Kind::prefix},
    {"/tmp/.psu_info_cache", Kind::prefix},
    {"/tmp/.psu_data_stable", Kind::prefix},
    {"/tmp/.output_cache", Kind::prefix},
    {"/tmp/.raw_battery_data", Kind::prefix},
    {"/tmp/.dc_out_lock", Kind::prefix},
    {"/tmp/.ac_on_status", Kind::prefix},
    {"/tmp/.ac_outage_", Kind::prefix},
    {"/tmp/.batt_ch_status", Kind::prefix},
    {"/tmp/.batt_li_ch_status", Kind::prefix},
    {"/tmp/.batt_status", Kind::prefix},
    {"/tmp/.battery_info", Kind::prefix},
    {"/tmp/.battery_outage_check", Kind::prefix},
    {"/tmp/.calibrating", Kind::prefix},
    {"/tmp/.charging_status", Kind::prefix},
    {"/tmp/.dc-enabled", Kind::prefix},
    {"/tmp/.dc-problem", Kind::prefix},
    {"/tmp/.led-status-loc", Kind::prefix},
    {"/tmp/.lv", Kind::prefix},
    {"/tmp/.overload_", Kind::prefix},
    {"/tmp/.power_meter", Kind::prefix},
};

bool matches(const Rule& rule, const char* path) {
  const size_t length = ::strlen(rule.path);
  if (::strncmp(path, rule.path, length) != 0) return false;
  const char* rest = path + length;
  return rule.kind == Kind::prefix || *rest == '\0' || ::strcmp(rest, "/") == 0 ||
         (rule.kind == Kind::folder && *rest == '/');
}

}  // namespace

bool is_device_path(const char* path) {
  for (const Rule& rule : rules)
    if (matches(rule, path)) return true;
  return false;
}

bool is_shared_folder(const char* path) {
  const size_t length = ::strlen(path);
  if (length < 2) return false;  // "/" lists only the machine's entries
  for (const Rule& rule : rules)
    if (::strncmp(rule.path, path, length) == 0 && rule.path[length] == '/') return true;
  return false;
}

}  // namespace kvrn::sim
