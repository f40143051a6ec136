# SPDX-License-Identifier: MIT
"""What a kernel may lack: each program says what is missing and answers the rest."""
import errno
import json

from day import agrees, serve


def document(machine, command, before=""):
    job = machine.run(f"lay-out /host/healthy\n{before}\nkvrnctl {command} --json")
    try:
        return job, json.loads(job.out)
    except ValueError:
        return job, {}


def errors_of(found):
    return json.dumps(found.get("errors", []))


def run_bad_input(machine, check):
    def tree(what):
        check(f"{what}: the agent goes on, and from outside the tree is what the device says", *agrees(machine))

    serve(machine)
    # The agent identifies the board once.
    machine.do("lay-out /host/healthy\n/etc/init.d/snmp </dev/null >/dev/null 2>&1 &")
    job, found = document(machine, "psu")
    check("a healthy device: nothing is missing", job.status == 0 and found.get("errors") == [], job.out + job.err)
    job, found = document(machine, "psu", "rmmod i2c_stub; rmmod i2c_stub_b")
    psus = found.get("psu", [])
    check("no I2C driver: named, and the other sources are told", job.status == 0 and "I2C 2-0b: No such file" in errors_of(found) and
          [psu.get("state") for psu in psus[:3]] == ["mains on", "mains on", "charging"], job.out + job.err)
    tree("no I2C driver")
    job, found = document(machine, "psu", "rm /dev/gpiochip/by-label/7-0076 /dev/gpiochip/by-label/18040000.gpio")
    psus = found.get("psu", [])
    check("no GPIO chips: named, and the smart battery is told", job.status == 0 and "GPIO 211: No such file" in errors_of(found) and
          psus and psus[3].get("voltage_mv") == 25904, job.out + job.err)
    tree("no GPIO chips")
    job, found = document(machine, "board", "rm /dev/mem")
    check("no /dev/mem: named, and the board is told", "/dev/mem" in errors_of(found) and
          "Quorvex Power 4" in job.out, job.out + job.err)
    job, found = document(machine, "board", "sed 's/EEPROM/calibration/' -i /host/healthy/proc/mtd; lay-out /host/healthy")
    check("a flash partition with another name: named, and the rest is told", "/proc/mtd" in errors_of(found) and
          job.out.startswith("{"), job.out + job.err)
    machine.do("sed 's/calibration/EEPROM/' -i /host/healthy/proc/mtd")
    job, found = document(machine, "psu", "rm /dev/i2c-2")
    check("an I2C bus that does not exist: named", "I2C 2-0b: No such file" in errors_of(found) and
          found.get("psu", [{}] * 3)[2].get("voltage_mv") == 26150, job.out + job.err)
    job = machine.run("lay-out /host/healthy; mount -o remount,ro /tmp\n"
                      "kvrn-monitord --once --stderr --pid-file /run/once.pid; echo monitor $?\nkvrnctl psu 3")
    check("/tmp is read-only: the monitor says so, readers go to the hardware", f"/tmp/.psu_info_cache ({errno.EROFS})" in job.err and
          "25.904 V" in job.out, job.out + job.err)
    tree("/tmp is read-only")
    machine.do("mount -o remount,rw /tmp")
    # What is left: the page cache cannot go below what runs, so a file in memory takes the rest.
    job = machine.run("lay-out /host/healthy\nmount -o remount,size=100% /run\n"
                      "dd if=/dev/zero of=/run/filler bs=1M count=$(($(sed -n 's/MemAvailable: *\\([0-9]*\\) kB/\\1/p' "
                      "/proc/meminfo) / 1024 - 8)) 2>/dev/null\nsed -n 's/^MemAvailable/left/p' /proc/meminfo\n"
                      "kvrn-monitord --once --pid-file /run/once.pid && kvrnctl psu 3 --json")
    check("8 MiB of memory left: monitor and reader work", '"voltage_mv": 25904' in job.out and '"cache"' in job.out,
          job.out + job.err)
    tree("8 MiB of memory left")
    machine.do("rm /run/filler")
