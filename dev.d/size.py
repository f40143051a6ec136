# SPDX-License-Identifier: MIT
"""What the library takes on the device's flash: text beside the board tables at most 64 KiB."""
import subprocess
import sys
import tempfile

LIMIT = 64 * 1024
TABLES = ("kvrn_ar724x_table", "kvrn_qca953x_table")
PREFIX = "mips-linux-gnu-"


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def main(library):
    tables = sum(int(line.split()[1], 16) for line in output(PREFIX + "nm", "-S", library).splitlines()
                 if line.split()[-1] in TABLES)
    with tempfile.NamedTemporaryFile() as stripped:
        output(PREFIX + "strip", "-o", stripped.name, library)
        text, data, bss = (int(word) for word in output(PREFIX + "size", stripped.name).splitlines()[1].split()[:3])
        size = len(stripped.read())
    print(f"stripped file   {size:7} bytes")
    print(f"text, rodata    {text:7} bytes (at most {LIMIT})")
    print(f"data            {data:7} bytes, of it board tables {tables}")
    print(f"bss             {bss:7} bytes")
    if text > LIMIT:
        sys.exit(f"text is {text - LIMIT} bytes too large")


main(sys.argv[1])
