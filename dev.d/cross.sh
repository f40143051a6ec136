# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
source dev.d/mips.sh

# What goes on a device, at its places: programs, libraries beside libc and libm, and snmpd as the agent's master.
pack_device() {
  local root=build/device
  rm -rf "$root"
  mkdir -p "$root"/usr/{bin,sbin,lib}
  cp build/mips/bin/kvrnctl "$root/usr/bin/"
  cp build/mips/bin/{kvrn-monitord,kvrn-agentd} "$mips_prefix/sbin/snmpd" "$root/usr/sbin/"
  find build/mips/lib "$mips_prefix/lib" \( -name 'libkvrn.so.1*' -o -name 'libgpiod.so.3*' -o -name 'libnetsnmp.so.*' -o -name 'libnetsnmpagent.so.*' -o \
    -name 'libnetsnmpmibs.so.*' \) \
    -exec cp -a {} "$root/usr/lib/" \;
  find "$root" -type f -exec mips-linux-gnu-strip --strip-unneeded {} +
  tar -C "$root" --owner=root:0 --group=root:0 --sort=name -cJf build/kvrn-mips.tar.xz usr
  say "build/kvrn-mips.tar.xz, for a device that has libc and libm:"
  tar -tvf build/kvrn-mips.tar.xz
}

timed "Cross build (big-endian MIPS)" build_mips ON
pack_device
