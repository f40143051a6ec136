# SPDX-License-Identifier: MIT
"""Checks that no object of the library calls an exported C function. Exported functions are only for callers from
outside. Code that several places of the library need is a C++ function."""
import subprocess
import sys
from pathlib import Path

import version_script


def main(build, readelf="readelf"):
    exported = version_script.exported()
    folder = Path(build, "lib/CMakeFiles/kvrn_objects.dir")
    # Skip objects whose source was deleted: a build folder keeps them.
    objects = sorted(file for file in folder.rglob("*.o")
                     if Path("lib", file.relative_to(folder).with_suffix("")).exists())
    if not objects:
        sys.exit(f"{build}: no objects of the library")
    faults = []
    for object_file in objects:
        # Relocations also show calls of functions in the same object. Only relocations of code and data count.
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
