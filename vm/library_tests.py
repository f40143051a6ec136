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
    [ $status = 0 ] || sed 's/^/  /' /run/output
  done </run/cases
done
"""


def run_library_tests(machine, build):
    """@return (passed, [what the kernel cannot express], [failures with their output])"""
    os.makedirs(machine.share + "/tests")
    for name in sorted(os.listdir(build)):
        if name not in SIMULATOR_ONLY:
            target = f"{machine.share}/tests/{name}"
            shutil.copy(f"{build}/{name}", target)
            subprocess.run(["mips-linux-gnu-strip", target], check=True)
    shutil.copytree("tests/golden", machine.share + "/golden")
    job = machine.run(LOOP.format(source=os.getcwd()), 1200)
    passed, cannot, failed = 0, [], []
    for line in job.out.splitlines():
        if line.startswith("  "):
            if failed and failed[-1][1] is not None:
                failed[-1][1].append(line)
            if "cannot: " in line and cannot and cannot[-1][1] == "":
                cannot[-1][1] = line.split("cannot: ")[1]
            continue
        status, program, case = line.split(" ", 2)
        name = f"{program.removesuffix('_vm')}.{case}"
        if status == "0":
            passed += 1
        elif int(status) == CANNOT:
            cannot.append([name, ""])
            failed.append((name, None))
        else:
            failed.append((name, []))
    return passed, cannot, [(name, text) for name, text in failed if text is not None]
