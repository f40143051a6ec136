// SPDX-License-Identifier: MIT
// Edits, comparison and index numbers.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <utility>

#include "tests/cfg_fixture.hpp"

TEST(CfgUpdate, ChangesEveryDuplicate) {
  Config cfg = config("k=1\nx=$\nK=2\n");
  ASSERT_STREQ(get_esc_value(cfg.get(), "", "x"), "\\$");
  EXPECT_EQ(update_value(cfg.get(), " v\t", "k"), 0);
  EXPECT_EQ(update_value(cfg.get(), "plain", "x"), 0);
  EXPECT_EQ(shown(cfg), "k= v,K= v,x=plain");
  EXPECT_STREQ(get_esc_value(cfg.get(), "", "x"), "plain");
  EXPECT_EQ(update_value(cfg.get(), nullptr, "k"), -1);
  EXPECT_EQ(update_value(cfg.get(), nullptr, "k"), 1) << "nothing left to clear";
  EXPECT_EQ(update_value(cfg.get(), nullptr, "none"), 1);
  EXPECT_EQ(shown(cfg), "k,K,x=plain");
  EXPECT_EQ(update_value(cfg.get(), "back", "k"), 0);
  EXPECT_EQ(shown(cfg), "k=back,K=back,x=plain");
  // With a value out of the entry itself, too.
  EXPECT_EQ(update_value(cfg.get(), "ab$c", "k"), 0);
  EXPECT_EQ(update_value(cfg.get(), cfg->value + 1, "k"), 0);
  EXPECT_EQ(update_value(cfg.get(), esc_value(cfg.get()), "k"), 0);
  EXPECT_EQ(shown(cfg), "k=b\\$c,K=b\\$c,x=plain");
}

TEST(CfgUpdate, AppendsAMissingKeyTrimmed) {
  Config cfg = config("k=1\n");
  EXPECT_EQ(update_value(cfg.get(), " v\n", " n.%d ", 1), 1);
  EXPECT_EQ(update_value(cfg.get(), "w", "%0300d", 1), 1);
  EXPECT_EQ(shown(cfg), "k=1,n.1= v," + std::string(255, '0') + "=w");
  EXPECT_EQ(update_value(nullptr, "v", "k"), 1);
}

TEST(CfgAdd, TrimsTheEntryBeforeTheNewOne) {
  Config cfg = config("k=1\n");
  EXPECT_EQ(add_str_value(cfg.get(), "\tv\t", " a "), 0);
  EXPECT_EQ(shown(cfg), "k=1, a =\tv\t");
  EXPECT_EQ(add_int_value(cfg.get(), -5, "%s", "n "), 0);
  EXPECT_EQ(shown(cfg), "k=1,a=v,n =-5");
  EXPECT_EQ(add_str_value(cfg.get(), "", "%0300d", 7), 0);
  EXPECT_EQ(shown(cfg), "k=1,a=v,n=-5," + std::string(299, '0') + "7=");
  EXPECT_EQ(add_str_value(cfg.get(), nullptr, "x"), -1);
  EXPECT_EQ(add_str_value(nullptr, "v", "x"), 0);
  EXPECT_EQ(get_cfg_count(cfg.get()), 4);
}

TEST(CfgRemove, MovesTheHead) {
  Config cfg = config("a.1=1\na.2=2\nb=3\nA.1=4\n");
  cfg_entry* first = cfg.release();
  EXPECT_EQ(cfg_del_key(&first, 1, "a.%d", 1), 2);
  EXPECT_EQ(shown(first), "b=3,a.2=2");
  EXPECT_EQ(cfg_del_key(&first, 0, "c"), 0);
  EXPECT_EQ(cfg_del_key(&first, 0, "%s", ""), 2);
  EXPECT_EQ(first, nullptr);
  EXPECT_EQ(cfg_del_key(&first, 0, "a"), 0);
  EXPECT_EQ(cfg_del_key(nullptr, 0, "a"), 0);
}

