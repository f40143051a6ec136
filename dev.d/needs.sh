# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
# Sourced by dev. The Debian packages that are needed, and their installation.

packages_build=(g++ make cmake pkgconf libgpiod-dev libfmt-dev nlohmann-json3-dev libsnmp-dev)
packages_demo=(python3 snmp snmpd)
packages_test=(libgtest-dev googletest binutils strace scdoc bash-completion smitools snmptrapd python3-jsonschema
  nut-server nut-client mosquitto mosquitto-clients jq abigail-tools "${packages_demo[@]}")
packages_abi=(abigail-tools binutils git python3)
packages_cross=(g++-mips-linux-gnu qemu-user squashfs-tools xz-utils python3 binutils)
# llvm: without its symboliser the sanitizers' reports name no lines.
packages_check=(git clang clang-format clang-tidy libclang-rt-dev llvm shellcheck mandoc man-db)
packages_docs=(python3 scdoc mandoc mkdocs)
packages_vm=(linux-source-6.1 qemu-system-mips flex bison bc libelf-dev libssl-dev cpio bzip2 patch snmp)
packages_monitoring=(prometheus prometheus-alertmanager prometheus-snmp-exporter prometheus-node-exporter python3-yaml)
packages_bench=(libbenchmark-dev libglib2.0-dev libinih-dev)

codename() { (. /etc/os-release && printf '%s' "${VERSION_CODENAME:-}"); }

is_installed() { [[ $(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null) == installed ]]; }

# The package name does not tell the version: libgpiod 1 has another interface.
has_gpiod() { is_installed libgpiod-dev && pkg-config --exists 'libgpiod >= 2' 2>/dev/null; }

as_root() { [[ $(id -u) -eq 0 ]]; }

# configured_source SUITE: prints "URI SIGNED-BY" of the first configured source of binary packages for a suite. New
# sources get the same URI, so that they use the same mirror.
configured_source() {
  local suite=$1 files=()
  mapfile -t files < <(find /etc/apt/sources.list.d -name '*.sources' 2>/dev/null | sort)
  if [[ ${#files[@]} -gt 0 ]]; then
    awk -v suite="$suite" '
      function flush() { if (!done && wanted && !off && uri != "") { print uri, key; done = 1 } uri = key = ""; wanted = off = 0 }
      FNR == 1 && NR > 1 { flush() }
      /^[[:space:]]*$/ { flush() }
      tolower($1) == "uris:" { uri = $2 }
      tolower($1) == "signed-by:" { key = $2 }
      tolower($1) == "enabled:" { off = tolower($2) ~ /^(no|false|off|0)$/ }
      tolower($1) == "suites:" { for (i = 2; i <= NF; ++i) if ($i == suite) wanted = 1 }
      END { flush() }' "${files[@]}" | grep . && return
  fi
  find /etc/apt/sources.list /etc/apt/sources.list.d -name '*.list' -exec cat {} + 2>/dev/null |
    sed -n 's/^deb  *//p' | awk -v suite="$suite" '
      { key = ""; at = 1
        if ($1 ~ /^\[/) {
          while ($at !~ /\]$/) ++at
          options = $0; sub(/\].*/, "", options)
          if (match(options, /signed-by=[^] ]+/)) key = substr(options, RSTART + 10, RLENGTH - 10)
          ++at
        }
        if ($(at + 1) == suite) { print $at, key; exit } }' | grep .
}

# add_source NAME TYPE SUITE: adds a package source for a suite, with the URI and key of the configured release.
add_source() {
  local name=$1 type=$2 suite=$3 uri key
  read -r uri key < <(configured_source "$(codename)") || die "no configured Debian source of $(codename) to derive $suite from"
  {
    printf 'Types: %s\nURIs: %s\nSuites: %s\nComponents: main\n' "$type" "$uri" "$suite"
    printf 'Signed-By: %s\n' "${key:-/usr/share/keyrings/debian-archive-keyring.gpg}"
  } >"/etc/apt/sources.list.d/kvrn-$name.sources"
  package_lists=old
}

package_lists=old
update_lists() {
  [[ $package_lists == old ]] || return 0
  apt-get update -qq
  package_lists=new
}

gpiod_2_on_offer() { apt-cache madison libgpiod-dev 2>/dev/null | awk '{print $3}' | grep -q '^2'; }

install_packages() {
  export DEBIAN_FRONTEND=noninteractive
  update_lists
  local wanted=() package
  for package in "$@"; do
    [[ $package == libgpiod-dev ]] || wanted+=("$package")
  done
  if ! has_gpiod && [[ " $* " == *" libgpiod-dev "* ]]; then
    if ! gpiod_2_on_offer; then
      # Debian 12 has libgpiod 2 only in its backports.
      add_source backports deb "$(codename)-backports"
      update_lists
    fi
    local version
    version=$(apt-cache madison libgpiod-dev | awk '$3 ~ /^2/ {print $3; exit}')
    [[ -n $version ]] || die "no libgpiod 2 among the configured package sources"
    wanted+=("libgpiod-dev=$version" "libgpiod3=$version")
  fi
  without_services apt-get install -y -qq --no-install-recommends "${wanted[@]}" >/dev/null
}

# without_services COMMAND...: runs an installation in which no package starts a service. Tests start their own snmpd.
without_services() {
  local policy=/usr/sbin/policy-rc.d status=0
  if [[ -e $policy ]]; then
    "$@"
    return
  fi
  printf '#!/bin/sh\nexit 101\n' >"$policy"
  chmod 755 "$policy"
  "$@" || status=$?
  rm -f "$policy"
  return "$status"
}

# need_packages PACKAGE...: installs missing packages. Without root it prints their names and exits.
need_packages() {
  local missing=() package
  for package in "$@"; do
    if [[ $package == libgpiod-dev ]]; then
      has_gpiod || missing+=("$package")
    elif ! is_installed "$package"; then
      missing+=("$package")
    fi
  done
  [[ ${#missing[@]} -gt 0 ]] || return 0
  if ! as_root; then
    say "These Debian packages are missing; install them as root, or run this command as root once:" >&2
    if [[ $(codename) == bookworm && " ${missing[*]} " == *" libgpiod-dev "* ]]; then
      say "(libgpiod-dev must be version 2; its package source is bookworm-backports.)" >&2
      missing=("${missing[@]/#libgpiod-dev/libgpiod-dev/bookworm-backports}")
    fi
    say "  apt-get install --no-install-recommends ${missing[*]}" >&2
    exit 1
  fi
  step "Installing ${missing[*]}"
  install_packages "${missing[@]}"
}
