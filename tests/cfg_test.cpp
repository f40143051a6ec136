// SPDX-License-Identifier: MIT
// Reading, writing, lists and values.
#include <gtest/gtest.h>
#include <kvrn/kvrn.h>
#include <sys/stat.h>

#include "tests/cfg_fixture.hpp"
#include "tests/files.hpp"

using namespace std::string_literals;

TEST(CfgParse, TakesWhatALineSays) {
  const std::string kilo(1024, 'v');
  const std::tuple<std::string, std::string> cases[] = {
      {"a=1\nb=2\nc=3\n", "a=1,c=3,b=2"},
      {"  key\t = value \r\n", "key= value "},
      {"#x=1\n #x=1", "#x=1"},
      {"k=a=b\n=x\nx=\n=\n \t=\n", "k=a=b,=,=,x=,=x"},
      {"no equals sign\n\n\r\n\n", ""},
      {"a=1\rb=2\r", "a=1\rb=2"},
      {"a=1\0=2\nb\0=3\n\0c=4\nd=5"s, "a=1,d=5"},
      {"\xc3\xa4k\xc3\xa4=\xc3\xa4v\xc3\xa4\x7f\tw\t\n", "k=v\xc3\xa4\x7f\tw"},
      {"k=" + std::string(1498, 'v') + "\n", "k=" + std::string(1022, 'v')},
      {"k=" + kilo.substr(2) + "#=1\n", "k=" + kilo.substr(2)},
      {"k=" + kilo.substr(2) + "x=1\n", "k=" + kilo.substr(2) + ",x=1"},
      {"k=" + kilo.substr(2) + "\nx=1", "k=" + kilo.substr(2) + ",x=1"},
      {"a=1\na=2\nA=3\n", "a=1,A=3,a=2"},
      {"~META~=\n~META~\n~META~AAAA=****\n", "~META~=,~META~AAAA=****"},
      {"", ""},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(shown(config(text)), expected) << text;
  EXPECT_EQ(shown(config("k=" + std::string(1 << 20, 'v') + "\nx=1\n")), "k=" + std::string(1022, 'v') + ",x=1");
  std::string lines;
  for (int i = 0; i < 1000000; ++i) lines += "k=v\n";
  EXPECT_EQ(get_cfg_count(config(lines).get()), 1000000);
}

TEST(CfgSave, RewritesInPlaceAndKeepsNoDescriptor) {
  const TempDir dir;
  const std::string path = dir / "cfg";
  const auto before = open_descriptors();
  write_text(path, "a=1\nb=2\nc=3\nlonger than what is saved\n");
  ::chmod(path.c_str(), 0640);
  Config cfg(parse(path.c_str()));
  EXPECT_EQ(update_value(cfg.get(), nullptr, "b"), -1);
  EXPECT_EQ(save_cfg(cfg.get(), path.c_str()), 0);
  EXPECT_EQ(read_text(path), "a=1\nc=3\nb=\n");
  struct stat status;
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640U);
  EXPECT_EQ(save_cfg(cfg.get(), "/dev/full"), 0) << "write errors are not reported";
  EXPECT_EQ(save_cfg(cfg.get(), (dir / "no/folder").c_str()), -1);
  EXPECT_EQ(save_cfg(cfg.get(), nullptr), -1);
  EXPECT_EQ(save_cfg(nullptr, path.c_str()), 0);
  EXPECT_EQ(read_text(path), "");
  EXPECT_EQ(parse(path.c_str()), nullptr);
  const std::string fifo = dir / "fifo";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  EXPECT_EQ(save_cfg(cfg.get(), fifo.c_str()), -1) << "and does not wait for a reader";
  for (const char* unreadable :
       {"/tmp/no/such/file", "/tmp", "/dev/zero", fifo.c_str(), static_cast<const char*>(nullptr)})
    EXPECT_EQ(parse(unreadable), nullptr);
  EXPECT_EQ(open_descriptors(), before);
  ::testing::internal::CaptureStdout();
  print_cfg(cfg.get());
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "a=1\nc=3\nb=\n");
}

