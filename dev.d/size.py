# SPDX-License-Identifier: MIT
"""Prints how much of the device's flash the product needs: the library's code and constants without the board tables,
each file in xz, and all files in a squashfs, the file system of such devices. The files are the library, the monitor,
kvrnctl, and every library that they need and that the device would not have without them."""
import lzma
import os
import re
import subprocess
import sys
import tempfile

KIB = 1024
CODE_LIMIT = 53 * KIB
SET_LIMIT = 512 * KIB
MONITOR_LIMIT = 64 * KIB
TABLES = ("kvrn_ar724x_table", "kvrn_qca953x_table")
PREFIX = "mips-linux-gnu-"
LIBRARY, MONITOR = "libkvrn.so.1", "kvrn-monitord"
SET = {LIBRARY: "lib", MONITOR: "bin", "kvrnctl": "bin"}
OF_THE_DEVICE = {"libc.so.6", "libm.so.6", "libgpiod.so.3", "ld.so.1"}

too_large = []


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def show(name, size, limit=None):
    print(f"{name:24}{size:8} bytes" + (f" (at most {limit})" if limit else ""))
    if limit and size > limit:
        too_large.append(f"{name} is {size - limit} bytes too large")


def needed(file):
    return set(re.findall(r"\(NEEDED\).*\[(.*)\]", output(PREFIX + "readelf", "-d", file))) - OF_THE_DEVICE - set(SET)


def strip(folder, name, source):
    """Copies the file without its symbols into the folder, and the libraries that it needs too."""
    path = os.path.join(folder, name)
    if not os.path.exists(path):
        output(PREFIX + "strip", "-o", path, source)
        for library in needed(path):
            strip(folder, library, output(PREFIX + "gcc", "-print-file-name=" + library).strip())


def show_code(library):
    # The symbol tables do not count: their size depends on the exported names, not on the code.
    rows = [line.split() for line in output(PREFIX + "size", "-A", library).splitlines()]
    sections = {row[0]: int(row[1]) for row in rows if len(row) == 3 and row[1].isdigit()}
    for name in (".text", ".rodata", ".data", ".bss"):
        show(name, sections[name])
    show(".text and .rodata", sections[".text"] + sections[".rodata"], CODE_LIMIT)


def xz(path):
    with open(path, "rb") as file:
        return len(lzma.compress(file.read(), preset=9 | lzma.PRESET_EXTREME))


def squashfs(folder, image):
    output("mksquashfs", folder, image, "-comp", "xz", "-all-root", "-no-xattrs", "-no-progress", "-quiet")
    return os.path.getsize(image)


def show_files(build, scratch):
    folder, alone = scratch + "/set", scratch + "/monitor"
    os.mkdir(folder)
    os.mkdir(alone)
    for name, place in SET.items():
        strip(folder, name, os.path.join(build, place, name))
    show_code(os.path.join(folder, LIBRARY))
    for name in sorted(os.listdir(folder)):
        show(name + " in xz", xz(os.path.join(folder, name)))
    strip(alone, MONITOR, os.path.join(folder, MONITOR))
    show(MONITOR + " and its own", sum(xz(os.path.join(alone, name)) for name in os.listdir(alone)), MONITOR_LIMIT)
    show("the set as squashfs", squashfs(folder, scratch + "/image"), SET_LIMIT)


def main(build):
    tables = output(PREFIX + "nm", "-S", os.path.join(build, SET[LIBRARY], LIBRARY)).splitlines()
    show("board tables (.data)", sum(int(row.split()[1], 16) for row in tables if row.split()[-1] in TABLES))
    with tempfile.TemporaryDirectory() as scratch:
        show_files(build, scratch)
    if too_large:
        sys.exit("\n".join(too_large))


main(sys.argv[1])
