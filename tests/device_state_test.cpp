// SPDX-License-Identifier: MIT
#include "tests/device.hpp"

namespace {

// A case a line: the code, then what holds, on the four-source board. Records stand in order: `ac` an input with mains,
// `no` one without, `bat` a battery, `chg` one that charges, `fast` one with the highest current,
// `gone` one that is absent. `err` gives the battery in front of it an error, `calN` a calibration of level N, `low` a
// charge of 10 %. NAME=TEXT is the file "/tmp/.NAME", `dark` output line 111 at 0. Each line that differs from a
// neighbour in one thing shows which of two codes is the stronger.
constexpr const char* table = R"(
0   ac ac bat
0   ac ac bat cal1
0   ac ac bat lv_active=2
1   no no chg
1   no no bat battery_outage_check=1
1   no no bat cal2
4   ac ac bat lv_2_active=1
4   ac ac bat low
4   ac ac bat low cal1
12  ac ac bat low cal2
4   ac no bat lv_2_active=1 ac_outage_check=1
4   no no bat lv_2_active=-1 battery_outage_check=1
5   no no gone
5   ac ac bat dc-enabled0=1
5   ac ac bat dc-enabled0=0 dark
0   ac ac bat dc-enabled0=0
5   ac ac bat dc-enabled0=3 dark
0   ac ac bat dark
5   ac ac bat lv_active=1 lv_2_active=1
5   ac no bat lv_active=1 ac_outage_check=1
5   ac ac fast dc-enabled0=1
5   ac ac chg battery_outage_check=1 lv_active=1
6   no ac fast ac_outage_check=1
6   no no bat ac ac_outage_check=1
6   no ac bat ac_outage_check=1 battery_outage_check=1
7   ac no bat ac_outage_check=-1
7   ac no gone ac_outage_check=1
0   ac ac bat ac_outage_check=1
1   no no bat ac_outage_check=1
8   ac ac fast overload_check=1 dc-enabled0=1
9   ac ac bat overload_check=2
9   ac ac bat overload_check=-1
9   ac ac bat overload_check=1 dc-problem0=1
9   ac ac fast dc-problem0=1 dc-enabled0=1
10  ac no chg lv_active=1
10  ac ac chg lv_2_active=1
10  ac ac chg cal1
11  ac ac chg fast
11  ac ac fast chg
12  ac ac chg cal2
12  ac ac bat bat cal3
13  ac ac bat err overload_check=1
12  ac ac bat err cal2
14  ac ac gone
14  ac no gone battery_outage_check=1
14  ac ac bat cal2 battery_outage_check=1
13  ac ac gone bat err cal16
)";

std::string battery_file(const char* base, int psu) { return std::string(base) + (psu == 3 ? "_1" : ""); }

void set_up(Device& device, std::istream& words, psu_info* psus) {
  int next = 0;
  std::string word;
  while (words >> word) {
    const int psu = next - 1;
    const bool battery = word == "bat" || word == "chg" || word == "fast" || word == "gone";
    if (battery || word == "ac" || word == "no") {
      ASSERT_LT(next, KVRN_PSU_MAX);
      psu_info& record = psus[next++];
      record.type = battery ? KVRN_PSU_TYPE_BATTERY : KVRN_PSU_TYPE_INPUT;
      if (word == "ac") record.status = KVRN_PSU_STATUS_USABLE;
      if (word == "fast") record.status = KVRN_PSU_STATUS_HIGH_CURRENT;
      if (battery && word != "gone") record.battery_status = KVRN_PSU_BATTERY_PRESENT;
      if (word == "chg" || word == "fast") record.battery_status |= KVRN_PSU_BATTERY_CHARGING;
      if (battery) device.file(battery_file("/tmp/.battery_info", next - 1), "80 600 1");
    } else if (word == "err") {
      device.file(battery_file("/etc/persistent/battery_data", psu), std::string("\0\0\0\2\0\0\0\0\0\0\0\1", 12));
    } else if (word == "low") {
      device.file(battery_file("/tmp/.battery_info", psu), "10 600 1");
    } else if (word.starts_with("cal")) {
      device.file(battery_file("/tmp/.calibrating", psu), word.substr(3) + " 50");
    } else if (word == "dark") {
      device.gpio(111, 0);
    } else {
      const auto equals = word.find('=');
      ASSERT_NE(equals, std::string::npos) << word;
      device.file("/tmp/." + word.substr(0, equals), word.substr(equals + 1));
    }
  }
}

}  // namespace

TEST(DeviceState, FollowsTheTable) {
  std::istringstream lines(table);
  std::string line;
  while (std::getline(lines, line)) {
    if (line.empty()) continue;
    Device device("four-source");
    std::istringstream words(line);
    int expected = -1;
    words >> expected;
    psu_info psus[KVRN_PSU_MAX]{};
    set_up(device, words, psus);
    EXPECT_EQ(get_device_state(psus), expected) << line;
  }
}

TEST(DeviceState, ReadsOnlyTheBoardsRecords) {
  Device device("generic");  // two sources
  psu_info psus[2]{};
  psus[0].type = psus[1].type = KVRN_PSU_TYPE_INPUT;
  psus[1].status = KVRN_PSU_STATUS_USABLE;
  EXPECT_EQ(get_device_state(psus), 14);
  EXPECT_EQ(get_device_state(nullptr), 5);
}
