# SPDX-License-Identifier: MIT
"""The start scripts of the OpenWrt feed on the machine, with a stand-in for procd: start with the options of the
installed settings, start again after a kill and with other settings, end."""
import shutil

from day import SETTINGS, agrees, is_fresh, until

FILES = "openwrt/kvrn/files"
SOCKET = "/var/run/agentx.sock"  # of OpenWrt's snmpd
INSTALLED = {"kvrn-monitord": ["--pid-file", "/var/run/kvrn-monitord.pid"],
             "kvrn-agentd": ["--agentx-socket", SOCKET]}


def prepare(machine):
    machine.give("healthy", "four-source")
    folder = machine.share + "/openwrt"
    shutil.copytree(FILES, folder)
    shutil.copy("vm/guest/rc.common", folder)
    with open(folder + "/snmpd.conf", "w") as file:
        file.write(SETTINGS.replace("/run/agentx\n", SOCKET + "\n"))


def install(machine):
    machine.do("lay-out /host/healthy\nmkdir -p /etc/config\ncp /host/openwrt/rc.common /etc/\n"
               + "".join(f"cp /host/openwrt/{name}.init /etc/init.d/{name}\ncp /host/openwrt/{name}.config /etc/config/{name}\n"
                         for name in INSTALLED)
               + "chmod 755 /etc/init.d/kvrn-*\n"
               "snmpd -Lf /run/snmpd.log -C -c /host/openwrt/snmpd.conf -p /run/snmpd.pid -I -smux")


def running(machine, name):
    """@return (process, [its options]) of the program, or of more than one, which is a fault: (None, their processes)"""
    processes = machine.run(f"pidof {name}").out.split()
    if len(processes) != 1:
        return None, processes
    words = machine.run(f"cat /proc/{processes[0]}/cmdline").out.split("\0")[:-1]
    return processes[0], words[1:]


def run_openwrt(machine, check):
    def each(what, action, expected):
        """Does the action for each script, and expects the programs with these options."""
        for name, options in expected.items():
            job = machine.run(action.format(name=name))
            seen = until(lambda name=name, options=options: running(machine, name)[1] == options, 10)
            check(f"{what}: {name} {' '.join(options)}", job.status == 0 and seen, f"{running(machine, name)} {job.out}{job.err}")

    install(machine)
    each("start", "/etc/init.d/{name} start", INSTALLED)
    check("start: the monitor's readings are fresh", until(lambda: is_fresh(machine), 20))
    check("start: the tree, from outside, is what the device says", *agrees(machine))
    before = {name: running(machine, name)[0] for name in INSTALLED}
    each("start again", "/etc/init.d/{name} start", INSTALLED)
    check("start again: the same processes", before == {name: running(machine, name)[0] for name in INSTALLED})
    each("killed", "kill -9 $(pidof {name})\nsleep 1", INSTALLED)
    changed = {name: [*options, "--period", "1"] for name, options in INSTALLED.items()}
    each("other settings", "sed -i \"s/option options '\\(.*\\)'/option options '\\1 --period 1'/\" /etc/config/{name}\n"
         "/etc/init.d/{name} reload", changed)
    check("other settings: the monitor's readings are fresh", until(lambda: is_fresh(machine), 20))
    check("other settings: the tree, from outside, is what the device says", *agrees(machine))
    machine.do("".join(f"/etc/init.d/{name} stop\n" for name in INSTALLED) + "sleep 4")
    left = {name: running(machine, name)[1] for name in INSTALLED}
    check("stop: none is left, and none comes again", not any(left.values()), left)
