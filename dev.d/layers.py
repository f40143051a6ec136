# SPDX-License-Identifier: MIT
"""Checks the layers of the source files. docs/architecture.md lists the layers, lowest first. A file may include only
files of its own layer or a lower one."""
import os
import re
import subprocess
import sys

DOCUMENT = "docs/architecture.md"
LIBRARY = "lib/"
FOLDERS = (LIBRARY, "tools/", "sim/")


def layers():
    text = open(DOCUMENT, encoding="utf-8").read()
    block = re.search(r"```layers\n(.*?)```", text, re.S)
    if not block:
        sys.exit(f"{DOCUMENT}: no block of layers")
    level, levels = -1, {}
    for line in block.group(1).splitlines():
        if not line.strip():
            continue
        if not line.startswith(" "):
            level += 1
            continue
        levels[line.split()[0]] = level
    return levels


def main():
    levels = layers()
    files = subprocess.run(["git", "-c", "safe.directory=*", "ls-files", "*.cpp", "*.hpp", "*.inc"], check=True, capture_output=True,
                           text=True).stdout.split()
    files = [file for file in files if file.startswith(FOLDERS)]
    source = {file.removeprefix(LIBRARY): file for file in files}
    faults = []

    def level_of(file):
        # The document may list a program's folder as one entry.
        for name in (file, file.rsplit("/", 1)[0] + "/"):
            if name in levels:
                return levels[name]
        return None

    for file in source:
        own = level_of(file)
        if own is None:
            faults.append(f"{file}: not listed in {DOCUMENT}")
            continue
        for include in re.findall(r'^#include "([^"]+)"', open(source[file], encoding="utf-8").read(), re.M):
            other = level_of(include)
            if other is None:
                faults.append(f"{file}: includes {include}, which is not listed")
            elif other > own:
                faults.append(f"{file}: includes {include} of a higher layer")
    for name in levels:
        if not name.endswith("/") and name not in source:
            faults.append(f"{DOCUMENT}: lists {name}, which does not exist")
    if faults:
        sys.exit("\n".join(faults))
    print(f"{len(files)} files keep {max(levels.values()) + 1} layers")


main()
