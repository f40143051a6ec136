# SPDX-License-Identifier: MIT
"""kvrnctl cfg: what it shows, and that an edit leaves the old file or the new one, whole."""
import fcntl
import os
import resource
import subprocess
import unittest

from kvrnctl_device import BIN, LIB, Device, Run, new_folder

SAMPLE = ("radio.1.mode=ap\nusers.1.name=anna\nusers.1.password=secret\nnetconf.3.devname=eth0\nnetconf.7.devname=br0\n"
          "bridge.status=enabled\nbridge.1.devname=br0\nbridge.1.port.1.devname=eth1\nx.note=a = b\n")


class Case(unittest.TestCase):
    def setUp(self):
        self.folder = new_folder()
        self.path = self.folder + "/system.cfg"
        self.write(SAMPLE)

    def write(self, text):
        with open(self.path, "wb") as file:
            file.write(text.encode())

    def text(self, path=None):
        with open(path or self.path, "rb") as file:
            return file.read().decode()

    def cfg(self, command, *words, **options):
        return Run(subprocess.run([BIN + "/kvrnctl", "cfg", command, "--file", self.path, *words], capture_output=True,
                                  text=True, timeout=60, **options))

    def lines(self):
        """The file's lines with passwords opened."""
        return self.cfg("show", "--reveal").out.splitlines()


class Showing(Case):
    def test_show_keeps_the_order_and_hides_passwords(self):
        self.assertEqual(self.cfg("show").out, SAMPLE.replace("secret", "********"))
        self.assertEqual(self.cfg("show", "--reveal").out, SAMPLE)
        entries = self.cfg("show", "users.", "--json").json()["entries"]
        self.assertEqual([(entry["id"], entry["value"]) for entry in entries], [(1, "anna"), (2, "********")])

    def test_get_types_defaults_and_missing_keys(self):
        self.write("n=0x1F\nbig=5000000000\nflag= Enabled \nt=12abc\nempty=\nminus=-1\na=1\na=2\nusers.1.password=1234\n")
        for words, out, status in (("n --type int", "31", 0), ("big --type int", "", 1), ("big --type int64", "5000000000", 0),
                                   ("flag --type bool", "true", 0), ("N", "0x1F", 0), ("t --type uint", "12", 0),
                                   ("empty", "", 0), ("none", "", 1), ("none --default 7", "7", 0), ("n --type odd", "", 2),
                                   ("a", "2", 0), ("k" * 256, "", 1), ("minus --type uint", "4294967295", 0),
                                   ("users.1.password --reveal", "1234", 0), ("USERS.01.Password", "********", 0),
                                   ("users.1.password --type int", "********", 0)):
            run = self.cfg("get", *words.split())
            self.assertEqual((run.out.rstrip("\n"), run.status), (out, status), words)
        self.assertEqual(self.cfg("get", "n", "--type", "int", "--json").json()["value"], 31)
        self.assertIn("negative", self.cfg("get", "minus", "--type", "uint").err)

    def test_diff_reads_like_a_diff(self):
        other = self.folder + "/new.cfg"
        with open(other, "w") as file:
            file.write(SAMPLE.replace("mode=ap", "mode=sta").replace("secret", "other").replace("x.note=a = b\n", "y=1\n"))
        run = self.cfg("diff", self.path, other)
        self.assertEqual(run.out, f"--- {self.path}\n+++ {other}\n-radio.1.mode=ap\n+radio.1.mode=sta\n"
                                  "-users.1.password=********\n+users.1.password=********\n-x.note=a = b\n+y=1\n")
        changes = self.cfg("diff", self.path, other, "--json").json()["changes"]
        self.assertEqual(changes[2], {"id": 2, "key": "x.note", "old": "a = b", "new": None})
        self.assertEqual(self.cfg("diff", self.path, self.path).out, "")

    def test_interface_and_check(self):
        self.assertEqual(self.cfg("interface", "br0").out, "eth1\n")
        run = self.cfg("interface", "br7")
        self.assertEqual((run.out, run.status), ("br7\n", 0))
        self.assertIn("no interface 'br7'", run.err)
        self.write(SAMPLE + "# note\nx.note=again\n" + "long=" + "y" * 1100 + "\n")
        run = self.cfg("check")
        self.assertEqual(run.status, 1)
        for word in ("comments", "more than once", "not protected", "above 1024"):
            self.assertIn(word, run.out)
        self.write("a=1\n")
        self.assertEqual((self.cfg("check").status, self.cfg("check").out), (0, ""))

    def test_the_default_file_is_the_devices(self):
        device = Device("generic")
        device.set("file", "/tmp/system.cfg", "a=1\n")
        self.assertEqual(device.run("cfg", "get", "a").out, "1\n")
        self.assertEqual(device.run("cfg", "set", "a", "2").out, "changed\n")
        self.assertEqual(self.text(device.path("/tmp/system.cfg")), "a=2\n")


