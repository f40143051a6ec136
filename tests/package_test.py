# SPDX-License-Identifier: MIT
"""The library as linkers, packagers and other projects see it."""
import glob
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

import version_script

BUILD, SOURCE = os.environ["KVRN_BUILD"], os.environ["KVRN_SOURCE"]
NM, READELF = os.environ["NM"], os.environ["READELF"]
LIBRARY = BUILD + "/lib/libkvrn.so"
HOOKS = BUILD + "/lib/libkvrn-sim.so"


def run(*command, **options):
    done = subprocess.run(command, capture_output=True, text=True, **options)
    if done.returncode != 0:
        raise AssertionError(f"{command}: {done.stdout}{done.stderr}")
    return done.stdout


def symbols(library, which):
    names = set()
    for line in run(NM, "-D", which, library).splitlines():
        name = line.split()[-1].split("@")[0]
        if not name.startswith("KVRN_"):
            names.add(name)
    return names


class Linking(unittest.TestCase):
    def test_needs_nothing_but_gpiod_libc_and_libm(self):
        dynamic = run(READELF, "-d", LIBRARY)
        needed = set(re.findall(r"NEEDED.*\[(.*)\]", dynamic))
        loaders = {name for name in needed if re.match(r"ld(-linux.*|64)?\.so\.\d", name)}
        self.assertLessEqual(needed - loaders, {"libgpiod.so.3", "libc.so.6", "libm.so.6"})
        self.assertIn("[libkvrn.so.1]", dynamic)
        self.assertIn("BIND_NOW", dynamic)
        self.assertIn("(SYMBOLIC)", dynamic)  # a program's own `parse` does not stand in for the library's
        self.assertIn("GNU_RELRO", run(READELF, "-lW", LIBRARY))

    def test_exports_are_the_list(self):
        self.assertEqual(symbols(LIBRARY, "--defined-only"), version_script.exported())

    def test_generic_records_lie_behind_their_tables_with_their_own_size(self):
        table = {}
        for line in run(NM, "-S", LIBRARY).splitlines():
            parts = line.split()
            if len(parts) == 4:
                table[parts[3].split("@")[0]] = int(parts[0], 16), int(parts[1], 16)
        for generic, rows in (("ar7240_board", "kvrn_ar724x_table"), ("ar953x_board", "kvrn_qca953x_table")):
            self.assertEqual(table[generic], (sum(table[rows]) - 1408, 1408))
        dynamic = run(NM, "-D", "-S", LIBRARY)
        self.assertRegex(dynamic, r"00000580 D ar7240_board")


class Hooks(unittest.TestCase):
    """Every call of the library and of libgpiod that names a file or device must be one that the simulator knows."""
    TAKES_PATH_OR_DEVICE = re.compile(
        r"^(f?open|creat|ioctl|l?stat|fstatat|statx|access|faccessat|readlink|realpath|rename|link|symlink|unlink|"
        r"remove|mkdir|rmdir|(fd)?opendir|readdir|scandir|glob|chmod|chown|truncate|mknod|utime|mkfifo|freopen)")
    NOT_BY_PATH = {"openlog", "statvfs", "link_map"}

    def test_every_import_is_hooked(self):
        hooked = symbols(HOOKS, "--defined-only")
        for library in (LIBRARY, os.environ["GPIOD"] + "/libgpiod.so.3"):
            for name in symbols(library, "--undefined-only"):
                plain = re.sub(r"(_time64|_chk|_2|64)+$", "", name.lstrip("_"))
                if self.TAKES_PATH_OR_DEVICE.match(plain) and name not in self.NOT_BY_PATH:
                    self.assertIn(name, hooked, f"{library} imports {name}")


class Headers(unittest.TestCase):
    def test_each_compiles_alone_as_c_and_cxx(self):
        both = {os.environ["CC"], "clang"}, {os.environ["CXX"], "clang++"}
        modes = [(compiler, language, standard) for compilers, language, standards in
                 ((both[0], "c", ["c11"]), (both[1], "c++", ["c++17", "c++20"]))
                 for compiler in compilers if shutil.which(compiler) for standard in standards]
        for header in glob.glob(SOURCE + "/include/kvrn/*.h*"):
            source = f'#include <kvrn/{os.path.basename(header)}>\n'
            for compiler, language, standard in modes:
                if header.endswith(".hpp") and language == "c":
                    continue
                run(compiler, "-x", language, "-std=" + standard, "-pedantic", "-Wall", "-Wextra", "-Wshadow", "-Wconversion",
                    "-Werror", "-fno-exceptions" if language == "c++" else "-Wall", "-fsyntax-only", "-I" + SOURCE + "/include", "-", input=source)


