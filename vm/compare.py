# SPDX-License-Identifier: MIT
"""The simulator against the kernel: on the same states, kvrnctl's documents and the SNMP table are the same bytes."""
import concurrent.futures
import os
import re
import subprocess
import tempfile

from states import PROFILES, State, hand_over

COMMANDS = [f"{name} --json" for name in ("psu", "outputs", "board", "budget", "sensors", "state")] + ["snmp dump"]
BATCH = 25
CANNOT = 3  # lay-out's status where the kernel has nothing that behaves so

# On the machine: every state of a batch is laid out, and every command run on it.
LOOP = """
for state in /host/states/*; do
  name=${{state##*/}}
  lay-out "$state" 2>/host/answers/$name.why || {{ echo $? >/host/answers/$name.cannot; continue; }}
{commands}
done
"""
STEP = '  {{ kvrnctl {command}; echo "status $?"; }} >/host/answers/$name.{number} 2>&1'


def without_ages(text):
    text = re.sub(r'("age_s": |"uptime_s": )-?\d+', r"\1AGE", text)
    return re.sub(r"-?\d+ s old", "AGE s old", text)


def on_simulator(state):
    answers = []
    for command in COMMANDS:
        state.stamp()
        done = subprocess.run(["kvrn-sim", "run", state.root, "--", "kvrnctl", *command.split()], text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, errors="surrogateescape")
        answers.append(without_ages(f"{done.stdout}status {done.returncode}\n"))
    return answers


def on_kernel(machine, states):
    """@return by state the answers, or a text that says why the kernel cannot express it"""
    subprocess.run(["rm", "-rf", machine.share + "/states", machine.share + "/answers"], check=True)
    os.makedirs(machine.share + "/answers")
    for state in states:
        hand_over(state.root, f"{machine.share}/states/{os.path.basename(state.root)}")
    steps = "\n".join(STEP.format(command=command, number=number) for number, command in enumerate(COMMANDS))
    job = machine.run(LOOP.format(commands=steps), 60 + 20 * len(states))
    if job.status != 0:
        raise AssertionError(job.err)
    answers = {}
    for state in states:
        name = f"{machine.share}/answers/{os.path.basename(state.root)}"
        if os.path.exists(name + ".cannot"):
            why = open(name + ".why").read().strip()
            if int(open(name + ".cannot").read()) != CANNOT:
                raise AssertionError(f"{state.root}: {why}")
            answers[state.root] = why
            continue
        texts = []
        for number in range(len(COMMANDS)):
            with open(f"{name}.{number}", errors="surrogateescape") as file:
                texts.append(without_ages(file.read()))
        answers[state.root] = texts
    return answers


def differences(state, simulated, kernel):
    found = []
    for command, left, right in zip(COMMANDS, simulated, kernel):
        if left == right:
            continue
        pairs = [(a, b) for a, b in zip(left.splitlines(), right.splitlines()) if a != b]
        first = pairs[0] if pairs else (f"{len(left)} bytes", f"{len(right)} bytes")
        found.append(f"{state.root} ({state.profile}) kvrnctl {command}: simulator {first[0].strip()!r}, "
                     f"kernel {first[1].strip()!r}")
    return found


def compare(machine, wanted, report):
    """Compares states until `wanted` of them were expressible. @return (number by profile, not expressible, differences)"""
    compared, cannot, found, number = dict.fromkeys(PROFILES, 0), [], [], 0
    with tempfile.TemporaryDirectory(prefix="kvrn-states-") as folder, \
            concurrent.futures.ThreadPoolExecutor(1) as host:
        while sum(compared.values()) < wanted and number < 2 * wanted:
            count = min(BATCH, wanted - sum(compared.values()))
            # The first of each profile stays healthy.
            states = [State(folder, n) if n < len(PROFILES) else State(folder, n).change()
                      for n in range(number, number + count)]
            number += count
            simulated = host.submit(lambda states=states: {state.root: on_simulator(state) for state in states})
            kernel = on_kernel(machine, states)
            simulated = simulated.result()
            for state in states:
                if isinstance(kernel[state.root], str):
                    cannot.append(kernel[state.root])
                    continue
                compared[state.profile] += 1
                found += differences(state, simulated[state.root], kernel[state.root])
            report(f"{sum(compared.values())} states")
    return compared, cannot, found
