# SPDX-License-Identifier: MIT
"""The MIB module as smilint and net-snmp read it, and whether it describes every object that the library serves."""
import glob
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree

SOURCE = os.environ["KVRN_SOURCE"]
MODULE = "KVRN-Quorvex-MIB"
MIB = f"{SOURCE}/mibs/{MODULE}"
STUBS = f"{SOURCE}/tests/mibs"
# Listings of devices as they are; the odd ones hold numbers that no device has.
LISTINGS = [path for path in glob.glob(f"{SOURCE}/tests/golden/snmp_*.txt") if "_odd" not in path]
ROOT = "1.3.6.1.4.1.47474"

# What the fixed layout forces; docs/snmp.md explains it.
ALLOWED = sorted(
    f"warning: index element `{index}' of row `{row}' should be not-accessible in SMIv2 MIB"
    for index, row in (("kvrnModuleIndex", "kvrnModuleEntry"), ("kvrnPsuIndex", "kvrnPsuEntry"),
                       ("kvrnTempIndex", "kvrnTempEntry")))

# Numbers that count nothing.
NO_UNITS = {"kvrnModuleIndex", "kvrnOutputConstant", "kvrnOutputRow", "kvrnPsuIndex", "kvrnPsuTimeRemaining",
            "kvrnTempIndex", "kvrnReservedCount"}

TYPES = {"Integer32": "INTEGER", "Enumeration": "INTEGER", "Gauge32": "Gauge32", "TimeTicks": "TimeTicks",
         "DisplayString": "OCTET STRING", "AutonomousType": "OBJECT IDENTIFIER"}
LISTED_TYPES = {"STRING": "OCTET STRING", "OID": "OBJECT IDENTIFIER"}


def run(*command):
    """Runs a reader without this user's and this machine's settings. Returns (output, errors)."""
    with tempfile.TemporaryDirectory(prefix="kvrn-mib-") as folder:
        environment = {"PATH": os.environ["PATH"], "HOME": folder, "SNMPCONFPATH": folder, "SNMP_PERSISTENT_DIR": folder,
                       "SMIPATH": STUBS, "MIBS": "", "LC_ALL": "C"}
        os.mkdir(folder + "/cert_indexes")  # or net-snmp says that it makes one
        done = subprocess.run(command, capture_output=True, text=True, env=environment, cwd=folder, timeout=60)
    return done.stdout, done.stderr


def translate(*words):
    text, errors = run("snmptranslate", "-Pw", "-M", f"{STUBS}:{SOURCE}/mibs", "-m", MODULE, *words)
    # Its warnings include a remark on each macro that a base module defines.
    return text, re.sub(r"^\S+ MACRO \(.*parsed and ignored\)\.\n", "", errors, flags=re.M)


class Object:
    def __init__(self, element):
        self.name, self.oid = element.get("name"), element.get("oid")
        self.is_scalar = element.tag == "scalar"
        self.access = element.findtext("access")
        self.units = element.findtext("units")
        self.description = element.findtext("description") or ""
        named = element.find("syntax//parent") if element.find("syntax//parent") is not None else element.find("syntax/type")
        definition = element.find("syntax/typedef")
        self.type = TYPES[named.get("name") if named is not None else definition.get("basetype")]
        self.names = {int(number.get("number")) for number in element.findall("syntax//namednumber")}
        self.ranges = [(int(part.get("min")), int(part.get("max"))) for part in element.findall("syntax//range")]

    def allows(self, text):
        if self.type in ("OCTET STRING", "OBJECT IDENTIFIER"):
            return True
        value = int(text)
        if self.names:
            return value in self.names
        return not self.ranges or any(low <= value <= high for low, high in self.ranges)


def module():
    text, errors = run("smidump", "-q", "-c", "/dev/null", "-f", "xml", MIB)
    assert errors == "", errors
    return ElementTree.fromstring(text)


def objects():
    tree = module()
    return [Object(element) for kind in ("scalar", "column") for element in tree.iter(kind)]


@unittest.skipUnless(shutil.which("smilint"), "smitools is not installed")
class Module(unittest.TestCase):
    def test_smilint_finds_only_what_the_layout_forces(self):
        text, errors = run("smilint", "-c", "/dev/null", "-l", "6", MIB)
        found = [re.sub(r"^\S+:\d+: ", "", line) for line in (text + errors).splitlines()]
        self.assertEqual(sorted(found), ALLOWED)

    def test_nothing_can_be_written_and_every_number_has_a_unit_or_names(self):
        for each in objects():
            with self.subTest(each.name):
                only_sent = each.name.startswith("kvrnNotification")
                self.assertEqual(each.access, "noaccess" if each.name == "kvrnOutputRow" else
                                 "notifyonly" if only_sent else "readonly")
                self.assertTrue(each.description.strip())
                if each.type not in ("OCTET STRING", "OBJECT IDENTIFIER"):
                    self.assertTrue(each.units or each.names or each.name in NO_UNITS)

    def test_describes_every_object_that_the_library_serves(self):
        known = {each.oid: each for each in objects()}
        served = set()
        for path in LISTINGS:
            for line in pathlib.Path(path).read_text().splitlines():
                oid, kind, value = line.split(" ", 2)
                with self.subTest(file=os.path.basename(path), line=line):
                    column, _, row = oid.rpartition(".")
                    self.assertIn(column, known)
                    entry = known[column]
                    served.add(entry.name)
                    self.assertEqual(row == "0", entry.is_scalar)
                    self.assertEqual(LISTED_TYPES.get(kind, kind), entry.type)
                    self.assertTrue(entry.allows(value), "a value that the module does not allow")
        self.assertEqual(served, {each.name for each in known.values() if each.access == "readonly"})

    def test_describes_what_notifications_carry(self):
        carried = {each.get("name"): [part.get("name") for part in each.iter("object")]
                   for each in module().iter("notification")}
        lines = pathlib.Path(f"{SOURCE}/tests/golden/notifications_outage.txt").read_text().splitlines()
        for name, variables in zip(lines, lines[1:]):
            if not name.startswith("kvrn"):
                continue
            sent = [variable.split(".")[0].strip() for variable in variables.split(";")[:-1]]
            self.assertEqual(sent + ["kvrnNotificationText"], carried[name.split(":")[0]], name)


@unittest.skipUnless(shutil.which("snmptranslate"), "snmp is not installed")
class NetSnmp(unittest.TestCase):
    def test_reads_the_module_without_a_word_and_translates_both_ways(self):
        tree, errors = translate("-Tp", "." + ROOT)
        self.assertEqual((errors, "Index: kvrnOutputRow" in tree), ("", True))
        for name, oid in (("kvrnModuleName.1", "1.1.1.3.1"), ("kvrnBoardName.0", "1.5.1.1.0"),
                          ("kvrnOutputCount.0", "1.5.2.1.0"), ("kvrnOutputPower.3", "1.5.2.2.1.4.3"),
                          ("kvrnPsuInstallDate.4", "1.5.3.2.1.12.4"), ("kvrnTempValue.1", "1.5.4.2.1.3.1"),
                          ("kvrnReservedCount.0", "1.5.5.1.0")):
            self.assertEqual(translate("-On", f"{MODULE}::{name}"), (f".{ROOT}.{oid}\n", ""))
            self.assertEqual(translate(f".{ROOT}.{oid}"), (f"{MODULE}::{name}\n", ""))
