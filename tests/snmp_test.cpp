// SPDX-License-Identifier: MIT
// The module as a host drives it: this program defines the host's functions.
#include <malloc.h>
#include <sys/stat.h>

#include <cstdarg>

#include "snmp/object.hpp"
#include "tests/device.hpp"
#include "tests/golden.hpp"

namespace {

struct Host {
  bool keep = true;
  int fail_at = 0;  // the add that fails, from 1
  int adds = 0;
  std::string listing;

  bool has(const std::string& line) const { return ('\n' + listing).find('\n' + line + '\n') != std::string::npos; }
};

constexpr int refusal = 42;
std::string calls;  // of the host's other functions

std::string oid_text(const kvrn_snmp_oid_word* oid) {
  std::string text = oid[1] == 43 ? "1.3" : "?";
  for (kvrn_snmp_oid_word i = 2; i <= oid[0]; ++i) text += '.' + std::to_string(oid[i]);
  return text;
}

std::string value_text(const kvrn_snmp_value& value) {
  if (value.type == KVRN_SNMP_TYPE_OCTET_STRING)
    return "STRING \"" + std::string(value.as.text.bytes, value.as.text.length) + '"';
  if (value.type == KVRN_SNMP_TYPE_OBJECT_ID) return "OID " + oid_text(value.as.oid);
  if (value.type == KVRN_SNMP_TYPE_INTEGER) return "INTEGER " + std::to_string(static_cast<int32_t>(value.as.number));
  const bool gauge = value.type == KVRN_SNMP_TYPE_GAUGE32;
  const char* name = gauge ? "Gauge32 " : value.type == KVRN_SNMP_TYPE_TIMETICKS ? "TimeTicks " : "another type ";
  return name + std::to_string(value.as.number);
}

std::string listing_of_update() {
  Host host;
  EXPECT_EQ(module.update(&host), 0);
  return host.listing;
}

// Publishes the outputs, too.
void make_healthy() {
  static const int limit = INT_MAX;
  cache_source* writer = output_cache_new(&limit, 0);
  writer->update(writer);
  writer->destroy(writer);
}

// Nothing answers, and what the files say is of no use.
void make_failing(Device& device) {
  device.file("/etc/board.info", "board.shortname=\nboard.hwaddr=02:18:d6:a0:b1:c2\n");
  device.file("/etc/version", "\n");
  device.file("/tmp/system.cfg", "psu.monitor.battery.install_date=2021315\n");
  for (const unsigned line : {211U, 212U, 110U, 100U, 200U, 205U}) device.gpio_busy(line, true);
  device.i2c_busy(2, true);
  device.i2c_busy(8, true);
  for (const char* path : {"/tmp/.battery_info", "/tmp/.battery_info_1", "/etc/persistent"}) device.remove(path);
  for (const char* monitor : {"mon-battery", "mon-dc-out-1", "mon-dc-out-2", "mon-dc-out-3"})
    device.remove(std::string("/var/run/hwmon/") + monitor);
}

template <typename Image>
void write_image(Device& device, const char* path, Image image) {
  image.stamp = get_timestamp_mono();
  device.file(path, bytes_of(image));
}

// Caches whose numbers no device has: each clearing rule, sign and cut.
void make_odd(Device& device) {
  make_healthy();
  kvrn_psu_info_image psus{};
  for (int psu = 0; psu < KVRN_PSU_MAX; ++psu) {
    psu_info& record = psus.records[psu];
    record.id = static_cast<uint32_t>(psu);
    record.type = psu < 2 ? KVRN_PSU_TYPE_INPUT : KVRN_PSU_TYPE_BATTERY;
    record.status = psu == 1 ? 0x60 : 0xE0;
    record.battery_status = 0xC0;
    record.supply_status = 0x80;
    record.voltage_mv = 25900 + psu;
    record.supply_vout_mv = -54000;
    record.supply_temp_c = -127;
    record.battery_temp_c = -40;
    record.battery_kind = 0x7F;
  }
  psus.records[0].type = 7;
  psus.records[2].status = 0x80;
  psus.records[2].battery_status = 0x80;
  psus.records[2].battery_kind = 0xFF;
  psus.records[3].battery_temp_c = -127;
  write_image(device, "/tmp/.psu_info_cache", psus);
  // Voltage, current, power, enabled.
  const int readings[KVRN_OUTPUT_MAX][4] = {{53800, -1, 1999, 1}, {53800, 1, 5000000, 0}, {INT_MIN, INT_MAX, -1, 2}};
  kvrn_output_image outputs{};
  for (int i = 0; i < KVRN_OUTPUT_MAX; ++i) {
    outputs.records[i].voltage_mv = readings[i][0];
    outputs.records[i].current_ma = readings[i][1];
    outputs.records[i].power_uw = readings[i][2];
    outputs.records[i].enabled = readings[i][3];
  }
  write_image(device, "/tmp/.output_cache", outputs);
  device.file("/tmp/.battery_info", "-5 -1 0\n");
  device.file("/tmp/.battery_info_1", "101 42949673 0\n");
  std::string record(132, '\0');
  record[3] = 2;
  record[11] = 0x15;  // flags: 0x01 is an error, 0x14 is none
  device.file("/etc/persistent/battery_data", record);
  device.remove("/etc/persistent/battery_data_1");
}

class Listing : public testing::TestWithParam<const char*> {};

}  // namespace

