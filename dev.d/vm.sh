# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
# vm [shell|CHECK...]: the product on a real big-endian kernel, in qemu. Kernel, busybox and net-snmp are built once and
# kept in the user's cache folder, under a hash of what made them.
source dev.d/mips.sh

vm_work=build/vm

# Debian 12 has Linux 6.1, which the changes of kernel.patch are made for.
kernel_source=linux-source-6.1

make_kernel() {
  local root=$PWD
  export ARCH=mips CROSS_COMPILE=mips-linux-gnu-
  cd "$1" || exit
  patch -p1 <"$root/vm/kernel.patch"
  make -s malta_defconfig
  make -s mod2noconfig
  scripts/kconfig/merge_config.sh -m .config "$root/vm/kernel.config"
  make -s olddefconfig
  make -s -j "$jobs" vmlinux modules
  mkdir -p "$2"
  cp drivers/i2c/i2c-stub.ko drivers/i2c/i2c-stub-b.ko drivers/mtd/devices/phram.ko "$2/"
  mips-linux-gnu-strip -o "$2/vmlinux" vmlinux
}

make_busybox() {
  local root=$PWD
  cd "$1" || exit
  make -s allnoconfig
  # The last word on a name counts, so what the fragment names is taken out first.
  sed -n 's/^\(CONFIG_[A-Z0-9_]*\)=.*/^# \1 is not set$\n^\1=/p' "$root/vm/busybox.config" >named
  { grep -v -f named .config && grep '^CONFIG' "$root/vm/busybox.config"; } >merged
  mv merged .config
  make -s oldconfig < <(yes '')
  make -s -j "$jobs" busybox
  cp busybox "$2"
}

# What a device has, and what start and checks need; the tests lie in the folder that host and machine share.
pack_image() {
  local kernel=$1 busybox=$2 root=$vm_work/root sysroot=/usr/mips-linux-gnu/lib file commands
  commands=$(qemu-mips -L /usr/mips-linux-gnu "$busybox" --list)
  rm -rf "$root"
  mkdir -p "$root"/{bin,dev,etc/init.d,etc/persistent,lib/modules,proc,sys,tmp,run,var/lib,config,host,usr}
  cp "$busybox" "$root/bin/busybox"
  for file in $commands; do ln -s busybox "$root/bin/$file"; done
  ln -s bin "$root/sbin" && ln -s ../bin "$root/usr/bin" && ln -s ../bin "$root/usr/sbin" && ln -s ../lib "$root/usr/lib"
  ln -s bin/busybox "$root/init"
  cp vm/guest/inittab "$root/etc/"
  cp vm/guest/{rcS,monitor,snmp,jobs,console} "$root/etc/init.d/"
  printf 'root::0:0:root:/:/bin/sh\nkvrn:x:100:100::/:/bin/false\n' >"$root/etc/passwd"
  printf 'root:x:0:\nkvrn:x:100:\n' >"$root/etc/group"
  cp "$kernel"/*.ko "$root/lib/modules/"
  cp -L "$sysroot"/{ld.so.1,libc.so.6,libm.so.6,libgcc_s.so.1,libstdc++.so.6} "$root/lib/"
  cp -a build/mips/lib/lib{kvrn,gpiod}.so.* "$mips_prefix"/lib/libnetsnmp*.so.* "$root/lib/"
  cp build/mips/bin/{kvrnctl,kvrn-monitord,kvrn-agentd,lay-out,time-runs} "$mips_prefix/sbin/snmpd" "$root/bin/"
  find "$root/bin" "$root/lib" -type f -size +8k ! -name '*.ko' -exec mips-linux-gnu-strip --strip-unneeded {} + 2>/dev/null || true
  (cd "$root" && find . | cpio -o -H newc --quiet | gzip -1) >"$vm_work/image"
}

build_vm() {
  need_packages "${packages_build[@]}" "${packages_test[@]}" "${packages_cross[@]}" "${packages_vm[@]}"
  local archive busybox
  keep kernel "/usr/src/$kernel_source.tar.xz" make_kernel "$(dpkg-query -W -f '${Version}' "$kernel_source")" "$(cat vm/kernel.*)"
  kernel=$place
  fetch_source busybox
  keep busybox "$archive" make_busybox "$(cat vm/busybox.config)"
  busybox=$place
  build_tools
  build_mips ON all vm
  pack_image "$kernel" "$busybox"
}

checks="$(PYTHONPATH=dev.d python3 vm/run.py --list) shell"
for name in "$@"; do
  [[ " $checks " == *" $name "* ]] || die_usage "no check '$name': $checks"
done
timed "Kernel, programs and image" build_vm
export PATH=$PWD/build/native/bin:$PATH PYTHONPATH=$PWD/dev.d
if [[ ${1:-} == shell ]]; then
  exec python3 vm/shell.py "$kernel/vmlinux" "$vm_work/image"
fi
exec python3 vm/run.py "$kernel/vmlinux" "$vm_work/image" "$@"
