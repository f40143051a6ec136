# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
source dev.d/mips.sh

# What goes on a device, at its places.
pack_device() {
  local root=build/device place files package
  rm -rf "$root"
  while read -r place files package; do
    mkdir -p "$root/$place"
    # shellcheck disable=SC2086  # a pattern
    cp -a $files "$root/$place/"
  done < <(grep -v '^#' dev.d/device.txt)
  find "$root" -type f -exec mips-linux-gnu-strip --strip-unneeded {} +
  tar -C "$root" --owner=root:0 --group=root:0 --sort=name -cJf build/kvrn-mips.tar.xz usr
  say "build/kvrn-mips.tar.xz, for a device that has libc and libm:"
  tar -tvf build/kvrn-mips.tar.xz
}

timed "Cross build (big-endian MIPS)" build_mips ON
pack_device