class Programs(unittest.TestCase):
    def test_a_project_finds_it_with_cmake_and_with_pkg_config(self):
        with tempfile.TemporaryDirectory() as folder:
            prefix = folder + "/usr"
            run("cmake", "--install", BUILD, "--prefix", prefix)
            pc = glob.glob(prefix + "/**/kvrn.pc", recursive=True)[0]
            shutil.copy(SOURCE + "/examples/sources.c", folder + "/main.c")
            env = {**os.environ, "PKG_CONFIG_PATH": os.path.dirname(pc)}
            flags = run("pkg-config", "--cflags", "--libs", "kvrn", env=env).split()
            libdir = run("pkg-config", "--variable=libdir", "kvrn", env=env).strip()
            sim = BUILD + "/bin/kvrn-sim"
            run(sim, "new", folder + "/device", "--board", "three-source")
            for compiler, language in ((os.environ["CC"], "-xc"), (os.environ["CXX"], "-xc++")):
                run(compiler, language, folder + "/main.c", "-xnone", "-o", folder + "/with-pc", *flags)
                shown = run(sim, "run", folder + "/device", "--", folder + "/with-pc", env={**os.environ, "LD_LIBRARY_PATH": libdir})
                self.assertEqual(shown.splitlines()[0], "PSU 0: usable, 54000 mV")
            run("python3", SOURCE + "/dev.d/rpath.py", prefix)

            pathlib.Path(folder + "/CMakeLists.txt").write_text(
                "cmake_minimum_required(VERSION 3.25)\nproject(user C)\nfind_package(kvrn 1.0 REQUIRED)\n"
                "add_executable(user main.c)\ntarget_link_libraries(user PRIVATE kvrn::kvrn)\n")
            run("cmake", "-S", folder, "-B", folder + "/build", "-DCMAKE_PREFIX_PATH=" + prefix)
            run("cmake", "--build", folder + "/build")
            run(folder + "/build/user")
            agent = os.path.exists(BUILD + "/bin/kvrn-agentd")
            completions = "share/bash-completion/completions/"
            for path in ("share/doc/kvrn/kvrnctl.schema.json", "bin/kvrnctl", "sbin/kvrn-monitord", "share/snmp/mibs/KVRN-Quorvex-MIB",
                         "share/man/man1/kvrnctl.1", "share/man/man5/kvrn-images.5", "share/doc/kvrn/power.md",
                         "bin/kvrn-sim", "share/man/man1/kvrn-sim.1", completions + "kvrn-sim",
                         "lib/systemd/system/kvrn-monitord.service", "lib/systemd/system/kvrn-sensors-prometheus.timer",
                         "lib/systemd/system/kvrn-sensors-json-once.service", "lib/systemd/system/kvrn-sensors-nut.service",
                         completions + "kvrn-monitord",
                         "lib/sysusers.d/kvrn.conf", "lib/udev/rules.d/60-kvrn.rules", "share/kvrn/account.conf", "share/kvrn/monitoring/snmp.yml",
                         *(agent * ["sbin/kvrn-agentd", "share/man/man8/kvrn-agentd.8", completions + "kvrn-agentd",
                                    "lib/systemd/system/kvrn-agentd.service", "share/kvrn/listen.conf", "lib/tmpfiles.d/kvrn-agentd.conf",
                                    "share/doc/kvrn/examples/agentd.conf"])):
                self.assertTrue(os.path.exists(f"{prefix}/{path}"), path)

            functions = {line.split()[2].split("@")[0] for line in run(NM, "-D", LIBRARY).splitlines() if " T " in line}
            pages = {path.stem for path in pathlib.Path(prefix + "/share/man/man3").iterdir() if ".SH NAME\n" in path.read_text()}
            self.assertGreater(len(functions), 150)
            self.assertEqual(functions - pages, set())

    @unittest.skipUnless(shutil.which("systemd-analyze"), "no systemd")
    def test_unit_files_are_what_the_service_manager_knows(self):
        with tempfile.TemporaryDirectory() as folder:
            account = SOURCE + "/tools/service/account/"
            run("systemd-sysusers", "--dry-run", account + "sysusers.conf")
            units = glob.glob(BUILD + "/tools/*/*.service") + glob.glob(BUILD + "/tools/*/*.timer")
            self.assertTrue(units)
            for unit in units:
                # Neither the programs nor the manual pages are installed.
                text = re.sub(r"(?m)^Documentation=.*\n", "", pathlib.Path(unit).read_text())
                pathlib.Path(folder, os.path.basename(unit)).write_text(re.sub("ExecStart=[^ \n]+", "ExecStart=/bin/true", text))
                if unit.endswith(".service"):
                    os.mkdir(folder + f"/{os.path.basename(unit)}.d")
                    for drop_in in (account + "account.conf", *glob.glob(os.path.dirname(unit).replace(BUILD, SOURCE) + "/listen.conf")):
                        shutil.copy(drop_in, folder + f"/{os.path.basename(unit)}.d")
            done = subprocess.run(["systemd-analyze", "verify", *glob.glob(folder + "/*[er]")], capture_output=True, text=True)
            self.assertEqual([line for line in done.stderr.splitlines() if "kvrn-" in line], [])
            self.assertEqual(done.returncode, 0)
