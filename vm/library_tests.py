# SPDX-License-Identifier: MIT
"""The library's tests on the machine: each case a process of its own, on the kernel's parts in place of the hooks."""
import os
import shutil
import subprocess

CANNOT = 77
SIMULATOR_ONLY = {"sim_test_vm"}  # about the hooks themselves

LOOP = """
cd /run
mkdir -p {source}/tests
ln -s /host/golden {source}/tests/golden
for program in /host/tests/*; do
  $program --gtest_list_tests | while IFS= read -r line; do
    case $line in
      "  "*) line=${{line#  }}; echo "$suite${{line%% *}}" ;;
      *.*) suite=${{line%% *}} ;;
    esac
  done >/run/cases
  while read -r case; do
    timeout 120 $program --gtest_filter="$case" </dev/null >/run/output 2>&1
    status=$?
    echo "$status ${{program##*/}} $case"
    [ $status = 0 ] || {{ sed 's/^/  /' /run/output; echo; }}
  done </run/cases
done
"""


def run_library_tests(machine, build):
    """@return (passed, [what the kernel cannot express], [failures with their output])"""
    os.makedirs(machine.share + "/tests")
    programs = set(os.listdir(build)) - SIMULATOR_ONLY
    for name in sorted(programs):
        target = f"{machine.share}/tests/{name}"
        shutil.copy(f"{build}/{name}", target)
        subprocess.run(["mips-linux-gnu-strip", target], check=True)
    shutil.copytree("tests/golden", machine.share + "/golden")
    job = machine.run(LOOP.format(source=os.getcwd()), 1200)
    ended = []  # (status, name, output)
    for line in job.out.splitlines():
        if line.startswith("  "):
            ended[-1][2].append(line)
        elif line:
            status, program, case = line.split(" ", 2)
            ended.append((int(status), f"{program.removesuffix('_vm')}.{case}", []))
    silent = programs - {name.split(".")[0] + "_vm" for _, name, _ in ended}
    passed = sum(status == 0 for status, _, _ in ended)
    cannot = [(name, next((line.split("cannot: ")[1] for line in output if "cannot: " in line), ""))
              for status, name, output in ended if status == CANNOT]
    failed = [(name, output) for status, name, output in ended if status not in (0, CANNOT)]
    return passed, cannot, failed + [(name, ["  lists no test"]) for name in sorted(silent)]
