// SPDX-License-Identifier: MIT
// When a condition stands, and that each is told once.
#include "tools/kvrn-agentd/standing.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "tools/kvrn-agentd/notifier.hpp"

namespace {

using agentd::Look;
using agentd::Standing;
using Names = std::vector<std::string>;

struct Battery {
  unsigned charge = 80;
  unsigned minutes = 240;
  unsigned state = 1;  // no input has mains
  unsigned usable = 1;
  unsigned health = 1;
};

// One battery, in row 3.
Look look_at(const Battery& battery) {
  const auto table = std::make_shared<snmp_host::ObjectTable>();
  const auto add = [&](unsigned column, unsigned number) {
    const kvrn_snmp_oid_word oid[]{13, 43, 6, 1, 4, 1, 47474, 1, 5, 3, 2, 1, column, 3};
    kvrn_snmp_value value{};
    value.type = KVRN_SNMP_TYPE_INTEGER;
    value.as.number = number;
    EXPECT_EQ(table->add(oid, value), snmp_host::ObjectTable::added);
  };
  add(2, 2);
  add(3, battery.state);
  add(4, battery.usable);
  add(9, battery.charge);
  add(10, battery.minutes * 6000);
  add(11, battery.health);
  table->finish();
  return {.table = table, .outputs = {}};
}

// What is sent now, and arrives.
Names told(Standing& standing) {
  Names names;
  (void)standing.adopt_normal();
  while (const auto change = standing.take()) names.emplace_back(change->condition->name);
  standing.confirm();
  return names;
}

Names told_after(Standing& standing, std::initializer_list<Battery> readings) {
  for (const Battery& reading : readings) standing.see(look_at(reading));
  return told(standing);
}

TEST(Standing, TwoReadingsMustAgree) {
  Standing standing;
  const Battery sound, faulty{.health = 2}, unknown{.health = 0};
  EXPECT_EQ(told_after(standing, {sound, sound}), Names{});
  EXPECT_EQ(told_after(standing, {faulty, sound, faulty, sound, sound}), Names{});
  EXPECT_EQ(told_after(standing, {faulty, unknown, faulty, unknown}), Names{});
  EXPECT_EQ(told_after(standing, {faulty, faulty}), Names{"battery-fault"});
  EXPECT_EQ(told_after(standing, {unknown, unknown, faulty, faulty}), Names{});
  EXPECT_EQ(told_after(standing, {sound, faulty}), Names{});
  // What belongs together is sent together: the loss is certain, the fault is new.
  const Battery missing{.usable = 0, .health = 2}, repaired{.usable = 0};
  EXPECT_EQ(told_after(standing, {missing, repaired}), Names{});
  EXPECT_EQ(told_after(standing, {repaired}), (Names{"battery-missing", "battery-fault-over"}));
  // A source that never settles holds back nothing for ever.
  const Battery low{.charge = 20}, nearly_empty{.charge = 5};
  EXPECT_EQ(told_after(standing, {low, nearly_empty, low}), Names{});
  EXPECT_EQ(told_after(standing, {nearly_empty}), Names{"battery-inserted"});
}

TEST(Standing, AMeasuredValueNeedsAMarginToLeave) {
  Standing standing;
  const auto charge = [&](unsigned pct, unsigned minutes = 240) {
    return told_after(standing, {{.charge = pct, .minutes = minutes}, {.charge = pct, .minutes = minutes}});
  };
  EXPECT_EQ(charge(25), Names{});
  EXPECT_EQ(charge(24), Names{"battery-low"});
  EXPECT_EQ(charge(27), Names{});
  EXPECT_EQ(charge(28), Names{"battery-not-low"});
  EXPECT_EQ(charge(27), Names{});
  EXPECT_EQ(charge(10), Names{"battery-critical"});
  EXPECT_EQ(charge(13), Names{});
  EXPECT_EQ(charge(14), Names{"battery-low"});
  EXPECT_EQ(charge(14, 14), Names{"battery-critical"});
  EXPECT_EQ(charge(14, 17), Names{});
  EXPECT_EQ(charge(14, 18), Names{"battery-low"});
  EXPECT_EQ(charge(0, 0), Names{});  // nobody estimates
  EXPECT_EQ(told_after(standing, {{.charge = 9, .state = 3}, {.charge = 9, .state = 3}}), Names{"battery-not-low"});
}

TEST(Standing, NothingIsToldTwiceAndNothingIsLost) {
  Standing standing;
  const Look look = look_at({.usable = 0, .health = 2});
  for (int i = 0; i < 2; ++i) standing.see(look);
  EXPECT_TRUE(standing.adopt_normal());
  const std::string before = standing.save();
  const auto change = standing.take();
  ASSERT_TRUE(change.has_value());
  EXPECT_STREQ(change->condition->name, "battery-missing");
  standing.put_back(*change);
  ASSERT_TRUE(standing.take() && standing.take());
  EXPECT_FALSE(standing.take());
  EXPECT_EQ(standing.save(), before);
  standing.forget();
  EXPECT_EQ(told(standing), (Names{"battery-missing", "battery-fault"}));
  const std::string saved = standing.save();

  Standing restarted;
  ASSERT_TRUE(restarted.load(saved));
  EXPECT_EQ(restarted.save(), saved);
  for (int i = 0; i < 3; ++i) restarted.see(look);
  EXPECT_EQ(told(restarted), Names{});
  const std::string head = saved.substr(0, saved.find('\n') + 1);
  for (const std::string line :
       {"mains-lost", "mains-lost 5 0", "mains-lost 1", "mains-found 1 0", "mains-lost 1 x", ""})
    EXPECT_FALSE(restarted.load(head + line + "\nend\n")) << line;
  EXPECT_FALSE(restarted.load(""));
  EXPECT_FALSE(restarted.load(saved.substr(0, saved.size() - 4)));
  EXPECT_EQ(restarted.save(), saved);
}

TEST(Standing, TheModuleHasANotificationForEachCondition) {
  std::ifstream file(KVRN_MIB);
  const std::string text(std::istreambuf_iterator<char>(file), {});
  std::map<std::string, std::string> numbers;
  const std::regex pattern(R"((kvrn\w+) NOTIFICATION-TYPE[^]+?::= \{ kvrnNotifications (\d+) \})");
  for (std::sregex_iterator at(text.begin(), text.end(), pattern); at != std::sregex_iterator(); ++at)
    numbers[(*at)[1]] = (*at)[2];
  EXPECT_EQ(numbers.size(), agentd::conditions().size());
  for (const agentd::Condition& condition : agentd::conditions()) {
    std::string name = "kvrn";
    for (const char* c = condition.name; *c != '\0'; ++c) {
      const bool first = c == condition.name || c[-1] == '-';
      if (*c != '-') name += first ? static_cast<char>(std::toupper(static_cast<unsigned char>(*c))) : *c;
    }
    EXPECT_EQ(numbers[name], std::to_string(condition.notification)) << name;
  }
}

TEST(RateLimit, HoldsInAnyMinute) {
  using namespace std::chrono_literals;
  agentd::RateLimit limit(2);
  const agentd::Clock::time_point start{};
  const auto sends = [&](std::chrono::seconds at) {
    const bool allowed = limit.allows(start + at);
    if (allowed) limit.count(start + at);
    return allowed;
  };
  EXPECT_TRUE(sends(0s) && sends(50s));
  EXPECT_FALSE(sends(59s));
  EXPECT_TRUE(sends(60s));
  EXPECT_FALSE(sends(109s));
  EXPECT_TRUE(sends(110s) && sends(120s));
}

}  // namespace