TEST(CfgList, MatchesInOrder) {
  const Config cfg = config("n.1=a\nN.1=b\nn.01=c\nn.10=d\nm=e\n");
  EXPECT_EQ(taken(get_cfg_it(cfg.get(), 0, "n.%d", 1)), "n.1=a,n.10=d");
  EXPECT_EQ(taken(get_cfg_it(cfg.get(), 1, "n.%s", "001")), "n.1=a,N.1=b,n.01=c");
  EXPECT_EQ(get_cfg_it(cfg.get(), 0, "x"), nullptr);
  EXPECT_EQ(exist_cfg_it(cfg.get(), 0, "N."), 1);
  EXPECT_EQ(exist_cfg_it(cfg.get(), 0, "M"), 0);
  EXPECT_EQ(exist_cfg_it(cfg.get(), 1, "M"), 1);
  EXPECT_EQ(exist_cfg_it(nullptr, 0, "%s", ""), 0);
}

TEST(CfgList, MembersLeaveOneByOne) {
  const Config cfg = config("a=1\nb=2$\nc=3\n");
  cfg_entry* list = get_cfg_it(cfg.get(), 0, "%s", "");
  EXPECT_STREQ(esc_value(list->next), "2\\$");
  free_cfg_it_member(&list, cfg.get());
  EXPECT_EQ(get_cfg_count(list), 3);
  free_cfg_it_member(&list, list->next->next);
  free_cfg_it_member(&list, list);
  EXPECT_EQ(shown(list), "b=2$");
  free_cfg_it_member(&list, list);
  EXPECT_EQ(list, nullptr);
  free_cfg_it_member(&list, nullptr);
  free_cfg_it_member(nullptr, cfg.get());
}

TEST(CfgList, SectionsAreInKeyOrder) {
  const Config cfg = config(
      "netconf.10.devname=ath0\nnetconf.9.devname=eth0\nnetconf.9.x.devname=eth0\nnetconf..devname=eth0\n"
      "netconf.3.DEVNAME=eth0\nNetconf.1.devname=z\nnetconf.devname=w\nnetconf.4.devname=\n");
  EXPECT_EQ(taken(get_cfg_section(cfg.get(), ".devname", nullptr, "netconf.")),
            "netconf.3.DEVNAME=eth0,netconf.4.devname=,netconf.9.devname=eth0,netconf.10.devname=ath0");
  EXPECT_EQ(taken(get_cfg_section(cfg.get(), ".devname", "eth0", "%s.", "netconf")),
            "netconf.3.DEVNAME=eth0,netconf.9.devname=eth0");
  EXPECT_EQ(taken(get_cfg_any_section(cfg.get(), ".devname", 2, "eth0", "netconf.")),
            "netconf.3.DEVNAME=eth0,netconf.9.devname=eth0,netconf.9.x.devname=eth0");
  EXPECT_EQ(get_cfg_section(cfg.get(), ".mtu", nullptr, "netconf."), nullptr);
  update_value(cfg.get(), nullptr, "netconf.4.devname");
  EXPECT_EQ(get_cfg_section(cfg.get(), ".devname", "", "netconf.4"), nullptr) << "a cleared value equals nothing";
}

TEST(CfgValue, IsFoundByItsFormattedKey) {
  Config cfg = config("a.1=x\nA.01=y\n50%=half\nq=a$b`c\\d\"e\nplain=p\n");
  EXPECT_STREQ(get_value(cfg.get(), "-", "A.%02d", 1), "x");
  EXPECT_STREQ(get_value(cfg.get(), "-", "50%%"), "half");
  EXPECT_STREQ(get_value(cfg.get(), "-", "a"), "-");
  EXPECT_EQ(get_value(nullptr, nullptr, "a"), nullptr);
  EXPECT_STREQ(get_esc_value(cfg.get(), "$", "q"), "a\\$b\\`c\\\\d\\\"e");
  EXPECT_EQ(get_esc_value(cfg.get(), "-", "q"), get_esc_value(cfg.get(), "-", "Q"));
  EXPECT_STREQ(get_esc_value(cfg.get(), "$", "none"), "$");
  EXPECT_EQ(get_esc_value(cfg.get(), "-", "plain"), get_value(cfg.get(), "-", "plain"));
  EXPECT_EQ(esc_value(nullptr), nullptr);
  update_value(cfg.get(), nullptr, "plain");
  EXPECT_EQ(get_value(cfg.get(), "-", "plain"), nullptr);
  EXPECT_EQ(get_esc_value(cfg.get(), "-", "plain"), nullptr);
  EXPECT_EQ(get_bool(cfg.get(), 7, "plain"), 7);
  EXPECT_EQ(get_int32(cfg.get(), 7, "plain"), 7);
}

