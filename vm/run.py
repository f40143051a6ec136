# SPDX-License-Identifier: MIT
"""The checks of ./dev vm: one line each, and a summary.

usage: run.py KERNEL IMAGE [CHECK...], or run.py --list"""
import concurrent.futures
import signal
import sys
import time

import bad_input
import day
import openwrt
from compare import compare
from library_tests import run_library_tests
from machine import Hang, Machine

STATES = 200
TESTS = "build/mips/vm/tests"
START_RUNS = 20
START_LIMIT = 5  # x /bin/true


class Results:
    def __init__(self, name):
        self.name, self.passed, self.failed = name, 0, 0

    def __call__(self, text, good, detail=""):
        self.passed, self.failed = self.passed + bool(good), self.failed + (not good)
        print(f"{'passed' if good else 'FAILED'}  {text}" + (f"\n        {str(detail)[:2000]}" if not good and detail else ""),
              flush=True)


def check_states(kernel, image, check):
    with Machine(kernel, image) as machine:
        machine.boot()
        machine.do("sleep 25")  # an image may be 20 s old, which the clock must have reached
        compared, cannot, found = compare(machine, STATES, lambda text: print(f"        {text}", flush=True))
    total = sum(compared.values())
    for reason in sorted(set(cannot)):
        print(f"        {cannot.count(reason)} x {reason}")
    check(f"simulator and kernel agree: {total} states ({compared}), {len(cannot)} more that the kernel cannot express",
          not found and total >= STATES and min(compared.values()) >= STATES // 8,
          f"{len(found)} differences\n" + "\n".join(found[:20]))


def check_tests(kernel, image, check):
    with Machine(kernel, image) as machine:
        machine.boot()
        passed, cannot, failed = run_library_tests(machine, TESTS)
    for name, reason in cannot:
        print(f"        cannot run: {name}: {reason}")
    for name, text in failed:
        print(f"        {name}\n" + "\n".join(text))
    check(f"the library's tests: {passed} passed, {len(failed)} failed, {len(cannot)} cannot run on a kernel",
          passed > 100 and len(cannot) < 30 and not failed)


def check_day(kernel, image, check):
    with Machine(kernel, image) as machine:
        day.prepare(machine)
        machine.boot()
        day.run_day(machine, check)


def check_input(kernel, image, check):
    with Machine(kernel, image, memory="mem=64M@0 mem=15M@0x0f100000") as machine:
        machine.give("healthy", "four-source")
        machine.boot()
        bad_input.run_bad_input(machine, check)


def check_start(kernel, image, check):
    """How long a command takes from its start, against the shortest program there is."""
    with Machine(kernel, image) as machine:
        machine.give("healthy", "four-source")
        machine.boot()
        out = machine.do("lay-out /host/healthy\nkvrn-monitord --once --pid-file /run/pid\nkvrnctl get psu.3.voltage_mv\n"
                         f"time-runs {START_RUNS} /bin/true\ntime-runs {START_RUNS} /bin/kvrnctl get psu.3.voltage_mv")
    value, shortest, start = map(int, out.split())
    check(f"kvrnctl get psu.3.voltage_mv takes {start / shortest:.1f} x /bin/true ({start} and {shortest} us, medians of "
          f"{START_RUNS})", value == 25904 and start < START_LIMIT * shortest, out)


def check_openwrt(kernel, image, check):
    with Machine(kernel, image) as machine:
        openwrt.prepare(machine)
        machine.boot()
        openwrt.run_openwrt(machine, check)


CHECKS = {"states": check_states, "tests": check_tests, "day": check_day, "input": check_input, "start": check_start,
          "openwrt": check_openwrt}


def run(name, kernel, image):
    check = Results(name)
    start = time.monotonic()
    try:
        CHECKS[name](kernel, image, check)
    except Hang as hang:
        check(f"{name}: {hang}", False)
    except Exception as error:  # a check that breaks must not hide the others
        check(f"{name}: {type(error).__name__}: {error}", False)
    print(f"        ({name}: {time.monotonic() - start:.0f} s)", flush=True)
    return check


def main():
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("ended by a signal"))
    if sys.argv[1:] == ["--list"]:
        print(*CHECKS)
        return
    kernel, image, *names = sys.argv[1:]
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        results = list(pool.map(lambda name: run(name, kernel, image), names or list(CHECKS)))
    passed, failed = sum(result.passed for result in results), sum(result.failed for result in results)
    print(f"{passed} passed, {failed} failed")
    sys.exit(1 if failed else 0)


main()
