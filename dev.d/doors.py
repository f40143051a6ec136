# SPDX-License-Identifier: MIT
"""The exported C names are doors: no object of the library refers to one. What two places need is a C++ function."""
import re
import subprocess
import sys
from pathlib import Path

MAP = "cmake/libkvrn.map"
# What the module imports from its host.
HOST = {"odb_add", "odb_destroy", "abz_clear_error"}


def names(text):
    text = re.sub(r"/\*.*?\*/", "", text, flags=re.S)
    return set(re.findall(r"\b([A-Za-z_]\w*)\s*;", text.split("global:")[1].split("local:")[0])) - HOST


def main(build, readelf="readelf"):
    exported = names(Path(MAP).read_text(encoding="utf-8"))
    folder = Path(build, "lib/CMakeFiles/kvrn_objects.dir")
    # A build folder keeps the objects of files that are gone.
    objects = sorted(file for file in folder.rglob("*.o")
                     if Path("lib", file.relative_to(folder).with_suffix("")).exists())
    if not objects:
        sys.exit(f"{build}: no objects of the library")
    faults = []
    for object_file in objects:
        # Relocations name also what is defined in the same object. Those of code and data count.
        used, counts = set(), False
        for row in subprocess.run([readelf, "-rW", object_file], check=True, capture_output=True, text=True).stdout.splitlines():
            if row.startswith("Relocation section"):
                counts = ".text" in row or ".data" in row
            elif counts:
                used.update(row.split()[4:5])
        faults += [f"{object_file.parent.name}/{object_file.stem}: calls {name}, which is for callers from outside"
                   for name in sorted(exported.intersection(used))]
    if faults:
        sys.exit("\n".join(faults))
    print(f"{len(objects)} objects, {len(exported)} doors, none of them used inside")


main(*sys.argv[1:])
