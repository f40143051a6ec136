# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
# Sourced by packages.sh, behind root.sh. Packages under a real service manager, with a simulated device.

packages_boot=("${packages_root[@]}" python3)

# boot_root ROOT DEBS: installs packages into a root, as an administrator does.
boot_root() {
  local root=$1 debs=$2
  mkdir "$root/debs"
  find "$debs" -maxdepth 1 -name '*.deb' ! -name '*-dbgsym_*' -exec cp -t "$root/debs" {} +
  # snmpd has run before, with Debian's settings: they make its folder for itself alone.
  install -d -m 700 "$root/var/agentx"
  enter_root "$root" sh -c 'apt-get update -qq && apt-get install -y -qq /debs/*.deb'
  # From now on a package may start its services.
  rm -rf "$root/debs" "$root/usr/sbin/policy-rc.d"
  echo kvrn >"$root/etc/hostname"
}

# boot_round SUITE DEBS: boots a release with the packages of a folder, and checks what they do there. The folder `next`
# in it has a later version, for an upgrade. The journal of that system is left in build/boot-SUITE. It is run apart.
boot_round() {
  suite=$1 debs=$2 work=$PWD/build/boot-$1
  as_root || die "only root can boot a container"
  make_root "$suite" systemd systemd-sysv dbus udev snmpd snmp procps
  rm -rf "$work"
  mkdir -p "$work"
  trap 'rm -rf "$work/root"' EXIT
  copy_root "$work/root"
  recipe "$work/install.log" "installing the packages" boot_root "$work/root" "$debs"
  mkdir "$work/root/next"
  find "$debs/next" -name '*.deb' ! -name '*-dbgsym_*' -exec cp -t "$work/root/next" {} +
  python3 dev.d/boot.py "$work" &
  booted=$!
  # It ends the container when it is ended.
  trap 'kill "$booted"; wait; exit 143' INT TERM HUP
  wait "$booted"
}
