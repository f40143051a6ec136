// SPDX-License-Identifier: MIT
// A platform of its own: one input, two smart batteries on other lines and buses.
#define KVRN_TRIAL_PLATFORM                                                                                      \
  {                                                                                                              \
    .system_id = 0xEE7E, .psu_count = 3,                                                                         \
    .sources = {PowerSource{.kind = SourceKind::input, .input = {150, "/tmp/.trial_mains"}},                     \
                PowerSource{.kind = SourceKind::smart_battery,                                                   \
                            .battery = {.charger = {151, "/tmp/.trial_1", &charging_2000}, .smart = {7, 0x0C}}}, \
                PowerSource{.kind = SourceKind::smart_battery,                                                   \
                            .battery = {.charger = {152, "/tmp/.trial_2", &charging_1500}, .smart = {8, 0x0D}}}, \
                PowerSource{.battery = {.charger = {152, "/tmp/.trial_2", &charging_1500}}}},                    \
    .charge_power_mw = 5000, .power = {90000, 60000, 0}, .output_lines = one_output_line,                        \
    .sense_lines = common_sense_lines, .monitors = {"mon-dc-out-1"}, .battery_current = false                    \
  }
