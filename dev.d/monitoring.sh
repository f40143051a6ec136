# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
# monitoring [PART...]: checks the folder monitoring with Prometheus's own tools.

monitoring_rules() {
  promtool check rules --lint=all --lint-fatal monitoring/*.rules.yml
  promtool test rules monitoring/tests/*.test.yml
  promtool check config --lint=all --lint-fatal monitoring/prometheus.yml
}

monitoring_route() {
  local words
  amtool check-config monitoring/alertmanager.yml
  for words in "critical pager" "warning mail" "info log"; do
    amtool config routes test --config.file monitoring/alertmanager.yml --verify.receivers "${words#* }" \
      alertname=KvrnMainsLost "severity=${words% *}"
  done
}

monitoring_files() { python3 dev.d/monitoring.py files; }

monitoring_scrape() { python3 dev.d/monitoring.py scrape; }

parts=("$@")
[[ $# -gt 0 ]] || read -ra parts <<<"$(names monitoring)"
for part in "${parts[@]}"; do known monitoring "$part"; done
need_packages "${packages_build[@]}" "${packages_demo[@]}" "${packages_monitoring[@]}"
[[ " ${parts[*]} " != *" scrape "* ]] || build_tools
export PATH=$PWD/build/native/bin:$PATH
for part in "${parts[@]}"; do timed "$part" "monitoring_$part"; done
print_timings
