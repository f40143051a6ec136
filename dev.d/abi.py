# SPDX-License-Identifier: MIT
"""Compares the library's interface with its stored description, and stores it anew.

usage: abi.py check|store LIBRARY (native|mips)...

The description is libabigail's. It is made from a stand-in: the headers' declarations with empty bodies, compiled as C.
The library's own debug information is of no use for this. It describes the hidden C++ functions behind the exported
names, and every type that they touch. The names, version nodes and sizes of the stand-in must be those of LIBRARY."""
import pathlib
import re
import shutil
import subprocess
import sys

import headers
import version_script
import versions

ROOT = versions.ROOT
STORED = "lib/abi/{}.abi"
COMPILERS = {"native": "gcc", "mips": "mips-linux-gnu-gcc"}
# The node of what only the stand-in exports: what a host defines, the constants, and a pointer to each type, because no
# function takes the records that lie in files.
NODE = "STAND_IN"
# Nothing of the machine: no paths, no lines, no parameter names, no libraries that are needed.
ABIDW = ["abidw", "--no-corpus-path", "--no-comp-dir-path", "--no-show-locs", "--no-elf-needed", "--no-architecture",
         "--no-parameter-names", "--exported-interfaces-only", "--type-id-style", "hash"]
ADVICE = """A program that needs them would start with an older library and fail later. Do this:
  1. in cmake/libkvrn.map, a node "KVRN_{new} {{ global: ...; }} KVRN_{last};" with them
  2. in CMakeLists.txt, VERSION {new}.0; in CHANGELOG.md, "## {new}.0 (unreleased)"
  3. in debian/libkvrn1.symbols, the line " (symver)KVRN_{new} {new}.0~"
  4. ./dev abi"""


def run(*command, **options):
    done = subprocess.run(command, capture_output=True, text=True, **options)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}:\n{done.stderr}")
    return done.stdout


def symbols(library):
    """{name: (node, size)} of what a library exports. The size of a function is None."""
    rows = re.findall(r"^ *\d+: \w+ +(\w+) (FUNC|OBJECT) +(?:GLOBAL|WEAK) +DEFAULT +\d+ (\w+)@@?([\w.]+)",
                      run("readelf", "--dyn-syms", "-W", library), re.M)
    return {name: (node, int(size, 0) if kind == "OBJECT" else None) for size, kind, name, node in rows}


def soname(library):
    return re.search(r"SONAME.*\[(.*)\]", run("readelf", "-dW", library)).group(1)


def machine(library):
    """Its class, byte order and processor."""
    start = pathlib.Path(library).read_bytes()[:20]
    return start[4:6], start[18:20]


# ---- The stand-in ----

def declared(read):
    """{name: declaration} of every function and object in the headers. Those of bytes.h are inline."""
    return {item.names[0]: item for header in read.values() if header.name != "bytes.h"
            for item in header.of("function", "data")}


def given(read):
    """What the library takes from its host under a fixed name. The host relies on its arguments too."""
    return [name for name, item in declared(read).items() if item.text[0].startswith("Defined by the host")]


def constants(read):
    """The names of the headers' constants: macros with a value, and members of enumerations."""
    names = []
    for item in (item for header in read.values() for item in header.of("macro", "type")):
        if item.kind == "macro":
            names += re.findall(r"^#define (\w+) ", item.code)
        elif body := re.search(r"\benum\b[^{]*\{(.*)\}", headers.COMMENT.sub("", item.code), re.S):
            names += re.findall(r"(?:^|,)\s*(\w+)", body.group(1))
    return names


def types(read):
    return [item.names[0] for header in read.values() for item in header.of("type") if item.code.startswith("typedef")]


