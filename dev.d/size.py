# SPDX-License-Identifier: MIT
"""Prints how much of the device's flash the library needs. Limits code and constants, without the board tables."""
import subprocess
import sys
import tempfile

LIMIT = 53 * 1024
TABLES = ("kvrn_ar724x_table", "kvrn_qca953x_table")
PREFIX = "mips-linux-gnu-"


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def main(library):
    tables = sum(int(line.split()[1], 16) for line in output(PREFIX + "nm", "-S", library).splitlines()
                 if line.split()[-1] in TABLES)
    with tempfile.NamedTemporaryFile() as stripped:
        output(PREFIX + "strip", "-o", stripped.name, library)
        rows = [line.split() for line in output(PREFIX + "size", "-A", stripped.name).splitlines()]
        file = len(stripped.read())
    sections = {row[0]: int(row[1]) for row in rows if len(row) == 3 and row[1].isdigit()}
    # The symbol tables do not count: their size depends on the exported names, not on the code.
    code, constants = sections[".text"], sections[".rodata"]
    print(f"stripped file {file:7} bytes")
    print(f".text         {code:7} bytes")
    print(f".rodata       {constants:7} bytes, with .text {code + constants} (at most {LIMIT})")
    print(f".data         {sections['.data']:7} bytes, of it board tables {tables}")
    print(f".bss          {sections['.bss']:7} bytes")
    if code + constants > LIMIT:
        sys.exit(f"code and constants are {code + constants - LIMIT} bytes too large")


main(sys.argv[1])