int odb_add(void* context, const kvrn_snmp_oid_word* oid, const kvrn_snmp_value* value) {
  auto& host = *static_cast<Host*>(context);
  if (host.keep) host.listing += oid_text(oid) + ' ' + value_text(*value) + '\n';
  return ++host.adds == host.fail_at ? refusal : 0;
}

void odb_destroy(void* context) {
  static_cast<Host*>(context)->listing.clear();
  calls += "destroy\n";
}

void abz_clear_error(void*) { calls += "clear\n"; }

void abz_set_error(const char* format, ...) {
  char text[100];
  va_list args;
  va_start(args, format);
  (void)std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  calls += std::string("error ") + text + '\n';
}

TEST_P(Listing, IsAsExpected) {
  const std::string name = GetParam();
  Device device(name.substr(0, name.find('_')));
  if (name.ends_with("_failing"))
    make_failing(device);
  else if (name.ends_with("_odd"))
    make_odd(device);
  else
    make_healthy();
  expect_golden("snmp_" + name + ".txt", listing_of_update());
  EXPECT_EQ(calls, "clear\ndestroy\n");
}

INSTANTIATE_TEST_SUITE_P(Module, Listing,
                         testing::Values("four-source", "three-source", "generic", "four-source_failing",
                                         "three-source_failing", "generic_failing", "three-source_odd",
                                         "four-source_odd"));

TEST(Update, TheFirstRefusedAddEndsIt) {
  Device device("four-source");
  make_healthy();
  Host all;
  ASSERT_EQ(update_kvrn_table(&all, 7), 0);
  ASSERT_TRUE(all.has("1.3.6.1.4.1.47474.1.1.1.1.7 INTEGER 7"));
  std::size_t heap[2];
  for (std::size_t& after : heap) {
    for (int n = 1; n <= all.adds; ++n) {
      Host host;
      host.keep = false;
      host.fail_at = n;
      ASSERT_EQ(update_kvrn_table(&host, 7), refusal);
      ASSERT_EQ(host.adds, n);
    }
    after = mallinfo2().uordblks;
  }
  EXPECT_EQ(heap[0], heap[1]);
  EXPECT_STREQ(module.name, "kvrn");
  EXPECT_STREQ(module.description, "Kavrano Networks MIB module ");
  EXPECT_EQ(oid_text(module.oid), "1.3.6.1.4.1.47474");
  EXPECT_EQ(module.root, module.oid);
}