TEST(CfgValue, NumbersAreThoseOfTheTarget) {
  constexpr int64_t none = -77;
  const std::tuple<const char*, int64_t, int64_t, int64_t, int64_t> cases[] = {
      {"0x1F", 31, 31, 0, 31},
      {"010", 8, 8, 10, 8},
      {"12abc", 12, 12, 12, 12},
      {"abc", none, none, none, none},
      {"08", 0, 0, 8, 0},
      {"2147483647", INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX},
      {"2147483648", none, 2147483648, none, 2147483648},
      {"-2147483648", INT32_MIN, 2147483648, INT32_MIN, INT32_MIN},
      {"-2147483649", none, 2147483647, none, -2147483649},
      {"-1", -1, 4294967295, -1, -1},
      {"4294967296", none, none, none, 4294967296},
      {"-4294967296", none, none, none, -4294967296},
      {"9223372036854775808", none, none, none, none},
  };
  for (const auto& [text, i32, u32, dec, i64] : cases) {
    const Config cfg = config("k= "s + text);
    errno = ERANGE;
    EXPECT_EQ(get_int32(cfg.get(), none, "k"), i32) << text;
    EXPECT_EQ(get_uint32(cfg.get(), static_cast<uint32_t>(none), "k"), static_cast<uint32_t>(u32)) << text;
    EXPECT_EQ(get_int32_dec(cfg.get(), none, "k"), dec) << text;
    EXPECT_EQ(get_int64(cfg.get(), none, "k"), i64) << text;
  }
}

TEST(CfgValue, SwitchesHaveWords) {
  for (const char* word : {"on", " Enabled ", "1", "ENABLE", "\tactive", "true"})
    EXPECT_EQ(get_bool(config("k="s + word).get(), 5, "k"), 1) << word;
  for (const char* word : {"off", "disabled", "0", "Disable", " inactive", "FALSE"})
    EXPECT_EQ(get_bool(config("k="s + word).get(), 5, "k"), 0) << word;
  for (const char* word : {"yes", "", "01", "o n", "onn"}) EXPECT_EQ(get_bool(config("k="s + word).get(), 5, "k"), 5);
  EXPECT_EQ(get_bool(nullptr, 5, "k"), 5);
}

TEST(RuntimeInterface, AnswersWithTheLowestPortOfAnEnabledBridge) {
  const std::string base =
      "bridge.1.devname=br0\nbridge.1.port.2.devname=eth1\nbridge.1.port.1.devname=eth0\nbridge.2.devname=br1\n";
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"bridge.status=enabled", "br0", "eth0"},
      {"bridge.status=enabled", "eth5", "eth5"},
      {"bridge.status=enabled", "br1", "br1"},
      {"", "br0", "br0"},
      {"bridge.status=maybe", "br0", "br0"},
      {"bridge.status=1\nbridge.1.status=off", "br0", "br0"},
      {"bridge.status=1\nbridge.1.port.1.status=off", "br0", "eth0"},
      {"bridge.status=1\nbridge.1.port.-1.status=off", "br0", "br0"},
      {"bridge.status=1\nbridge.1.port.0.devname=a$b", "br0", "a\\$b"},
      {"bridge.status=1\nbridge.3.devname=b$", "b$", "b$"},
      {"bridge.status=1\nbridge.1.port.0.devname=0123456789abcdefg", "br0", "0123456789abcdef"},
  };
  for (const auto& [extra, asked, answer] : cases) {
    const Config cfg = config(base + extra);
    std::string name(18, '#');
    getRuntimeInterface(cfg.get(), asked, name.data(), 0);
    EXPECT_EQ(name, (answer + std::string(16, '\0')).substr(0, 16) + "##") << extra << " " << asked;
  }
  const Config cfg = config(base + "bridge.status=1");
  update_value(cfg.get(), nullptr, "bridge.1.port.1.devname");
  char name[16];
  getRuntimeInterface(cfg.get(), "br0", name, 0);
  EXPECT_STREQ(name, "br0") << "the first port has no name";
  getRuntimeInterface(cfg.get(), nullptr, name, 0);
  EXPECT_STREQ(name, "");
  getRuntimeInterface(cfg.get(), "br0", nullptr, 0);
}
