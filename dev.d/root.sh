# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
# Sourced. The root of a plain Debian release, made once and kept in the user's cache folder; for what must not see the
# packages of this machine. Needs root's rights.
source dev.d/sources.sh

packages_root=(debootstrap)

# A mount and a process that are made inside do not outlive the command, nor the shell that waits for it.
inside=(setpriv --pdeathsig KILL unshare --mount --pid --fork --kill-child --propagation private)

# What apt must know to reach the mirror from here.
apt_settings() { apt-config dump --no-empty Acquire | grep -E '^Acquire::(https?::Proxy|Check-(Date|Valid-Until)) ' || true; }

# lay_root SUITE URI KEY DIR: makes a plain root.
lay_root() {
  local suite=$1 uri=$2 key=$3 dir=$4
  "${inside[@]}" --mount-proc debootstrap --variant=minbase --keyring="$key" "$suite" "$dir" "$uri"
  install -D -m 644 "$key" "$dir/etc/apt/keyrings/$(basename "$key")"
  rm -f "$dir/etc/apt/sources.list"
  {
    printf 'Types: deb\nURIs: %s\nComponents: main\n' "$uri"
    printf 'Signed-By: /etc/apt/keyrings/%s\n' "$(basename "$key")"
    # Debian 12 has libgpiod 2 only in its backports.
    if [[ $suite == bookworm ]]; then
      printf 'Suites: bookworm bookworm-backports\n'
      printf 'Package: libgpiod-dev libgpiod3 gpiod\nPin: release n=bookworm-backports\nPin-Priority: 500\n' \
        >"$dir/etc/apt/preferences.d/gpiod"
    else
      printf 'Suites: %s\n' "$suite"
    fi
  } >"$dir/etc/apt/sources.list.d/debian.sources"
  apt_settings >"$dir/etc/apt/apt.conf.d/80mirror"
  printf 'APT::Install-Recommends "false";\nAPT::Sandbox::User "root";\n' >"$dir/etc/apt/apt.conf.d/80small"
  printf 'force-unsafe-io\n' >"$dir/etc/dpkg/dpkg.cfg.d/fast"
  # No package starts a service during its installation.
  printf '#!/bin/sh\nexit 101\n' >"$dir/usr/sbin/policy-rc.d"
  chmod 755 "$dir/usr/sbin/policy-rc.d"
  enter_root "$dir" apt-get update -qq
  enter_root "$dir" apt-get clean
}

# add_packages PLAIN DIR PACKAGE...: makes a root with packages from a plain one.
add_packages() {
  local dir=$2
  cp -a --reflink=auto "$1" "$dir"
  enter_root "$dir" apt-get update -qq
  enter_root "$dir" apt-get install -y -qq "${@:3}"
  enter_root "$dir" apt-get clean
}

# make_root SUITE PACKAGE...: sets `place` to the root of a release, plain or with packages. It is for copying: nothing is
# run in it.
make_root() {
  local suite=$1 uri key hash how
  shift
  # A release that is not configured has the mirror and the keys of the one that is.
  read -r uri key < <(configured_source "$suite" || configured_source "$(codename)") ||
    die "no configured Debian source to make $suite from"
  key=${key:-/usr/share/keyrings/debian-archive-keyring.gpg}
  how=(lay_root "$suite" "$uri" "$key")
  if [[ $# -gt 0 ]]; then
    make_root "$suite"
    how=(add_packages "$place")
  fi
  hash=$({ printf '%s\n' "${how[@]}" "$@" && apt_settings && declare -f "${how[0]}"; } | sha256sum)
  place=$cache/root-$suite-${hash:0:16}
  [[ ! -e $place ]] || return 0
  as_root || die "only root can make a root of $suite"
  say "making a root of $suite"
  # Only a whole root gets its name. Two makers do not meet; what a third one left is removed.
  local new=$place.new.$$ left
  for left in "$cache"/root-*.new.*; do
    [[ -e /proc/${left##*.} ]] || rm -rf "$left"
  done
  recipe "build/root-$suite.log" "making a root of $suite" "${how[@]}" "$new" "$@"
  mv -T "$new" "$place" 2>/dev/null || rm -rf "$new"
}

# copy_root DIR: copies the root at `place` to a folder that does not exist yet.
copy_root() { cp -a --reflink=auto "$place" "$1"; }

# enter_root DIR COMMAND...: runs a command in a root, with the machine's devices and network but without its settings.
enter_root() {
  local dir=$1 kept=(PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 DEBIAN_FRONTEND=noninteractive) name
  shift
  for name in http_proxy https_proxy no_proxy HTTP_PROXY HTTPS_PROXY NO_PROXY; do
    [[ -z ${!name:-} ]] || kept+=("$name=${!name}")
  done
  # shellcheck disable=SC2016
  env -i "${kept[@]}" "${inside[@]}" sh -ec '
    dir=$1
    shift
    mount -t proc proc "$dir/proc"
    mount --rbind /sys "$dir/sys"
    mount --rbind /dev "$dir/dev"
    [ -e "$dir/etc/resolv.conf" ] || : >"$dir/etc/resolv.conf"
    mount --bind /etc/resolv.conf "$dir/etc/resolv.conf"
    exec chroot "$dir" "$@"' sh "$dir" "$@"
}
