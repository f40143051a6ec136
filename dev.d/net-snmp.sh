# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
# Sourced by mips.sh. net-snmp for the device: its library for kvrn-agentd, and snmpd as the master. Users of SNMPv3 have
# authentication and privacy by net-snmp's own copies of the algorithms, because there is no libcrypto on the device.

net_snmp_options=(--host=mips-linux-gnu --with-endianness=big --prefix=/usr --enable-mini-agent --with-defaults
  --disable-manuals --disable-scripts --disable-mib-loading --disable-embedded-perl --without-perl-modules
  --with-openssl=internal --disable-debugging --disable-applications --disable-static --enable-shared --without-rpm
  "--with-out-transports=UDPIPv6 TCPIPv6 AAL5PVC IPX" --with-persistent-directory=/var/lib/snmp
  "--with-mib-modules=agentx mibII/snmp_mib mibII/system_mib mibII/vacm_vars snmpv3mibs")

build_net_snmp() {
  local archive key kept
  fetch_source net-snmp
  key=$(printf '%s\n' "${net_snmp_options[@]}" "$(basename "$archive")" | sha256sum)
  kept=$cache/net-snmp-${key:0:16}
  if [[ ! -e $kept/usr/sbin/snmpd ]]; then
    say "building net-snmp for MIPS"
    local tree=$cache/net-snmp-build
    rm -rf "$tree" "$kept" && mkdir -p "$tree"
    tar -xf "$archive" -C "$tree" --strip-components=1
    (
      cd "$tree"
      ./configure "${net_snmp_options[@]}" CFLAGS=-Os
      make -s -j "$jobs"
      make -s install DESTDIR="$kept.new"
      mv "$kept.new" "$kept"
    ) >build/net-snmp.log 2>&1 </dev/null || die "building net-snmp failed: build/net-snmp.log"
    rm -rf "$tree"
  fi
  [[ $mips_prefix/lib/pkgconfig/netsnmp-agent.pc -nt $kept/usr/sbin/snmpd ]] && return
  mkdir -p "$mips_prefix"/{lib/pkgconfig,include,sbin}
  cp -a "$kept"/usr/lib/libnetsnmp*.so* "$mips_prefix/lib/"
  cp -a "$kept"/usr/include/net-snmp "$mips_prefix/include/"
  cp -a "$kept"/usr/sbin/snmpd "$mips_prefix/sbin/"
  local pc
  for pc in "$kept"/usr/lib/pkgconfig/netsnmp*.pc; do
    sed "s|^prefix=.*|prefix=$mips_prefix|; s|-L/usr/lib||" "$pc" >"$mips_prefix/lib/pkgconfig/$(basename "$pc")"
  done
}
