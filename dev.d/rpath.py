# SPDX-License-Identifier: MIT
"""Checks that programs and libraries look for their libraries only relative to their own folder. A folder of the build
machine is a fault. An empty element is a fault too, because it means the current folder.

usage: rpath.py FILE|FOLDER..."""
import os
import pathlib
import re
import subprocess
import sys


def main(places):
    files = [file for place in map(pathlib.Path, places) for file in ([place] if place.is_file() else place.rglob("*"))
             if file.is_file() and not file.is_symlink() and file.open("rb").read(4) == b"\x7fELF"]
    faults = []
    for file in files:
        dynamic = subprocess.run([os.environ.get("READELF", "readelf"), "-d", file], check=True, capture_output=True, text=True).stdout
        for path in re.findall(r"\((?:RPATH|RUNPATH)\).*\[(.*)\]", dynamic):
            if not all(re.match(r"\$ORIGIN(/|$)", element) for element in path.split(":")):
                faults.append(f"{file}: looks for libraries in '{path}'")
    if faults or not files:
        sys.exit("\n".join(faults) or f"no programs in {' '.join(places)}")
    print(f"{len(files)} programs and libraries look for libraries beside themselves")


main(sys.argv[1:])
