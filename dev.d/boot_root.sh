#!/bin/sh
# SPDX-License-Identifier: MIT
# boot_root.sh ROOT GROUP: becomes the service manager of a root. Booted in booted.py starts it in a mount namespace.
# It gets a control group and namespaces of its own, so nothing that it mounts, names or sets is seen outside.
set -eu
root=$1 group=$2

if [ -z "${KVRN_BOOT_INSIDE:-}" ]; then
  mount -t cgroup2 cgroup2 "$root/mnt"
  # What a round left that was killed: its groups are empty.
  for old in "$root/mnt"/kvrn-boot-*; do
    [ ! -d "$old" ] || [ -d "/proc/${old##*-}" ] || find "$old" -depth -type d -exec rmdir {} +
  done
  mkdir "$root/mnt/$group"
  echo $$ >"$root/mnt/$group/cgroup.procs"
  umount "$root/mnt"
  export KVRN_BOOT_INSIDE=1
  exec unshare --cgroup --pid --mount --uts --ipc --net --fork --kill-child "$0" "$root" "$group"
fi

# A root must be a mount point.
mount --bind "$root" "$root"
mount -t proc proc "$root/proc"
# The kernel's settings are the machine's.
mount --bind "$root/proc/sys" "$root/proc/sys"
mount -o remount,bind,ro "$root/proc/sys"
[ ! -e "$root/proc/sysrq-trigger" ] || mount --bind /dev/null "$root/proc/sysrq-trigger"
mount -t sysfs -o ro sysfs "$root/sys"
mount -t cgroup2 cgroup2 "$root/sys/fs/cgroup"
mount -t tmpfs -o mode=755,nosuid,nodev tmpfs "$root/run"
mount -t tmpfs -o mode=755,nosuid tmpfs "$root/dev"
mkdir "$root/dev/pts" "$root/dev/shm"
mount -t devpts -o newinstance,ptmxmode=0666,mode=620,gid=5 devpts "$root/dev/pts"
mount -t tmpfs -o mode=1777 tmpfs "$root/dev/shm"
ln -s pts/ptmx "$root/dev/ptmx"
for device in null zero full random urandom tty; do
  : >"$root/dev/$device"
  mount --bind "/dev/$device" "$root/dev/$device"
done
cd "$root"
pivot_root . mnt
umount -l /mnt
# The variable tells the manager that this is a container.
exec env -i container=kvrn PATH=/usr/sbin:/usr/bin:/sbin:/bin /lib/systemd/systemd --log-target=journal </dev/null
