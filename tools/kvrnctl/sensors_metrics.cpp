// SPDX-License-Identifier: MIT
// Each metric is one row: the key of its value in the document, and the divisor that gives the base unit of its name.
#include <fmt/core.h>

#include <array>

#include "tools/kvrnctl/sensors.hpp"

namespace kvrnctl {
namespace {

struct Metric {
  const char* name;
  const char* key;
  double scale;
  const char* help;
  double factor = 1;           // for a unit that is no decimal multiple of the document's unit
  const char* type = nullptr;  // only sources of this type have the metric; null: all sources
};

constexpr std::array psu_metrics{
    Metric{"kvrn_psu_usable", "usable", 1, "1: the source counts towards the power budget"},
    Metric{"kvrn_psu_output_volts", "voltage_mv", 1e3, "Output voltage of an input supply", 1, "input"},
    Metric{"kvrn_psu_output_amperes", "current_ma", 1e3, "Output current of an input supply", 1, "input"},
    Metric{"kvrn_psu_temperature_celsius", "temperature_c", 1, "Temperature of a supply or battery"},
    Metric{"kvrn_battery_present", "present", 1, "1: the battery is there"},
    Metric{"kvrn_battery_mains", "mains", 1, "1: an input has mains"},
    Metric{"kvrn_battery_charging", "charging", 1, "1: the battery is being charged"},
    Metric{"kvrn_battery_charger_enabled", "charger_enabled", 1, "1: the battery's charger is enabled"},
    Metric{"kvrn_battery_volts", "voltage_mv", 1e3, "Battery voltage", 1, "battery"},
    Metric{"kvrn_battery_amperes", "current_ma", 1e3, "Battery current, negative while charging", 1, "battery"},
    Metric{"kvrn_battery_charge_ratio", "charge_pct", 100, "State of charge, 0 to 1"},
    Metric{"kvrn_battery_time_to_empty_seconds", "time_to_empty_s", 1, "Time until the battery is empty"},
    Metric{"kvrn_battery_time_to_full_seconds", "time_to_full_s", 1, "Time until the battery is full"},
    Metric{"kvrn_battery_full_capacity_coulombs", "full_capacity_mah", 1e3, "Capacity when fully charged", 3600},
    Metric{"kvrn_battery_design_capacity_coulombs", "design_capacity_mah", 1e3, "Capacity when new", 3600},
    Metric{"kvrn_battery_estimated_charge_ratio", "estimated_charge_pct", 100,
           "Charge that the device estimates, 0 to 1"},
    Metric{"kvrn_battery_estimated_time_seconds", "estimated_time_s", 1, "Run time that the device estimates"},
    Metric{"kvrn_battery_error", "error", 1, "1: the device has found the battery at fault"},
    Metric{"kvrn_battery_cycles", "cycle_count", 1, "Charging cycles so far"},
};
constexpr std::array output_metrics{
    Metric{"kvrn_output_enabled", "enabled", 1, "1: on, and not stopped by its protection"},
    Metric{"kvrn_output_state", "state_code", 1, "0 normal, 1 shed, 2 overload, 3 protected, 4 idle, 5 configured off"},
    Metric{"kvrn_output_volts", "voltage_mv", 1e3, "Voltage of a DC output"},
    Metric{"kvrn_output_amperes", "current_ma", 1e3, "Current of a DC output"},
    Metric{"kvrn_output_watts", "power_mw", 1e3, "Power that a DC output delivers"},
    Metric{"kvrn_output_limit_watts", "max_power_mw", 1e3, "Power that one DC output may draw"},
};
constexpr std::array board_metrics{
    Metric{"kvrn_board_temperature_celsius", "temperature_c", 1, "Temperature of the board"},
};
constexpr std::array device_metrics{
    Metric{"kvrn_power_meter", "power_meter", 1, "The number of the power meter's file, in its own unit"},
    Metric{"kvrn_locate_led", "locate_led", 1, "1: the locating LED is requested"},
    Metric{"kvrn_psu_data_stable", "psu_data_stable", 1, "1: the readings of the sources have settled"},
};
// The ages of the readings, and whether they are known and low enough.
constexpr std::array age_metrics{
    Metric{"kvrn_psu_readings_age_seconds", "psus", 1, "Age of the readings of the power sources"},
    Metric{"kvrn_output_readings_age_seconds", "outputs", 1,
           "Age of the readings of the outputs; above 10 the monitor has stopped"},
};
constexpr std::array fresh_metrics{
    Metric{"kvrn_psu_readings_fresh", "psus", 1, "1: the readings of the power sources are at most 10 s old"},
    Metric{"kvrn_output_readings_fresh", "outputs", 1,
           "1: the readings of the outputs are at most 10 s old; 0: older, of unknown age, or missing"},
};

std::string quoted(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == '\\' || c == '"') out += '\\';
    if (c == '\n')
      out += "\\n";
    else
      out += c;
  }
  return '"' + out + '"';
}

std::string sample(const Metric& metric, const std::string& labels, const json& value) {
  const double number = value.is_boolean() ? (value.get<bool>() ? 1 : 0) : value.get<double>();
  return fmt::format("{}{} {}\n", metric.name, labels, number * metric.factor / metric.scale);
}

// The format requires that all samples of one metric follow its help text.
void add(std::string& text, const Metric& metric, const std::string& samples) {
  if (samples.empty()) return;
  text += fmt::format("# HELP {0} {1}\n# TYPE {0} gauge\n{2}", metric.name, metric.help, samples);
}

template <std::size_t Count>
void add_list(std::string& text, const std::array<Metric, Count>& metrics, const json& entries, const char* label) {
  for (const Metric& metric : metrics) {
    std::string samples;
    for (const json& entry : entries) {
      if (metric.type != nullptr && entry["type"] != metric.type) continue;
      const auto value = entry.find(metric.key);
      if (value == entry.end() || value->is_null()) continue;
      std::string labels =
          fmt::format("{{{}=\"{}\"", label, entry.contains("id") ? entry["id"].dump() : entry["sensor"].dump());
      if (entry.contains("type")) labels += ",type=" + quoted(entry["type"]);
      samples += sample(metric, labels + '}', *value);
    }
    add(text, metric, samples);
  }
}

template <std::size_t Count>
void add_values(std::string& text, const std::array<Metric, Count>& metrics, const json& values) {
  for (const Metric& metric : metrics)
    if (const json& value = values[metric.key]; !value.is_null()) add(text, metric, sample(metric, "", value));
}

}  // namespace

std::string metrics_text(const SensorReading& reading) {
  const json& section = reading.section;
  const json board = board_section();
  const auto label = [&](const char* key) { return quoted(board[key].is_string() ? board[key] : json("")); };
  std::string text;
  add(text, {"kvrn_board_info", "", 1, "What the board is; always 1"},
      fmt::format("kvrn_board_info{{model={},system_id={}}} 1\n", label("model"), label("system_id")));
  add_list(text, psu_metrics, section["psus"], "psu");
  add_list(text, output_metrics, section["outputs"], "output");
  add_list(text, board_metrics, section["board_temperatures"], "sensor");
  add_values(text, device_metrics, section);
  add_values(text, age_metrics, {{"psus", reading.psu_source["age_s"]}, {"outputs", reading.output_source["age_s"]}});
  add_values(text, fresh_metrics, {{"psus", reading.psu_source["fresh"]}, {"outputs", reading.output_source["fresh"]}});
  return text;
}

}  // namespace kvrnctl