def stand_in(root, exported):
    """The source. The size of an array without one in the headers is that of the library's object."""
    read = headers.read_all(root)
    start, bodies = [], []
    for name, item in declared(read).items():
        if item.kind == "function":
            bodies.append(item.code.rstrip(";") + " { for (;;) {} }")
        elif "[]" in item.code:
            # Under two types at once, of which libabigail would choose one.
            start.append(f"#define {name} declared_{name}")
            bodies += [f"#undef {name}", item.code.replace("[]", f"[{exported[name][1]}]")]
        else:
            bodies.append(item.code)
    members = ", ".join(f"constant_{name} = (int64_t)({name})" for name in constants(read))
    pointers = [f"{name}* type_{name};" for name in types(read)]
    return "\n".join([*start, "#include <kvrn/kvrn.h>", *bodies, *pointers,
                      f"enum constants {{ {members} }} constants;", ""])


def compiled(root, library, kind):
    """A shared object with the interface that the headers and the version script promise."""
    folder = root / "build/abi" / kind
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    (folder / "libkvrn.c").write_text(stand_in(root, symbols(library)), encoding="utf-8")
    script = (root / version_script.PATH.relative_to(ROOT)).read_text(encoding="utf-8")
    more = " ".join(f"{name};" for name in given(headers.read_all(root)))
    (folder / "libkvrn.map").write_text(f"{NODE} {{ global: constants; type_*; {more} }};\n{script}")
    # The C library's FILE has other members with each version. Without them it is opaque.
    run(COMPILERS[kind], "-std=gnu11", "-g", "-O0", "-fPIC", "-shared", "-nostdlib", "-D__struct_FILE_defined",
        f"-I{root}/include", f"-Wl,-soname,{soname(library)}", "-Wl,--version-script=libkvrn.map", "-o", "libkvrn.so",
        "libkvrn.c", cwd=folder)
    return folder / "libkvrn.so"


def described(standing):
    made = standing.with_suffix(".abi")
    run(*ABIDW, "--out-file", made, standing)
    return made


def disagreements(root, library, standing):
    """Where the headers, the version script and the library differ."""
    script = version_script.exported(root / version_script.PATH.relative_to(ROOT))
    read = headers.read_all(root)
    items = {name: item for name, item in declared(read).items() if name not in given(read)}
    real, promised = symbols(library), symbols(standing)
    places = {"the version script": script, "the headers": set(items), "the library": set(real)}
    faults = [f"{name} is not in {place}" for name in sorted(set.union(*places.values()))
              for place, names in places.items() if name not in names]
    faults += [f"{name} has no comment in the headers" for name, item in items.items() if not item.text]
    if machine(library) == machine(standing):
        faults += [f"{name}: (node, bytes) is {real[name]} in the library, {promised[name]} in headers and version script"
                   for name in sorted(real.keys() & promised.keys()) if real[name] != promised[name]]
    return faults


# ---- Comparing ----

def names(path):
    """{name: node} and {constant: value} of a description."""
    text = path.read_text(encoding="utf-8")
    return (dict(re.findall(r"<elf-symbol name='(\w+)'.*? version='([\w.]+)'", text)),
            dict(re.findall(r"<enumerator name='constant_(\w+)' value='(-?\d+)'", text)))


def broken(old, new):
    """A text about everything in `old` that is gone or changed; empty if `new` serves the same programs."""
    done = subprocess.run(["abidiff", "--no-added-syms", old, new], capture_output=True, text=True)
    if done.returncode & 3:
        sys.exit(f"abidiff: {done.stderr or done.stdout}")
    # libabigail holds another value of a constant for harmless.
    before, after = names(old)[1], names(new)[1]
    values = "".join(f"  {name} was {value}, and is {after.get(name, 'gone')}\n"
                     for name, value in before.items() if after.get(name) != value)
    return (done.stdout if done.returncode else "") + values


def added(old, new):
    """{name: node} of the new names, and the names of the new constants"""
    (before, old_constants), (after, new_constants) = names(old), names(new)
    new_names = {name: after[name] for name in after.keys() - before.keys()}
    return new_names, sorted(new_constants.keys() - old_constants.keys())