TEST(Objects, OfAnotherTypeAreRefused) {
  Host host;
  const uint32_t number = 0xFFFFFFFE;
  EXPECT_EQ(kvrn::add_object(&host, {2}, KVRN_SNMP_TYPE_INTEGER, &number), 0);
  EXPECT_EQ(host.listing, "1.3.6.1.4.1.47474.2 INTEGER -2\n");
  for (const uint8_t type : {0x41, 0x42, 0x43, 0x44, 0xFF})
    EXPECT_EQ(kvrn::add_object(&host, {type}, type, &number), 0);
  for (const uint8_t type : {0x00, 0x03, 0x05, 0x40}) EXPECT_EQ(kvrn::add_object(&host, {type}, type, &number), -1);
  EXPECT_TRUE(calls.ends_with("error invalid type (0x40) specified\n")) << calls;
  EXPECT_EQ(host.adds, 6);
}

TEST(Identity, TakesWhatTheFilesSay) {
  // A file, its text, and what an object holds then; nothing: there is no such object.
  const std::tuple<const char*, std::string, const char*, std::string> cases[] = {
      {"/etc/board.info", "board.shortname=ABC\nboard.subtype=x\n", "1", "ABC-x"},
      {"/etc/board.info", "board.shortname=ABC", "1", "ABC"},
      {"/etc/board.info", "board.shortname=ABC\nboard.subtype=\n", "1", "ABC"},
      {"/etc/board.info", "board.subtype=x\n", "1", "x"},
      {"/etc/board.info", "board.shortname=\nboard.subtype=x\n", "1", ""},
      {"/etc/board.info",
       " board.shortname=no\nboard.shortnames=no\nboard.shortname\nboard.shortname=1\nboard.shortname=2\n", "1", "1"},
      {"/etc/board.info", "board.shortname=a=b \r\n", "1", "a=b \r"},
      {"/etc/board.info", std::string("board.shortname=ab\0cd\n", 22), "1", "ab"},
      {"/etc/board.info", "board.shortname=" + std::string(124, 'n') + "\nboard.subtype=xyz\n", "1",
       std::string(124, 'n') + "-xy"},
      // A long line is one line: what its second piece begins with is no key.
      {"/etc/board.info", "x=" + std::string(1022, '.') + "board.shortname=no\nboard.shortname=yes\n", "1", "yes"},
      {"/etc/board.info", "board.hwaddr=0218d6A0B1C2\n", "2", "02:18:d6:A0:B1:C2"},
      {"/etc/board.info", "board.hwaddr=0218D6A0B1C\n", "2", ""},
      {"/etc/version", "1.2.3.4\nx\n", "3", "1.2.3.4"},
      {"/etc/version", ".1.2.3.4.5", "3", ".1.2.3.4"},
      {"/etc/version", std::string(200, 'v'), "3", std::string(126, 'v')},
      {"/etc/version", "", "3", ""},
  };
  Device device("generic");
  for (const auto& [file, text, object, expected] : cases) {
    device.remove("/etc/board.info");
    device.remove("/etc/version");
    device.file(file, text);
    Host host;
    ASSERT_EQ(update_kvrn_table(&host, 1), 0);
    const std::string oid = std::string("1.3.6.1.4.1.47474.1.5.1.") + object + ".0 ";
    EXPECT_EQ(host.has(oid + "STRING \"" + expected + '"'), !expected.empty()) << text << host.listing;
    EXPECT_EQ(host.listing.find(oid) == std::string::npos, expected.empty()) << text;
  }
  device.remove("/etc/board.info");
  ASSERT_EQ(::mkfifo(device.path("/etc/board.info").c_str(), 0600), 0);
  Host host;
  EXPECT_EQ(update_kvrn_table(&host, 1), 0) << "without waiting for a writer";
}
