// SPDX-License-Identifier: MIT
// Figures are ratios of two benchmarks of one run: a clock says little on a machine that others use.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>

// Remembers the least processor time of each benchmark: what other programs leave of the machine does not count.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  RatioReporter() : ConsoleReporter(OO_Tabular) {}
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      const double time = run.GetAdjustedCPUTime();
      auto& best = best_[run.run_name.function_name + (run.run_name.args.empty() ? "" : "/" + run.run_name.args)];
      if (best == 0 || time < best) best = time;
    }
  }

  // Prints a / b and whether it keeps the bound.
  bool at_most(const std::string& a, const std::string& b, double bound) {
    const double ratio = best_[a] / best_[b];
    const bool kept = ratio <= bound;
    std::printf("ratio %s / %s = %.2f (at most %.2f) %s\n", a.c_str(), b.c_str(), ratio, bound, kept ? "ok" : "MISSED");
    return kept;
  }

  // How many times faster a is than b.
  bool at_least_faster(const std::string& a, const std::string& b, double bound) {
    const double ratio = best_[b] / best_[a];
    const bool kept = ratio >= bound;
    std::printf("%s is %.2f times faster than %s (at least %.2f) %s\n", a.c_str(), ratio, b.c_str(), bound,
                kept ? "ok" : "MISSED");
    return kept;
  }

 private:
  std::map<std::string, double> best_;
};
