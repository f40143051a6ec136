# SPDX-License-Identifier: MIT
"""monitoring.py files: compares the files of monitoring/ with each other, with the generator and with docs/fleet.md.
monitoring.py scrape: lets the exporters collect a simulated device, and looks for every metric of the rules."""
import os
import pathlib
import re
import subprocess
import sys
import tempfile

import yaml

from exporters import DOCUMENT, FOLDER, documented_access, fetch, server, suffix
from snmpd import QUIET, Master, serving
from walk import PSU_COUNT, SIM, agent_command, make_device

WAYS = ("snmp", "files")
LEVELS = ("critical", "warning", "info")


def load(name):
    return yaml.safe_load((FOLDER / name).read_text(encoding="utf-8"))


def rules(way):
    return [rule for group in load(f"kvrn-{way}.rules.yml")["groups"] for rule in group["rules"]]


def check_generated():
    """The installed generator knows one of the two formats. The other file must hold the same module."""
    with tempfile.TemporaryDirectory() as folder:
        pathlib.Path(folder, "generator.yml").write_bytes((FOLDER / f"generator{suffix()}.yml").read_bytes())
        mibs = ":".join(str(pathlib.Path(name).resolve()) for name in ("tests/mibs", "mibs"))
        subprocess.run(["prometheus-snmp-generator", "generate"], cwd=folder, check=True, capture_output=True,
                       env={**os.environ, **QUIET, "MIBDIRS": mibs})
        if yaml.safe_load(pathlib.Path(folder, "snmp.yml").read_text(encoding="utf-8")) != load(f"snmp{suffix()}.yml"):
            return [f"snmp{suffix()}.yml is not what the generator makes of generator{suffix()}.yml"]
    old, new = load("snmp-0.22.yml")["kvrn"], load("snmp.yml")
    user = old.pop("auth") | {"version": old.pop("version")}
    # The newer generator writes the default community next to the user of version 3.
    if old != new["modules"]["kvrn"] or {"community": "public"} | user != new["auths"]["kvrn"]:
        return ["snmp.yml and snmp-0.22.yml differ in more than their format"]
    return []


def check_tests(way):
    """Every alert fires in a test, at each of its levels, and is silent in another."""
    cases = [case for test in load(f"tests/kvrn-{way}.test.yml")["tests"] for case in test["alert_rule_test"]]
    seen = {(case["alertname"], alert["exp_labels"]["severity"])
            for case in cases for alert in case.get("exp_alerts", [])}
    seen |= {(case["alertname"], None) for case in cases if not case.get("exp_alerts")}
    wanted = {(rule["alert"], level) for rule in rules(way) if "alert" in rule
              for level in (rule["labels"]["severity"], None)}
    return [f"kvrn-{way}.test.yml: {name} is never {level or 'silent'}"
            for name, level in sorted(wanted - seen, key=str)]


def documented():
    """The alerts of the document's tables with their levels: for both ways, and those that only the files have."""
    text = DOCUMENT.read_text(encoding="utf-8").split("## What to alarm on", 1)[1]
    shared, files = text.split("## Prometheus", 1)

    def table(part):
        return {(name, level) for name, row in re.findall(r"^\| (Kvrn\w+) \|(.*)$", part, re.M)
                for level in LEVELS if re.search(rf"\b{level}\b", row.split(" | ")[2])}

    return {"snmp": table(shared), "files": table(shared) | table(files)}


def check_document():
    faults, tables = [], documented()
    for way in WAYS:
        own = {(rule["alert"], rule["labels"]["severity"]) for rule in rules(way) if "alert" in rule}
        faults += [f"{DOCUMENT.name}: {name}, {level}, over {way}: only here or only in the rules"
                   for name, level in sorted(own ^ tables[way])]
    text = DOCUMENT.read_text(encoding="utf-8")
    faults += [f"{DOCUMENT.name}: names {name}, which does not exist"
               for name in set(re.findall(r"`monitoring/([\w.-]+)`", text)) if not (FOLDER / name).exists()]
    script = (FOLDER / "kvrn-textfile").read_text(encoding="utf-8")
    quoted = re.search(r"<!-- monitoring/kvrn-textfile -->\n\n((?:    .*\n|\n)+)", text)
    if not quoted or re.sub(r"(?m)^    ", "", quoted[1]).strip() != script.strip():
        faults.append(f"{DOCUMENT.name}: does not quote kvrn-textfile as it is")
    return faults


def metrics(way):
    """The device's metrics in the expressions, without labels and what the rules themselves record."""
    text = " ".join(rule["expr"] for rule in rules(way))
    text = re.sub(r"\b(on|by) \([^)]*\)|\{[^}]*\}", " ", text)
    return {name for name in re.findall(r"(?<![\w:])(?:kvrn|node_)\w+(?![\w:(])", text)}


def missing(way, answer):
    found = set(re.findall(r"^(\w+)", answer, re.M))
    faults = [f"{way}: no {name} in the exporter's answer" for name in sorted(metrics(way) - found)]
    print(f"{way}: {len(metrics(way))} metrics of the rules, {len(faults)} of them missing")
    return faults


def scrape_snmp(folder, root):
    with Master(documented_access()) as master, \
            server(folder, "prometheus-snmp-exporter", f"--config.file={FOLDER}/snmp{suffix()}.yml") as (address, _):
        url = f"http://{address}/snmp?module=kvrn&auth=kvrn&target={master.address}"
        with serving(master.start(), agent_command(root, master), *PSU_COUNT):
            faults = missing("snmp", fetch(url))
        # KvrnNoReadings counts on this: without the agent the scrape succeeds, and has no objects.
        if "kvrnPsuCount" in fetch(url):
            faults.append("snmp: objects without an agent")
    return faults


def scrape_files(folder, root):
    subprocess.run([*SIM, root, "--", "sh", FOLDER / "kvrn-textfile", folder], check=True)
    with server(folder, "prometheus-node-exporter", "--collector.disable-defaults", "--collector.textfile",
                  f"--collector.textfile.directory={folder}") as (address, _):
        return missing("files", fetch(f"http://{address}/metrics"))


def main(part):
    if part == "files":
        faults = check_generated() + [fault for way in WAYS for fault in check_tests(way)] + check_document()
    else:
        with tempfile.TemporaryDirectory() as folder:
            root = make_device(folder)
            faults = scrape_snmp(folder, root) + scrape_files(folder, root)
    if faults:
        sys.exit("\n".join(faults))
    print(f"{part}: no fault")


main(*sys.argv[1:])
