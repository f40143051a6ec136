# SPDX-License-Identifier: MIT
"""kvrnctl sensors, events and snmp dump: for people, as documents, as metrics, and as streams."""
import json
import os
import pathlib
import re
import shlex
import signal
import struct
import subprocess
import time
import unittest

from kvrnctl_device import SOURCE, Device, now, service_manager

GOLDEN = pathlib.Path(SOURCE, "tests/golden")

# Changes one after the other, and what NUT's status is then.
NO_MAINS = (
    ("set hwmon mon-battery curr1_input 4100", "OB DISCHRG"),
    ("set file /tmp/.battery_info '11 300 0 0'", "OB DISCHRG"),
    ("set file /tmp/.battery_info '11 299 0 0'", "OB LB DISCHRG"),
    ("set file /tmp/.battery_info '10 900 0 0'", "OB LB DISCHRG ALARM"),
    ("set file /tmp/.battery_info '80 0 0 0'", "OB DISCHRG"),
    ("set file /tmp/.lv_2_active 1", "OB LB DISCHRG ALARM"),
    ("unset /tmp/.lv_2_active", "OB DISCHRG"),
    ("set file /tmp/.lv_active 1", "OB LB DISCHRG ALARM"),
    ("unset /tmp/.lv_active", "OB DISCHRG"),
    ("unset /tmp/.battery_info", "OB LB DISCHRG ALARM"),  # the device too counts it as nearly empty
    ("set file /tmp/.battery_info '80 900 0 0'", "OB DISCHRG"),
    ("set gpio 100 busy", '""'),
    ("set gpio 100 1", '""'),  # no battery: nothing would run
)
NO_MAINS_TWO_BATTERIES = (
    ("set file /tmp/.battery_info '5 60 0 0'", "OB ALARM"),
    ("unset /tmp/.battery_info_1", "OB ALARM"),  # the smart battery measures its own charge
    ("set i2c 2-0b 0x0f 1000", "OB LB ALARM"),
    ("set gpio 211 busy", '""'),
    ("set gpio 212 0", "OL CHRG ALARM"),
)


def battery_record(device, name, flags):
    device.write("/etc/persistent/" + name, struct.pack(">iiI", 2, -1, flags).ljust(132, b"\0"))


def wait_for(condition):
    for _ in range(600):
        if condition():
            return
        time.sleep(0.1)
    raise AssertionError("it did not happen")


def four_source():
    device = Device("four-source")
    battery_record(device, "battery_data", 0x14)
    battery_record(device, "battery_data_1", 0x01)
    device.publish_outputs()
    return device