class Editing(Case):
    def test_edits_keep_the_order_of_lines(self):
        self.assertEqual(self.cfg("set", "RADIO.1.mode", "sta").out, "changed\n")
        self.assertEqual(self.cfg("set", "new.key", "v").out, "appended\n")
        self.assertEqual(self.cfg("add", "new.key", "w").out, "appended\n")
        self.assertEqual(self.cfg("delete", "--prefix", "bridge.").out, "3 deleted\n")
        self.assertEqual(self.cfg("renumber", "netconf.").out, "renumbered\n")
        self.assertEqual(self.lines(), ["radio.1.mode=sta", "users.1.name=anna", "users.1.password=secret",
                                        "netconf.1.devname=eth0", "netconf.2.devname=br0", "x.note=a = b", "new.key=v",
                                        "new.key=w"])
        self.assertEqual(self.cfg("renumber", "netconf.").out, "nothing to renumber\n")
        self.assertEqual(self.cfg("sort").status, 0)
        self.assertEqual(self.lines()[0], "netconf.1.devname=eth0")
        written = self.text()
        for words in (["sort"], ["set", "radio.1.MODE", "sta"], ["protect"]):
            self.assertEqual(self.cfg(*words).out, "unchanged\n")
        self.assertEqual(self.text(), written)
        self.assertEqual(self.cfg("delete", "gone").status, 1)

    def test_passwords_are_protected_and_revealed(self):
        self.assertEqual(self.cfg("protect").out, "1 password protected\n")
        self.assertIn("~META~", self.text())
        self.assertIn("users.1.password=secret", self.lines())
        self.assertEqual(self.cfg("reveal").status, 0)
        self.assertEqual(self.text(), SAMPLE)
        run = self.cfg("set", "users.1.password", "p" * 479)
        self.assertEqual(run.status, 0)
        self.assertIn("stays plain", run.err)
        self.cfg("set", "a", "1", preexec_fn=lambda: os.close(2))
        self.assertEqual(os.path.getsize(self.path + ".lock"), 0)  # no message goes into a file of ours

    def test_dry_run_prints_the_change_and_leaves_the_file(self):
        run = self.cfg("set", "users.1.password", "new", "--dry-run")
        self.assertEqual(run.out, "-users.1.password=********\n+users.1.password=********\n")
        run = self.cfg("set", "radio.1.mode", "sta", "--dry-run")
        self.assertEqual(run.out, "-radio.1.mode=ap\n+radio.1.mode=sta\n")
        self.write(SAMPLE + "netconf.4.devname=eth2\n")
        self.assertEqual(self.cfg("renumber", "netconf.", "--dry-run").out,
                         "-netconf.3.devname=eth0\n-netconf.7.devname=br0\n+netconf.1.devname=eth0\n"
                         "+netconf.3.devname=br0\n-netconf.4.devname=eth2\n+netconf.2.devname=eth2\n")
        self.write("b=1\nc=2\na=3\n")
        self.assertEqual(self.cfg("sort", "--dry-run").out, "+a=3\n-a=3\n")
        self.write(SAMPLE)
        self.assertEqual(self.cfg("protect", "--dry-run").out, "dry run: 1 password protected\n")
        self.assertEqual(self.text(), SAMPLE)
        self.assertEqual(os.listdir(self.folder), ["system.cfg"])

    def test_mode_owner_link_and_backup(self):
        os.chmod(self.path, 0o640)
        if os.geteuid() == 0:
            os.chown(self.path, 12, 34)
        os.rename(self.path, self.folder + "/real.cfg")
        os.symlink("real.cfg", self.path)
        if os.geteuid() == 0:
            os.chown(self.path, 12, 34, follow_symlinks=False)
            self.assertIn("link of another user", self.cfg("set", "a", "1").err)
            os.chown(self.path, 0, 0, follow_symlinks=False)
        for left in (".bak.new", ".bak"):  # by an editor that was killed
            os.link(self.folder + "/real.cfg", self.folder + "/real.cfg" + left)
        self.assertEqual(self.cfg("set", "a", "1", "--backup").status, 0)
        status = os.stat(self.path)
        self.assertTrue(os.path.islink(self.path))
        self.assertEqual(status.st_mode & 0o777, 0o640)
        if os.geteuid() == 0:
            self.assertEqual((status.st_uid, status.st_gid), (12, 34))
        self.assertEqual(self.text(self.folder + "/real.cfg.bak"), SAMPLE)
        self.assertEqual(sorted(os.listdir(self.folder)), ["real.cfg", "real.cfg.bak", "real.cfg.lock", "system.cfg"])

    def test_what_would_be_lost_is_refused_with_the_reason(self):
        for words, reason in ((["set", "a", "x\ny"], "line end"), (["set", "#a", "x"], "comment"),
                              (["set", "a=b", "x"], "first '='"), (["set", "a", "x" * 1030], "at most 1024"),
                              (["add", "a ", "x"], "blanks"), (["add", "a", "x\t"], "blanks"),
                              (["add", "users." + "k" * 493 + ".password", "x"], "protected line"),
                              (["add", "users." + "k" * 480 + ".password", "y" * 470], "protected line"),
                              (["set", "k" * 256, "x"], "at most 255")):
            run = self.cfg(*words)
            self.assertEqual(run.status, 1, words[:2])
            self.assertIn(reason, run.err)
            self.assertEqual(self.text(), SAMPLE)
        for dropped in ("a=x\0y\n", "\0c=3\n", "v=caf\u00e9\n", "l=" + "y" * 1500 + "\n", "# keep me\n"):
            self.write(dropped + SAMPLE)
            run = self.cfg("set", "a", "1")
            self.assertEqual((run.status, "--force" in run.err), (1, True), dropped[:9])
            self.assertEqual(self.text(), dropped + SAMPLE)
        run = self.cfg("set", "a", "1", "--force")
        self.assertEqual((run.status, "are lost" in run.err), (0, True))

    def test_odd_files(self):
        self.write("")
        self.assertIn("would be lost", self.cfg("set", "first", "1\nb=2").err)
        self.assertEqual(self.text(), "")
        self.assertEqual(self.cfg("set", "first", "1").out, "appended\n")
        self.assertEqual(self.text(), "first=1\n")
        for odd in ("a=1\rb=2\r", "no newline=1", "k\0=v\nx=1\n", "=\n", "~META~\n~META~=\n~META~x=%%%\n", "x=" + "y" * (1 << 20)):
            self.write(odd)
            for words in (["show"], ["check"], ["set", "z", "1"]):
                self.assertIn(self.cfg(*words).status, (0, 1), odd[:20])
        os.truncate(self.path, 3 << 30)
        self.assertIn("larger than", self.cfg("show").err)
        os.remove(self.path)
        self.assertIn("No such file", self.cfg("set", "a", "1").err)
        os.mkdir(self.path)
        self.assertIn("directory", self.cfg("show").err)
        os.rmdir(self.path)
        os.mkfifo(self.path)
        self.assertIn("no regular file", self.cfg("show").err)

    def test_a_full_disk_leaves_the_old_file(self):
        for words in ("set a 1", "add a 1", "delete x.note", "sort", "renumber netconf.", "protect"):
            run = self.cfg(*words.split(), preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (64, 64)))
            self.assertEqual((run.status, "large" in run.err), (1, True), (words, run.err))
            self.assertEqual(self.text(), SAMPLE)
            self.assertNotIn("system.cfg.new", os.listdir(self.folder))

    def test_without_memory_an_edit_is_right_or_the_file_as_it_was(self):
        self.write("users.2.password=s\nx.1=1\nx.3.1.a=2\nx.1.1.b=3\nX.1=3\n")
        self.cfg("protect")
        before = self.text()
        with open(self.folder + "/other", "w") as other:
            other.write("x.1=2\n")
        for words in (["set", "X.01", "2"], ["renumber", "x.", "2"], ["sort"], ["check"],
                      ["diff", self.path, other.name]):
            self.write(before)
            whole = self.cfg(*words)
            after, failed = self.lines(), 0
            for n in range(1, 1000):
                self.write(before)
                run = self.cfg(*words, env={**os.environ, "LD_PRELOAD": LIB + "/libfail_allocation.so", "FAIL_AT": str(n)})
                if (run.status, run.out) == (whole.status, whole.out):
                    self.assertEqual(self.lines(), after, (words, n))
                    if n > failed + 20:
                        break
                else:
                    failed = n
                    self.assertEqual((self.text(), run.err[:8]), (before, "kvrnctl:"), (words, n))
                    self.assertIn("memory", run.err, (words, n))
            self.assertGreater(failed, 20)

    def test_a_second_editor_waits_and_gives_up(self):
        with open(self.path + ".lock", "w") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            run = self.cfg("set", "a", "1")
        self.assertEqual((run.status, "another editor" in run.err), (1, True))
        editors = [subprocess.Popen([BIN + "/kvrnctl", "cfg", "add", "--file", self.path, f"n.{i}", "v"],
                                    stdout=subprocess.DEVNULL) for i in range(8)]
        self.assertEqual([editor.wait() for editor in editors], [0] * 8)
        self.assertEqual(len(self.lines()), len(SAMPLE.splitlines()) + 8)
