# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
# Sourced by check, cross, size and vm. The build for the device, with the libraries that it needs for MIPS: libgpiod and
# net-snmp.

# shellcheck source=dev.d/sources.sh
source dev.d/sources.sh
# shellcheck source=dev.d/net-snmp.sh
source dev.d/net-snmp.sh

mips_host=mips-linux-gnu
mips_prefix=$PWD/build/deps/mips

build_gpiod() {
  [[ -e $mips_prefix/lib/libgpiod.so.3 ]] && return
  local archive source=build/deps/libgpiod
  fetch_source libgpiod
  say "building libgpiod for MIPS"
  rm -rf "$source" && mkdir -p "$source"
  tar -xf "$archive" -C "$source" --strip-components=1
  recipe build/deps/libgpiod.log "building libgpiod" make_gpiod "$source"
}

make_gpiod() {
  cd "$1" || exit
  ./configure --quiet --host="$mips_host" --prefix="$mips_prefix" --disable-static --disable-tools \
    --disable-bindings-cxx --disable-bindings-python --disable-tests CFLAGS="-Os"
  make -s -j "$jobs"
  make -s install-strip
}

# build_mips ON|OFF [TARGET...]: with or without the agent, which takes net-snmp.
build_mips() {
  local agent=$1
  shift
  need_packages "${packages_build[@]}" "${packages_test[@]}" "${packages_cross[@]}"
  build_gpiod
  [[ $agent == OFF ]] || build_net_snmp
  configure_options=("-DKVRN_AGENT=$agent")
  build mips "$@"
  configure_options=()
  cp -a "$mips_prefix"/lib/libgpiod.so.3* build/mips/lib/
  python3 dev.d/rpath.py build/mips/bin build/mips/lib
}
