# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
# Sourced by mips.sh. net-snmp for the device: its library for kvrn-agentd, and snmpd as the master. Users of SNMPv3 have
# authentication and privacy by net-snmp's own copies of the algorithms, because there is no libcrypto on the device.

net_snmp_options=(--host=mips-linux-gnu --with-endianness=big --prefix=/usr --enable-mini-agent --with-defaults
  --disable-manuals --disable-scripts --disable-mib-loading --disable-embedded-perl --without-perl-modules
  --with-openssl=internal --disable-debugging --disable-applications --disable-static --enable-shared --without-rpm
  "--with-out-transports=UDPIPv6 TCPIPv6 AAL5PVC IPX" --with-persistent-directory=/var/lib/snmp
  "--with-mib-modules=agentx mibII/snmp_mib mibII/system_mib mibII/vacm_vars snmpv3mibs")

make_net_snmp() {
  cd "$1" || exit
  ./configure "${net_snmp_options[@]}" CFLAGS=-Os
  make -s -j "$jobs"
  make -s install DESTDIR="$2"
}

build_net_snmp() {
  local archive place pc
  fetch_source net-snmp
  keep net-snmp "$archive" make_net_snmp "${net_snmp_options[@]}"
  [[ $(cat "$mips_prefix/net-snmp.place" 2>/dev/null) != "$place" ]] || return 0
  mkdir -p "$mips_prefix"/{lib/pkgconfig,include,sbin}
  cp -a "$place"/usr/lib/libnetsnmp*.so* "$mips_prefix/lib/"
  cp -a "$place"/usr/include/net-snmp "$mips_prefix/include/"
  cp -a "$place"/usr/sbin/snmpd "$mips_prefix/sbin/"
  for pc in "$place"/usr/lib/pkgconfig/netsnmp*.pc; do
    sed "s|^prefix=.*|prefix=$mips_prefix|; s|-L/usr/lib||" "$pc" >"$mips_prefix/lib/pkgconfig/$(basename "$pc")"
  done
  printf '%s' "$place" >"$mips_prefix/net-snmp.place"
}
