# SPDX-License-Identifier: MIT
"""Makes a release: checks that all is ready, dates it, tests and packs exactly that state, then commits and tags it.

usage: release.py VERSION [--dry-run]

The release is written, committed and tested in a work tree of its own, build/release. The branch and the tag come last,
so whatever fails leaves both as they were."""
import argparse
import datetime
import email.utils
import os
import re
import shutil
import subprocess
import sys

import abi
import versions

ROOT = versions.ROOT
BRANCH = "main"
TREE = ROOT / "build/release"
STEPS = (["./dev", "test"], ["./dev", "check"], ["./dev", "packages", "--boot", "bookworm", "trixie"])
CHANGELOG, DEBIAN = "CHANGELOG.md", "debian/changelog"
ENTRY = re.compile(r"kvrn \(([\d.]+)\) (.*)\n\n((?: .*\n|\n)*?) -- (.*?)  .*\n")


def fail(text):
    sys.exit(f"dev: no release: {text}")


def git(*arguments, root=ROOT):
    try:
        return versions.git(*arguments, root=root).strip()
    except subprocess.CalledProcessError as error:
        fail(f"git {' '.join(arguments)}: {error.stderr.strip()}")


# ---- What must be so before ----

def check_tree():
    if (branch := git("branch", "--show-current")) != BRANCH:
        fail(f"this is {'branch ' + branch if branch else 'no branch'}; releases are made on {BRANCH}")
    if changed := git("status", "--porcelain"):
        fail(f"the tree has changes that are not committed:\n{changed}")
    git("var", "GIT_COMMITTER_IDENT")  # fails where git does not know who makes the tag


def check_version(version):
    if not re.fullmatch(r"(0|[1-9]\d*)(\.(0|[1-9]\d*)){2}", version):
        fail(f"'{version}' is no version: MAJOR.MINOR.PATCH, three whole numbers")
    last = next(iter(versions.tags()), None)
    if last and versions.number(version) <= versions.number(last):
        fail(f"{version} is not above the last release, {last}")
    if (project := versions.project()) != version:
        fail(f"CMakeLists.txt has VERSION {project}")
    text = (ROOT / CHANGELOG).read_text(encoding="utf-8")
    section = re.search(r"^## (.*)\n((?:(?!## ).*\n)*)", text, re.M)
    if section.group(1) != f"{version} (unreleased)":
        fail(f"the first section of {CHANGELOG} is \"{section.group(1)}\", and should be \"{version} (unreleased)\"")
    if not section.group(2).strip():
        fail(f"{CHANGELOG} says nothing about {version}")
    if not ENTRY.match((ROOT / DEBIAN).read_text(encoding="utf-8")):
        fail(f"{DEBIAN} does not begin with an entry")
    dated = next(iter(versions.released()), None)
    if dated != last:
        fail(f"the last release is {dated or 'none'} in {CHANGELOG}, and {last or 'none'} among the tags; git fetch --tags?")
    return last


def check_interface(version, last):
    """Compares the stored descriptions: "./dev check" compares them with the library."""
    if not last:
        print("the first release: no interface to keep")
        return
    (major, minor, _), before = versions.number(version), versions.number(last)
    for kind in abi.COMPILERS:
        old, new = abi.stored_at(last, kind), ROOT / abi.STORED.format(kind)
        if not old:
            fail(f"release {last} has no {abi.STORED.format(kind)}")
        if major == before[0] and (text := abi.broken(old, new)):
            fail(f"the interface is not that of {last}. This needs version {major + 1}.0.0:\n{text}")
        names, constants = abi.added(old, new)
        if (names or constants) and (major, minor) == before[:2]:
            new = ", ".join([*sorted(names), *constants])
            fail(f"new in the interface since {last}. This needs version {major}.{minor + 1}.0: {new}")
        print(f"{abi.STORED.format(kind)}: {len(names)} names more than {last}")


# ---- The release ----

def replace(path, old, new):
    path.write_text(path.read_text(encoding="utf-8").replace(old, new, 1), encoding="utf-8")


def write(version):
    """Dates the release in the work tree. Nothing else names the version apart from CMakeLists.txt."""
    now = datetime.datetime.now(datetime.timezone.utc)
    replace(TREE / CHANGELOG, f"## {version} (unreleased)", f"## {version} ({now:%Y-%m-%d})")
    path = TREE / DEBIAN
    text = path.read_text(encoding="utf-8")
    last, suite, changes, maintainer = ENTRY.match(text).groups()
    if last == version:  # its entry is there already, without the right date
        text = text[text.index("\n -- "):].split("\n", 2)[2].lstrip("\n")
    else:
        changes = f"  * Release {version}: {CHANGELOG} says what is new.\n\n"
    entry = f"kvrn ({version}) {suite}\n\n{changes} -- {maintainer}  {email.utils.format_datetime(now)}\n"
    path.write_text(entry + (text and "\n" + text), encoding="utf-8")


def prepare(version):
    """@return the commit of the release, which no branch has yet"""
    shutil.rmtree(TREE, ignore_errors=True)
    git("worktree", "prune")
    git("worktree", "add", "--detach", str(TREE), BRANCH)
    write(version)
    git("commit", "--all", "--message", f"Release {version}", root=TREE)
    print(git("show", "--stat", "--format=%s", root=TREE))
    return git("rev-parse", "HEAD", root=TREE)


def publish(version, start, commit):
    check_tree()
    if git("rev-parse", BRANCH) != start:
        fail(f"{BRANCH} has moved on meanwhile; what was tested is in {TREE}")
    # Signed if git's tag.gpgSign says so. Before the branch: it may ask for a key, and get none.
    tag = ["tag", "--annotate", f"v{version}", "--message", f"kvrn {version}", commit]
    if subprocess.run([*versions.GIT, *tag], cwd=ROOT).returncode != 0:
        fail("the tag was not made")
    if subprocess.run([*versions.GIT, "merge", "--ff-only", "--quiet", commit], cwd=ROOT).returncode != 0:
        git("tag", "--delete", f"v{version}")
        fail(f"{BRANCH} was not moved")


def main():
    parser = argparse.ArgumentParser(prog="./dev release", description="Checks, tests, packs, commits and tags a release.")
    parser.add_argument("version", metavar="VERSION")
    parser.add_argument("--dry-run", action="store_true", help="all but the last step: neither the branch nor a tag")
    given = parser.parse_args()
    check_tree()
    last = check_version(given.version)
    check_interface(given.version, last)
    start = git("rev-parse", BRANCH)
    commit = prepare(given.version)
    for step in STEPS:
        print(f"\n== {' '.join(step)}, in {TREE}", flush=True)
        if subprocess.run(step, cwd=TREE, env={**os.environ, "CI": "1"}).returncode != 0:  # nothing is left out
            fail(f"{' '.join(step)} failed in {TREE}; {BRANCH} is unchanged")
    if given.dry_run:
        print(f"\n{given.version} is ready. Nothing was written outside {TREE}, which holds the packages.")
        return
    publish(given.version, start, commit)
    print(f"\n{given.version} is committed and tagged; the packages are in {TREE}/build/packages. Push both when you are content:\n"
          f"  git push REMOTE {BRANCH} v{given.version}\n"
          "The next change opens a new section in CHANGELOG.md and raises VERSION in CMakeLists.txt.")


main()