TEST(CfgDiff, ListsChangesAdditionsAndRemovals) {
  const Config before = config("a=1\nb=2\nc=3\nx.comment=old\ncomment=old\nB.01=q\n50%s=p\n");
  const Config after = config("a=1\nb=9\nd=4\nx.comment=new\ncomment=new\nb.1=q\n50%s=p\n");
  EXPECT_EQ(taken(get_cfg_diff_it(before.get(), after.get())), "c,b=9,d=4,comment=new");
  EXPECT_EQ(get_cfg_diff_it(after.get(), after.get()), nullptr);
  EXPECT_EQ(get_cfg_diff_it(nullptr, nullptr), nullptr);
  const Config one = config("k=1\n");
  EXPECT_EQ(taken(get_cfg_diff_it(one.get(), nullptr)), "k");
  update_value(one.get(), nullptr, "k");
  EXPECT_EQ(taken(get_cfg_diff_it(one.get(), one.get())), "k") << "a cleared value equals nothing";
  // A key is compared with the first equal one; a long one is cut.
  const Config twice = config("k=1\nK=2\n");
  EXPECT_EQ(taken(get_cfg_diff_it(twice.get(), twice.get())), "K=2");
  const std::string key(256, 'k');
  const Config overlong = config(key + "=1\n");
  EXPECT_EQ(taken(get_cfg_diff_it(overlong.get(), overlong.get())), key + "," + key + "=1");
}

TEST(CfgSort, IsNaturalAndStable) {
  const Config sorted(sort_cfg(config("b.10=1\nb.9=2\nB.1=3\nb.1=4\na=5\nb.x=6\nb=7\n").release()));
  EXPECT_EQ(shown(sorted), "a=5,b=7,b.x=6,b.1=4,B.1=3,b.9=2,b.10=1");
  EXPECT_EQ(sort_cfg(nullptr), nullptr);
}

TEST(CfgIndex, IsANumberOfTheKey) {
  const std::tuple<const char*, int, int> cases[] = {
      {"netconf.3.devname", 1, 3}, {"a.b.c", 1, -1},  {"x.0.y.7", 1, 7}, {"1.2", 1, 2},  {"a.3abc", 1, 3},
      {"a.0x1f.010", 1, 31},       {"a.1.010", 2, 8}, {"a.-3.b", 1, -3}, {"a.1", 2, -1}, {"a.1", 0, -1},
      {"a.9999999999.4", 1, 4},    {"a...6.", 1, 6},  {nullptr, 1, -1}};
  for (const auto& [key, n, expected] : cases) EXPECT_EQ(get_cfg_key_idx(key, n), expected) << (key ? key : "null");
}

TEST(CfgIndex, IsFoundByDeviceName) {
  const Config cfg = config("netconf.2.mtu=1\nnetconf.4.devname=ath0\nnetconf.2.devname=eth0\n%d.7.devname=x\n");
  EXPECT_EQ(get_cfg_idx_by_devname(cfg.get(), "netconf.", "eth0"), 2);
  EXPECT_EQ(get_cfg_idx_by_devname(cfg.get(), "netconf.", "ath0"), 4);
  EXPECT_EQ(get_cfg_idx_by_devname(cfg.get(), "%d.", "x"), 7);
  EXPECT_EQ(get_cfg_idx_by_devname(cfg.get(), "netconf.", "none"), -1);
  EXPECT_EQ(get_cfg_idx_by_devname(cfg.get(), "netconf.", nullptr), -1);
  update_value(cfg.get(), nullptr, "netconf.2.devname");
  EXPECT_EQ(get_cfg_idx_by_devname(cfg.get(), "netconf.", "eth0"), -1);
}

TEST(CfgRenumber, ClosesGaps) {
  const std::tuple<const char*, int, const char*> cases[] = {
      {"u.2.name=a\nu.5.name=c\nu.2.password=b\n", 1, "u.1.name=a,u.1.password=b,u.2.name=c"},
      {"u.3abc.x=1\nu.7=2\nu.9.x=3\nv.9.x=4\n", 1, "u.1.x=1,v.9.x=4,u.3.x=3,u.7=2"},
      {"u.1.5.x=1\nu.1.9.x=2\nu.2.5.x=3\n", 2, "u.1.1.x=1,u.2.3.x=3,u.1.2.x=2"},
      {"u.-4.x=1\nu.0x10.x=2\nu.010.x=3\n", 1, "u.-4.x=1,u.2.x=3,u.1.x=2"},
      {"u.a.x=1\n", 1, "u.a.x=1"},
  };
  for (const auto& [text, n, expected] : cases) {
    const Config cfg = config(text);
    fix_cfg_idx(cfg.get(), "%s.", n, "u");
    EXPECT_EQ(shown(cfg), expected) << text;
  }
  fix_cfg_idx(nullptr, "u.", 1);
  // Keys grow.
  std::string text;
  for (int i = 0; i < 12; ++i)
    for (const char* index : {"5", "6"}) text += "u.x" + std::to_string(i) + "." + index + ".y=\n";
  const Config cfg = config(text);
  fix_cfg_idx(cfg.get(), "u.", 1);
  EXPECT_STREQ(cfg->key, "u.x0.1.y");
  EXPECT_STREQ(cfg->next->key, "u.x11.24.y");
}
