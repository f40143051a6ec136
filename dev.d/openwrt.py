# SPDX-License-Identifier: MIT
"""Checks the OpenWrt feed: installs its packages from a build with a stand-in for OpenWrt's make files, and compares
them with what a device has (device.txt), with what each program links, and with CMakeLists.txt.

usage: openwrt.py BUILD"""
import os
import re
import subprocess
import sys
import tempfile
from fnmatch import fnmatch
from pathlib import Path

FEED = "openwrt/kvrn"
TABLE = "dev.d/device.txt"
# Libraries that need no package of their own, and a library that is no file of the table. fmt is part of the programs
# in a build for the device.
ON_EVERY_DEVICE = re.compile(r"ld-|ld\.so|libc\.so|libm\.so|libgcc_s\.|libfmt\.")
PACKAGE_OF = {"libstdc++.so.6": "libstdcpp"}

faults = []


def expect(good, text):
    if not good:
        faults.append(text)


def output(*command, **options):
    done = subprocess.run(command, capture_output=True, text=True, **options)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}:\n{done.stdout}{done.stderr}")
    return done.stdout


def table():
    """@return {pattern of a place: package}"""
    rows = [line.split() for line in Path(TABLE).read_text().splitlines() if line and not line.startswith("#")]
    return {f"{place}/{os.path.basename(source)}": package for place, source, package in rows}


def install(build, scratch):
    """Installs the build, and the packages from it. @return what make said, {keyword: [words of a line]}"""
    output("cmake", "--install", build, "--prefix", f"{scratch}/install/usr")
    said = {}
    for line in output("make", "-s", "-C", FEED, "all", f"TOPDIR={os.getcwd()}/dev.d/openwrt",
                       f"PKG_INSTALL_DIR={scratch}/install", f"ROOT={scratch}/root").splitlines():
        word, *rest = line.split()
        said.setdefault(word, []).append(rest)
    return said


def closure(package, depends):
    """The package and all that it brings with it."""
    found, rest = set(), [package]
    while rest:
        name = rest.pop()
        if name not in found:
            found.add(name)
            rest += depends.get(name, [])
    return found


def check_package(package, folder, depends, device):
    files = {str(file.relative_to(folder)): file for file in sorted(folder.rglob("*")) if not file.is_dir()}
    brought = closure(package, depends)
    for name, file in files.items():
        expect(file.exists(), f"{package}: {name} is a link to a file that is not installed")
        if name.startswith("usr/"):
            expect(any(fnmatch(name, pattern) and device[pattern] == package for pattern in device),
                   f"{package}: {TABLE} has no {name} in it")
        if file.is_symlink() or file.open("rb").read(4) != b"\x7fELF":
            continue
        for library in re.findall(r"\(NEEDED\).*\[(.*)\]", output("readelf", "-d", file)):
            if ON_EVERY_DEVICE.match(library):
                continue
            owner = PACKAGE_OF.get(library) or next((device[pattern] for pattern in device if fnmatch(f"usr/lib/{library}", pattern)), None)
            expect(owner in brought, f"{package}: {name} needs {library}, and no package that it depends on has it")
    for pattern in (pattern for pattern, owner in device.items() if owner == package):
        expect(any(fnmatch(name, pattern) for name in files), f"{package}: {pattern} of {TABLE} is not installed")
    for name in files:
        if name.startswith("etc/init.d/"):
            expect(os.access(files[name], os.X_OK), f"{package}: {name} cannot be started")
            program = re.search(r"procd_set_param command /(\S+)", files[name].read_text())
            expect(program and program[1] in files, f"{package}: {name} starts no program of the package")
    return files


def main(build):
    device = table()
    with tempfile.TemporaryDirectory() as scratch:
        said = install(build, scratch)
        depends = {name: [word.lstrip("+") for word in words] for name, *words in said["package"]}
        count = 0
        for name, *settings in said["settings"]:
            files = check_package(name, Path(scratch, "root", name), depends, device)
            count += len(files)
            expect({"/" + file for file in files if file.startswith("etc/config/")} == set(settings),
                   f"{name}: its conffiles are {settings}, not what it installs in /etc/config")
    project = Path("CMakeLists.txt").read_text()
    expect(said["version"] == [re.findall(r"project\(kvrn VERSION (\S+)", project)], f"the feed has version {said['version'][0]}")
    for option in re.findall(r"-D(KVRN_\w+)=", " ".join(said["options"][0])):
        expect(f"option({option} " in project, f"CMakeLists.txt has no option {option}")
    protocol, commit, url = said["source"][0]
    expect(protocol == "git" and output("git", "-c", "safe.directory=*", "ls-remote", url, commit), f"no {commit} in {url}")
    everything = set().union(*(closure(name, depends) for name in depends))
    for pattern, package in device.items():
        expect(package in everything, f"no package brings {pattern} of {package}, which {TABLE} has")
    if faults:
        sys.exit("\n".join(faults))
    print(f"{len(depends)} packages, {count} files: what a device has, and what its programs need")


main(sys.argv[1])