class Sensors(unittest.TestCase):
    def test_people_and_documents_see_the_same_snapshot(self):
        device = four_source()
        run = device.run("sensors")
        self.assertEqual(run.status, 0, run.err)
        for line in ("0       on        normal             on          53.800 V  0.850 A  45.7 W",
                     "Battery 2: estimated charge 87.0 %, run time 1 h 30 min, no battery error",
                     "Battery 3: estimated charge 78.0 %, run time 2 h 12 min, battery error"):
            self.assertIn(line + "\n", run.out)
        sensors = device.run("sensors", "--json").json()["sensors"]
        self.assertEqual([psu["type"] for psu in sensors["psus"]], ["input", "input", "battery", "battery"])
        self.assertEqual([(psu["estimated_charge_pct"], psu["estimated_time_s"], psu["error"])
                          for psu in sensors["psus"][2:]], [(87, 5400, False), (78, 7920, True)])
        self.assertEqual(sensors["outputs"][0]["voltage_mv"], 53800)

    def test_what_nobody_publishes_is_unknown_and_not_waited_for(self):
        device = Device("four-source")
        for path in ("/tmp/.battery_info", "/etc/persistent/battery_data"):
            device.sim("unset", device.root, path)
        start = time.monotonic()
        document = device.run("sensors", "--json").json()
        self.assertLess(time.monotonic() - start, 1.1)  # 1.2 s when each missing file is tried three times
        self.assertEqual((document["sensors"]["outputs"], document["outputs_source"]["reason"]), ([], "no such file"))
        battery = document["sensors"]["psus"][2]
        self.assertEqual([battery[key] for key in ("estimated_charge_pct", "estimated_time_s", "error")], [None] * 3)
        run = device.run("sensors")
        self.assertEqual(run.status, 0)
        self.assertIn("estimated charge unknown, run time unknown, health unknown\n", run.out)
        self.assertIn("Outputs: no readings (/tmp/.output_cache: no such file)\n", run.out)

    def test_metrics_and_variables_are_as_expected(self):
        for board in ("four-source", "three-source", "generic"):
            device = four_source() if board == "four-source" else Device(board)
            if board == "three-source":
                device.publish_outputs()
            for form, end in (("prometheus", "prom"), ("nut", "nut")):
                run = device.run("sensors", "--format", form)
                self.assertEqual((run.status, run.err), (0, ""))
                text = re.sub(r"(?m)^(kvrn_output_readings_age_seconds) \d$", r"\1 0", run.out)
                golden = GOLDEN / f"sensors_{board}.{end}"
                if os.environ.get("KVRN_UPDATE_GOLDEN"):
                    golden.write_text(text)
                self.assertEqual(text, golden.read_text())
        self.assertEqual(device.run("sensors", "--format", "prometheus", "--json").status, 2)

    def test_status_for_nut(self):
        for board, cases in (("three-source", NO_MAINS), ("four-source", NO_MAINS_TWO_BATTERIES)):
            device = Device(board)
            device.publish_outputs()
            for line in ("211", "212"):
                device.set("gpio", line, "1")
            for change, status in cases:
                verb, *words = shlex.split(change)
                device.sim(verb, device.root, *words)
                text = device.run("sensors", "--format", "nut").out
                self.assertIn(f"\nups.status: {status}\n", text, change)
        device.publish_psus(now() + 500)
        text = device.run("sensors", "--format", "nut").out
        self.assertIn('ups.alarm: "low-voltage.2, low-voltage.3 (no estimate), readings of the sources are not fresh"\nups.status: ""\n', text)
        self.assertEqual(re.findall(r"(?m)^(?:input|battery)[.\d]+(?:voltage|charge|runtime|current|status): [^\"]", text), [])

    def test_outputs_that_are_not_fresh_are_told_by_status_or_age(self):
        for stamp, words, age in ((now() - 60, r"[67]\d s old", r"[67]\d"), (now() + 500, r"stamped \d+ s in the future", None),
                                  (-1, "never refreshed", None), (0xFFFFFFFF, "never refreshed", None)):
            device = Device("four-source")
            device.publish_outputs(stamp)
            for command in (["sensors"], ["outputs"]):
                run = device.run(*command)
                self.assertEqual(run.status, 3, (command, words))
                self.assertRegex(run.out, rf"Source: cache /tmp/.output_cache, {words}\n")
                self.assertRegex(run.err, rf"not fresh \({words}\)")
            run = device.run("sensors", "--json")
            source = run.json()["outputs_source"]
            self.assertEqual((run.status, source["fresh"], source["age_s"] is None), (3, False, age is None))
            run = device.run("sensors", "--format", "prometheus")
            self.assertEqual((run.status, run.err), (0, ""))
            self.assertIn("\nkvrn_output_volts", run.out)
            ages = re.findall(r"\nkvrn_output_readings_age_seconds (.*)", run.out)
            self.assertRegex(" ".join(ages), f"^{age or ''}$")

    def test_sources_from_the_future_are_used_and_told(self):
        device = Device("four-source")
        device.publish_psus(now() + 500)
        run = device.run("psu")
        self.assertEqual(run.status, 0)
        self.assertRegex(run.out, r"Source: cache /tmp/.psu_info_cache, stamped \d+ s in the future\n")
        self.assertNotIn("kvrn_psu_readings_age", device.run("sensors", "--format", "prometheus").out)
        probes = device.run("doctor", "--json").json()["probes"]
        self.assertEqual([probe["stands_in"] for probe in probes if probe["where"] == "/tmp/.psu_info_cache"],
                         ["none: the library takes it as fresh"])