def node_faults(nodes, new_names, project, released):
    """What is wrong with the version nodes: {name: node} are new names, `released` the released versions."""
    faults = []
    for older, node in zip([None, *nodes], nodes):
        if node.parent != (older.name if older else ""):
            faults.append(f"node {node.name} must inherit {older.name if older else 'nothing'}: "
                          f"\"}} {older.name if older else ''};\" ends it")
    major, minor, _ = versions.number(project)
    newest = versions.number(nodes[-1].name.removeprefix("KVRN_"))
    if newest > (major, minor):
        faults.append(f"node {nodes[-1].name} is newer than the project, {project}: raise VERSION in CMakeLists.txt")
    last = max((versions.number(version)[:2] for version in released), default=(-1, -1))
    late = [f"{name} ({node})" for name, node in sorted(new_names.items())
            if node != NODE and versions.number(node.removeprefix("KVRN_")) <= last]
    if late:
        step = max((major, minor), (last[0], last[1] + 1))
        text = ADVICE.format(new="{}.{}".format(*step), last="{}.{}".format(*last))
        faults.append(f"new in a node that was released: {', '.join(late)}\n{text}")
    return faults


def package_faults(nodes, root=ROOT):
    """Debian's list of symbols names the nodes: a program's package depends on the version that brought its node."""
    listed = (root / "debian/libkvrn1.symbols").read_text(encoding="utf-8").splitlines()
    lines = [f" (symver){node.name} {node.name.removeprefix('KVRN_')}.0~" for node in nodes]
    return [f"debian/libkvrn1.symbols has no line \"{line}\"" for line in lines if line not in listed]


def stored_at(version, kind, root=ROOT):
    """The description that a release had, or None."""
    try:
        text = versions.git("show", f"v{version}:{STORED.format(kind)}", root=root)
    except subprocess.CalledProcessError:
        return None
    path = root / "build/abi" / kind / f"{version}.abi"
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(text, encoding="utf-8")
    return path


def check(kind, stored, made, new_names, new_constants):
    if text := broken(stored, made):
        sys.exit(f"{text}\nThis breaks programs that are built already ({STORED.format(kind)}). Keep what was released; a "
                 "changed function gets a new name.\nWhat was never released may change: ./dev abi stores it anew.")
    if new := [*sorted(new_names), *new_constants]:
        sys.exit(f"new in the interface: {', '.join(new)}\n./dev abi stores its description anew; commit "
                 f"{STORED.format(kind)} with the change")
    other = subprocess.run(["abidiff", "--harmless", stored, made], capture_output=True, text=True)
    if other.returncode:
        sys.exit(f"{other.stdout}{other.stderr}\nPrograms that are built already go on working. ./dev abi stores the description anew; "
                 f"commit {STORED.format(kind)} with the change")


def store(kind, stored, made):
    if lost := set(versions.released()) - set(versions.tags()):
        sys.exit(f"released according to CHANGELOG.md, but without a tag to compare with: {', '.join(lost)}; git fetch --tags?")
    for version in versions.tags()[:1]:
        before = stored_at(version, kind)
        same_major = versions.number(version)[0] == versions.number(versions.project())[0]
        if before and same_major and (text := broken(before, made)):
            sys.exit(f"{text}\nThis breaks programs that are built with {version}. It needs a new major version: VERSION in "
                     "CMakeLists.txt")
    stored.parent.mkdir(exist_ok=True)
    shutil.copyfile(made, stored)


def main(command, library, kinds):
    for kind in kinds:
        standing = compiled(ROOT, library, kind)
        faults = disagreements(ROOT, library, standing)
        made, stored = described(standing), ROOT / STORED.format(kind)
        new_names, new_constants = added(stored, made) if stored.exists() else ({}, [])
        nodes = version_script.nodes()
        faults += node_faults(nodes, new_names, versions.project(), versions.released()) + package_faults(nodes)
        if faults:
            sys.exit("\n".join(faults))
        if command == "store":
            store(kind, stored, made)
        else:
            check(kind, stored, made, new_names, new_constants)
        print(f"{STORED.format(kind)}: {len(symbols(library))} exported names, {'stored' if command == 'store' else 'as stored'}")


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2], sys.argv[3:])
