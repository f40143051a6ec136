# SPDX-License-Identifier: MIT
"""kvrnctl outputs, budget, alarms, state, charge, capacity, watch."""
import os
import time
import unittest

from kvrnctl_device import Device, now


class Power(unittest.TestCase):
    def test_outputs_come_from_the_cache_with_their_age(self):
        device = Device("three-source")
        document = device.run("outputs", "--json").json()
        self.assertEqual(document["source"]["kind"], "direct")
        self.assertIsNone(document["outputs"][0]["state"])
        device.publish_outputs(now() - 3, states=(0, 1, 4))
        document = device.run("outputs", "--json").json()
        self.assertEqual([output["state"] for output in document["outputs"]], ["normal", "shed", "idle"])
        self.assertIn(document["source"]["age_s"], (3, 4))
        with open(device.path("/tmp/.output_cache"), "r+b") as file:
            file.seek(48 + 12)
            file.write(bytes(4))  # the third output is off: its load is no state
        self.assertEqual(device.run("get", "outputs.2.state").out, "off\n")

    def test_budget_and_state(self):
        device = Device("three-source")
        budget = device.run("budget", "--json").json()["budget"]
        self.assertEqual((budget["available_mw"], budget["charging_mw"]), (480000, 10000))
        self.assertEqual(budget["free_mw"], 480000 - budget["drawn_mw"])
        self.assertEqual(device.run("state", "--json").json()["state"]["code"], 11)
        for line in ("211", "212"):
            device.set("gpio", line, "1")
        device.set("hwmon", "mon-battery", "curr1_input", "4100")
        self.assertEqual(device.run("get", "budget.charging_mw").out, "0\n")
        self.assertEqual(device.run("get", "psu.2.state").out, "discharging\n")
        device.set("file", "/tmp/.dc-problem1", "1")
        self.assertIn("9  output stopped by its protection\n", device.run("state").out)
        self.assertEqual(Device("generic").run("budget").status, 4)

    def test_an_image_that_cannot_be_used_is_named(self):
        device = Device("four-source")
        os.mkdir(device.path("/tmp/.psu_info_cache"))
        os.symlink("loop", device.path("/etc/persistent/loop"))
        device.sim("unset", device.root, "/etc/persistent/battery_data")
        os.symlink("loop", device.path("/etc/persistent/battery_data"))
        for command in ("budget", "state"):
            self.assertIn("(/tmp/.psu_info_cache: Is a directory)", device.run(command).out)
            self.assertIn("Is a directory", device.run(command, "--json").json()["source"]["reason"])
        self.assertEqual(device.run("capacity", "--json").json()["errors"],
                         ["PSU 2 battery data: /etc/persistent/battery_data: Too many levels of symbolic links"])

    def test_an_alarm_that_cannot_be_stored_is_an_error(self):
        device = Device("three-source")
        os.remove(device.full_tmp())
        self.assertEqual(device.run("alarms", "set", "output-protection.1", "1").status, 0)
        device.full_tmp()
        for name, value, kept in (("output-protection.0", 3, 0), ("output-config.0", 2, 0), ("insufficient-power", 1, 0),
                                  ("overload-request.0", 0, 1)):
            run = device.run("alarms", "set", name, str(value), "--json")
            self.assertEqual((run.status, run.json()["alarm"]["value"]), (1, kept), name)
            self.assertIn(f"{name} cannot be set, it is {kept}", run.err)
        os.chmod(device.path("/tmp/.dc-problem1"), 0o200)
        run = device.run_by_mode("alarms", "set", "output-protection.1", "1", "--json")
        self.assertEqual((run.status, run.json()["alarm"]["value"]), (1, None))

    def test_alarms_are_set_by_name(self):
        for board in ("four-source", "generic", "ar724x", "three-source"):
            device = Device(board)
            raised = {alarm["name"] for alarm in device.run("alarms", "--json").json()["alarms"] if alarm["raised"]}
            self.assertEqual(raised, set(), board)  # a healthy device
        device.sim("unset", device.root, "/tmp/.battery_info")
        self.assertIn("no program publishes an estimate", device.run("alarms").out)
        self.assertIn("output-config.0 to output-config.2", device.run("alarms", "set", "output-config", "1").err)
        self.assertIn("did you mean 'overload-request'?", device.run("alarms", "set", "overlaod-request.0", "1").err)
        self.assertEqual(device.run("alarms", "set", "output-protection.1", "1", "--dry-run").status, 0)
        self.assertEqual(device.run("alarms", "--json").json()["alarms"][0]["value"], 0)
        self.assertEqual(device.run("alarms", "set", "output-protection.1", "1").status, 0)
        alarms = {alarm["name"]: alarm["value"] for alarm in device.run("alarms", "--json").json()["alarms"]}
        self.assertEqual((alarms["overload"], alarms["output-protection.1"]), (2, 1))
        for status, words in ((2, ["overload", "1"]), (2, ["nothing", "1"]), (4, ["output-protection.7", "1"]),
                              (2, ["output-protection", "1"]), (2, ["insufficient-power.0", "1"]),
                              (0, ["overload-request.1", "0"]), (0, ["output-config.2", "0"])):
            self.assertEqual(device.run("alarms", "set", *words).status, status, words)

    def test_check_answers_as_a_monitoring_plugin(self):
        device = Device("three-source")

        def check(status, text, *words):
            run = device.run("alarms", "--check", *words)
            self.assertEqual((run.status, run.err), (status, ""))
            self.assertRegex(run.out, r"^KVRN \w+ - [^|]+( \|( '\w+'=-?[\d.]+%?(;[\d.]*){0,4})+)?\n$")
            self.assertEqual(run.out.split(" | ")[0].replace("61 s", "60 s"), "KVRN " + text)
            return run.out

        out = check(0, "OK - charging with the highest current")
        self.assertIn(" 'psu2_voltage'=51.9 ", out)
        self.assertIn(" 'psu2_estimated_charge'=87%;;;0;100 ", out)
        device.set("gpio", "212", "1")
        check(1, "WARNING - PSU 1 no mains")
        device.set("file", "/tmp/.overload_check_1", "1")
        check(1, "WARNING - PSU 1 no mains, output-overload.1=1")
        device.set("file", "/tmp/.overload_check_1", "0")
        device.publish_outputs(now() - 60)
        check(1, "WARNING - PSU 1 no mains, the readings of the outputs are not fresh (60 s old)")
        check(3, "UNKNOWN - the readings of the outputs are not fresh (60 s old)", "--ignore", "psu.1")
        device.publish_outputs(states=(3, 2, 0))
        check(2, "CRITICAL - output 0 protected, output 1 overload", "--ignore", "psu.1")
        device.set("gpio", "211", "1")
        check(2, "CRITICAL - PSU 0 no mains", "--ignore", "psu.1", "--ignore", "outputs")
        for words in (["--json"], ["--ignore", "pus.1"], ["set", "insufficient-power", "1"]):
            self.assertEqual(device.run("alarms", "--check", *words).status, 2, words)
        run = Device("generic").run("alarms", "--check")
        self.assertEqual((run.status, run.out), (1, "KVRN WARNING - PSU 1 no mains\n"))

    def test_charge(self):
        device = Device("four-source")
        run = device.run("charge", "current", "667", "--psu", "3", "--dry-run")
        self.assertEqual(run.out, "would drive line 207 to 1\nwould drive line 213 to 0\n")
        self.assertEqual(device.run("charge", "current", "667", "--psu", "3").status, 0)
        self.assertEqual(device.sim("get", device.root, "gpio", "207").split()[0], "1")
        shown = device.run("charge", "show", "--psu", "3", "--json").json()["charge"]
        self.assertEqual([(entry["current_ma"], entry["in_use"]) for entry in shown["currents"]],
                         [(1500, False), (667, True), (334, False)])
        self.assertEqual((shown["charger_enabled"], shown["charging"]), (True, True))
        self.assertEqual(device.run("charge", "enable", "off").out, "the charger of battery 2 is switched off\n")
        self.assertEqual(device.sim("get", device.root, "gpio", "109").split()[0], "1")
        self.assertEqual(device.run("charge", "current", "5").status, 2)
        self.assertEqual(Device("three-source").run("charge", "show", "--psu", "3").status, 4)

    def test_capacity_and_watch(self):
        device = Device("four-source")
        device.set("file", "/tmp/.battery_info", "57 3600 1 2")
        capacity = device.run("capacity", "--json").json()["capacity"]
        self.assertEqual(capacity["capacity_mah"], 20000)
        self.assertEqual([battery["estimated_charge_pct"] for battery in capacity["batteries"]], [57, 78])
        watch = device.run("watch", "--count", "2", "--period", "0.1")
        self.assertEqual(watch.status, 0)
        self.assertEqual(watch.out.count("Charge 3 [#######################.......] 78.0 %"), 2)
        self.assertNotIn("\033", watch.out)
        for period in ("nan", "inf", "-1", "0", "1e9"):
            self.assertEqual(device.run("watch", "--count", "1", "--period", period).status, 2, period)

    def test_watch_keeps_its_period_without_battery_files(self):
        device = Device("four-source")  # with these files missing the library takes 600 ms for a battery's state
        for path in ("/tmp/.battery_info", "/tmp/.battery_info_1"):
            device.sim("unset", device.root, path)
        device.set("gpio", "110", "0")
        start = time.monotonic()
        self.assertEqual(device.run("watch", "--count", "4", "--period", "1.3").status, 0)
        self.assertLess(time.monotonic() - start, 3 * 1.3 + 4)  # a view takes 1.2 s: 8.7 s with whole rests between them
        self.assertIn("low-voltage.2", {alarm["name"] for alarm in device.run("alarms", "--json").json()["alarms"]
                                        if alarm["raised"]})