class Streams(unittest.TestCase):
    def start(self, device, *words, env=None):
        process = subprocess.Popen(device.command(*words), stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, env=env)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        return process

    def end(self, process):
        process.send_signal(signal.SIGTERM)
        out, err = process.communicate(timeout=60)
        self.assertEqual(process.returncode, 0, err)
        return out, err

    def test_a_file_holds_one_document_of_each_format(self):
        device = four_source()
        device.publish_outputs()
        folder = pathlib.Path(device.path("/tmp/out"))
        folder.mkdir()
        for words, start in ((["--json"], "{"), (["--format", "prometheus"], "# HELP"), (["--format", "nut"], "device"), ([], "20")):
            (folder / "file").write_text("old")
            run = device.run("sensors", *words, "--output", str(folder / "file"))
            self.assertEqual((run.status, run.out, run.err), (0, "", ""))
            self.assertTrue((folder / "file").read_text().startswith(start))
            self.assertEqual(((folder / "file").stat().st_mode & 0o777, os.listdir(folder)), (0o644, ["file"]))
        for path in (folder, folder / "none/file"):
            self.assertEqual(device.run("sensors", "--output", str(path)).status, 1)

    def test_a_failed_write_leaves_the_old_file_and_is_told_once(self):
        device = four_source()
        os.remove(device.full_tmp())
        file = pathlib.Path(device.path("/tmp/file"))
        file.write_text("old")
        filler = device.full_tmp()
        before = os.listdir(device.path("/tmp"))
        process = self.start(device, "sensors", "--json", "--output", str(file), "--every", "0.1")
        self.assertIn("No space left", process.stderr.readline())
        time.sleep(1)
        self.assertEqual((file.read_text(), sorted(os.listdir(device.path("/tmp")))), ("old", sorted(before)))
        os.remove(filler)
        wait_for(lambda: file.read_text() != "old")
        self.assertEqual(self.end(process), ("", ""))
        device.full_tmp()
        self.assertEqual(device.run("sensors", "--format", "nut", "--output", str(file)).status, 1)
        self.assertFalse(file.exists())  # no reader could tell its age

    def test_a_service_manager_hears_of_each_wait(self):
        with service_manager(400_000) as (manager, env):
            process = self.start(four_source(), "sensors", "--every", "3600", env={**os.environ, **env})
            manager.settimeout(20)
            self.assertEqual([manager.recv(64) for _ in range(3)], [b"WATCHDOG=1"] * 3)
            self.end(process)

    def test_every_document_is_a_line_and_says_when_it_is_old(self):
        device = four_source()
        device.publish_outputs(now() - 8)
        process = self.start(device, "sensors", "--json", "--every", "0.5")
        fresh = []
        while not fresh or fresh[-1]:
            document = json.loads(process.stdout.readline())
            fresh.append(document["outputs_source"]["fresh"])
        self.assertTrue(fresh[0])
        self.assertIn("are not fresh\n", process.stderr.readline())
        process.stdout.readline()
        process.stdout.readline()
        self.assertEqual(self.end(process)[1], "")  # told once
        self.assertRegex(document["time"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ$")
        self.assertIn("kvrn_output_readings_fresh 0\n", device.run("sensors", "--format", "prometheus").out)

    def test_events_tell_an_outage_and_end_with_their_reader(self):
        device = Device("three-source")
        process = self.start(device, "events", "--json", "--every", "0.2", "-v")
        self.assertIn("values from now on", process.stderr.readline())
        device.set("gpio", "212", "1")
        device.set("file", "/tmp/.ac_outage_check", "1")
        events = {}
        while len(events) < 3:
            event = json.loads(process.stdout.readline())["event"]
            events[event["subject"]] = event["from"], event["to"]
        self.assertEqual(events, {"psu.1.state": ("mains on", "no mains"), "alarms.ac-outage.value": (0, 1),
                                  "state.code": (11, 7)})
        process.stdout.close()
        self.assertEqual(process.wait(timeout=60), 0)
        self.assertEqual(process.stderr.read(), "")

    def test_events_leave_out_what_is_unknown_for_one_look(self):
        device = Device("three-source")
        record = pathlib.Path(device.path("/tmp/.ac_outage_check"))
        process = self.start(device, "events", "--every", "1", "-v")
        process.stderr.readline()
        record.symlink_to("loop")
        pathlib.Path(device.path("/tmp/loop")).symlink_to("loop")
        self.assertIn("Too many levels", process.stderr.readline())
        record.unlink()
        record.write_text("1")
        line = process.stdout.readline()
        self.assertRegex(line, r"^20\S+Z alarms.ac-outage.value: 0 -> 1 \(1 a mains input failed\)\n$")
        record.unlink()
        record.symlink_to("loop")
        self.assertRegex(process.stdout.readline(), r"alarms.ac-outage.value: 1 -> unknown\n$")
        self.end(process)


def walked(line):
    """A line of a golden listing as snmpwalk -On writes it, without the ticks' words."""
    oid, kind, value = line.split(" ", 2)
    if kind == "TimeTicks":
        return f".{oid} = Timeticks: ({value})"
    return f".{oid} = " + (value if value == '""' else f"{kind}: {'.' if kind == 'OID' else ''}{value}")


class Dump(unittest.TestCase):
    def test_is_the_tree_in_the_order_of_a_walk(self):
        device = four_source()
        battery_record(device, "battery_data_1", 0)
        run = device.run("snmp", "dump")
        self.assertEqual((run.status, run.err), (0, ""))
        listing = (GOLDEN / "snmp_four-source.txt").read_text().splitlines()
        listing.sort(key=lambda line: [int(arc) for arc in line.split()[0].split(".")])
        self.assertEqual([line.split(") ")[0] + ")" if ") " in line else line for line in run.out.splitlines()],
                         [walked(line) for line in listing])
        self.assertIn(" = Timeticks: (540000) 1:30:00.00\n", run.out)

    def test_document_keeps_the_bytes_of_what_is_no_text(self):
        device = four_source()
        device.write("/etc/version", b"1.\xff\n")
        objects = {entry["oid"]: entry for entry in device.run("snmp", "dump", "--json").json()["objects"]}
        root = ".1.3.6.1.4.1.47474.1"
        self.assertEqual(objects[root + ".5.1.3.0"]["hex"], "31 2E FF")
        self.assertEqual(objects[root + ".5.1.1.0"], {"oid": root + ".5.1.1.0", "type": "STRING", "value": "QP4-eu"})
        self.assertEqual(objects[root + ".5.3.2.1.6.4"]["value"], 25000)
        self.assertEqual(device.run("snmp").status, 2)
