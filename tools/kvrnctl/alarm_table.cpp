// SPDX-License-Identifier: MIT
#include "tools/kvrnctl/alarm_table.hpp"

#include <kvrn/kvrn.h>
#include <kvrn/status.h>

#include <climits>

#include "status/flags.hpp"
#include "tools/kvrnctl/power_sections.hpp"

namespace kvrnctl {
namespace {

bool non_zero(int value) { return value != 0; }
bool never(int) { return false; }

constexpr int only_warning = INT_MAX;

std::string low_voltage_file(int psu) {
  char name[64];
  return ::get_status_file(name, psu, "");
}

// Without the battery's file, the library would answer 2, but only after 600 ms.
int low_voltage(int psu) { return lacks_estimate(psu) ? 2 : ::get_lvmonitor_status_psu(psu); }

template <const kvrn::Flag& flag>
std::string file_of(int index) {
  return kvrn::flag_name(flag, index).c_str();
}

}  // namespace

namespace flags = kvrn::flags;

const std::array<Alarm, 11> alarms{{
    {"overload", Index::none, [](int) { return ::get_overload_status(); }, nullptr, non_zero, 2,
     "1 too much is drawn, 2 a protection tripped", file_of<flags::overload>},
    {"output-overload", Index::output, [](int index) { return ::get_overload_status_port(index); }, nullptr, non_zero,
     2, "1 draws too much, 2 its protection tripped", file_of<flags::overload_port>},
    {"output-protection", Index::output, [](int index) { return ::get_dc_hwprotect_error(index); },
     [](int index, int value) {
       return ::set_dc_hwprotect_error(index, value) == 1 && ::get_dc_hwprotect_error(index) == (value > 0 ? 1 : 0);
     },
     non_zero, 1, "1 its hardware protection tripped", file_of<flags::hw_protect>},
    {"output-config", Index::output, [](int index) { return ::is_dc_out_cfg_enabled(index); },
     [](int index, int value) { return ::set_flag(index, value) == 1 && ::is_dc_out_cfg_enabled(index) == value; },
     never, 1, "2 on or not configured, 0 or 1 off", file_of<flags::output_enabled>},
    {"overload-request", Index::request, [](int index) { return ::get_overload_flag(index); },
     [](int index, int value) {
       ::set_overload_flag(index, value);
       return ::get_overload_flag(index) == value;
     },
     never, 1, "1 the overload check is wanted", file_of<flags::overload_request>},
    {"insufficient-power", Index::none, [](int) { return ::insufficient_power_get(); },
     [](int, int value) { return ::insufficient_power_set(value) == 1 && ::insufficient_power_get() == value; },
     non_zero, only_warning, "1 there is not enough power to charge", file_of<flags::insufficient_power>},
    {"ac-outage", Index::none, [](int) { return ::get_ac_outage_status(); }, nullptr, non_zero, only_warning,
     "1 a mains input failed", file_of<flags::ac_outage>},
    {"ac-outage-overload", Index::none, [](int) { return ::ac_disabled_overload(); }, nullptr, non_zero, 1,
     "1 overload after a mains failure", file_of<flags::ac_disabled_overload>},
    {"battery-outage", Index::none, [](int) { return ::get_battery_outage_status(); }, nullptr, non_zero, only_warning,
     "1 a battery failed", file_of<flags::battery_outage>},
    {"low-voltage-all", Index::none, [](int) { return ::get_lvmonitor_status(); }, nullptr, non_zero, 1,
     "1 every output was dropped", [](int) { return low_voltage_file(-1); }},
    {"low-voltage", Index::battery, low_voltage, nullptr, non_zero, 1, "1 outputs were dropped, 2 nearly empty",
     low_voltage_file},
}};

int alarm_first(const Alarm& alarm) { return alarm.index == Index::battery ? 2 : 0; }

int alarm_count(const Alarm& alarm) {
  switch (alarm.index) {
    case Index::output:
      return output_count();
    case Index::request:
      return 2;
    case Index::battery:
      return ::get_psu_count() - 2;
    case Index::none:
      break;
  }
  return 1;
}

json alarm_list(std::vector<std::string>& errors) {
  json list = json::array();
  for (const Alarm& alarm : alarms)
    for (int i = 0; i < alarm_count(alarm); ++i) {
      const int index = alarm_first(alarm) + i;
      const observe::Observer observer;
      const int value = alarm.get(index);
      Errors unread;
      note_failures(observer.seen(), unread);
      const bool known = unread.empty();
      errors.insert(errors.end(), unread.begin(), unread.end());
      list.push_back({{"name", alarm.index == Index::none ? std::string(alarm.name)
                                                          : std::string(alarm.name) + '.' + std::to_string(index)},
                      {"value", known ? json(value) : json(nullptr)},
                      {"raised", known ? json(alarm.raised(value)) : json(nullptr)},
                      {"settable", alarm.set != nullptr},
                      {"meaning", alarm.meaning}});
      if (known && alarm.index == Index::battery && lacks_estimate(index)) list.back()["note"] = no_estimate;
    }
  return list;
}

}  // namespace kvrnctl
