// SPDX-License-Identifier: MIT
// low_battery [PERCENT]: an alarm for cron. Exits with 1 when a battery's charge is below the limit or unknown.
#include <cstdio>
#include <cstdlib>
#include <kvrn/kvrn.hpp>

namespace {

// A smart battery reports its charge. For other batteries, the monitoring process publishes an estimate.
std::optional<double> charge_of(const kvrnpp::Psu& psu) {
  if (const auto charge = psu.charge_pct()) return *charge;
  if (const auto estimate = kvrnpp::read_estimate(psu.number())) return estimate->charge_pct;
  return std::nullopt;
}

}  // namespace

int main(int argc, char** argv) {
  const double limit = argc > 1 ? std::atof(argv[1]) : 20;
  bool alarm = false;
  for (const kvrnpp::Psu psu : kvrnpp::Psus()) {
    if (!psu.is_battery()) continue;
    const auto charge = charge_of(psu);
    const bool low = !charge || *charge < limit;
    if (charge)
      std::printf("PSU %d: %.0f %%%s\n", psu.number(), *charge, low ? ", low" : "");
    else
      std::printf("PSU %d: charge unknown\n", psu.number());
    alarm = alarm || low;
  }
  return alarm ? 1 : 0;
}
