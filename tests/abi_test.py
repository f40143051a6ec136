# SPDX-License-Identifier: MIT
"""What the check of the interface must notice, on copies of the headers with one change each."""
import os
import pathlib
import shutil
import tempfile
import unittest

import abi
from version_script import Node

SOURCE, LIBRARY = pathlib.Path(os.environ["KVRN_SOURCE"]), os.environ["KVRN_BUILD"] + "/lib/libkvrn.so"
SCRIPT = "cmake/libkvrn.map"
PSU, CFG, SNMP, EXPORT = (f"include/kvrn/{name}.h" for name in ("psu", "cfg", "snmp", "export"))
# file, text, its replacement, what is said; "" if programs that are built already go on working
CHANGES = (
    (SCRIPT, "get_psu_count;", "", "[D] 'function int get_psu_count"),
    (PSU, "int get_psu_count(void)", "int get_psu_count(int all)", "parameter 1 of type 'int' was added"),
    (PSU, "kvrn_be_u32 smart_battery;", "kvrn_be_u16 smart_battery;", "type size changed from 32 to 16"),
    (PSU, "int8_t supply_temp_c;  ", "int8_t supply_temp_c, more[8];", "kvrn_psu_info_image"),
    (CFG, "char* value;  ", "long value;  ", "type of 'char* value' changed"),
    (CFG, "FILE* stream", "int stream", "parse_stream"),
    (PSU, "KVRN_PSU_STATUS_USABLE = 0x40", "KVRN_PSU_STATUS_USABLE = 0x04", "KVRN_PSU_STATUS_USABLE was 64, and is 4"),
    (PSU, "KVRN_CHARGING_OPTIONS 5", "KVRN_OPTIONS 5", "KVRN_CHARGING_OPTIONS was 5, and is gone"),
    (SNMP, "odb_destroy(void* host)", "odb_destroy(void* host, int all)", "odb_destroy"),  # the host defines it
    (PSU, "int is_ac_connected(int input)", "int is_ac_connected(int number)", ""),
    (PSU, "KVRN_API int is_ac_connected", "KVRN_API int more(void);\n/** Text. */\nKVRN_API int is_ac_connected", ""),
    (PSU, "KVRN_PSU_TYPE_EMPTY = 0,", "KVRN_PSU_TYPE_EMPTY = 0, KVRN_PSU_TYPE_SOLAR = 3,", ""),
)


@unittest.skipUnless(os.environ.get("CI") or shutil.which("abidw"), "no libabigail")
class Interface(unittest.TestCase):
    def described(self, folder, file, old="", new=""):
        root = pathlib.Path(tempfile.mkdtemp(dir=folder))
        for part in ("include", "cmake"):
            shutil.copytree(SOURCE / part, root / part)
        # The headers assert many of their layouts, but not all.
        for path, before, after in ((EXPORT, "_Static_assert(condition", "_Static_assert(1"), (file, old, new)):
            text = (root / path).read_text()
            self.assertIn(before, text)
            (root / path).write_text(text.replace(before, after, 1))
        return abi.described(abi.compiled(root, LIBRARY, "native"))

    def test_changes(self):
        with tempfile.TemporaryDirectory() as folder:
            before = self.described(folder, SCRIPT)
            for file, old, new, told in CHANGES:
                with self.subTest(old, new=new):
                    text = abi.broken(before, self.described(folder, file, old, new))
                    self.assertIn(told, text) if told else self.assertEqual(text, "")


class Nodes(unittest.TestCase):
    def test_new_names_need_a_new_node_that_inherits_the_last_one(self):
        old, new = Node("KVRN_1.0", ["a"], ""), Node("KVRN_1.1", ["b"], "KVRN_1.0")
        for nodes, names, project, released, told in (
                ([old], {"a": "KVRN_1.0"}, "1.0.0", [], ""),
                ([old], {"b": "KVRN_1.0"}, "1.0.1", ["1.0.0"], "VERSION 1.1.0;"),
                ([old], {"b": "KVRN_1.0"}, "1.1.0", ["1.0.0"], "VERSION 1.1.0;"),
                ([old, new], {"b": "KVRN_1.1"}, "1.1.0", ["1.0.0"], ""),
                ([old, new], {"c": "KVRN_1.1"}, "1.1.3", ["1.1.2", "1.0.0"], "node \"KVRN_1.2 { global: ...; } KVRN_1.1;\""),
                ([old, new], {"b": "KVRN_1.1"}, "1.0.1", ["1.0.0"], "newer than the project, 1.0.1"),
                ([old, Node("KVRN_1.1", ["b"], "")], {"b": "KVRN_1.1"}, "1.1.0", ["1.0.0"], "must inherit KVRN_1.0")):
            with self.subTest(names, project=project):
                text = "\n".join(abi.node_faults(nodes, names, project, released))
                self.assertIn(told, text) if told else self.assertEqual(text, "")
