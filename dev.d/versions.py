# SPDX-License-Identifier: MIT
"""Where versions stand: the project's in CMakeLists.txt, the released ones in CHANGELOG.md and in git's tags."""
import pathlib
import re
import subprocess

GIT = ["git", "-c", "safe.directory=*"]  # also in another user's checkout
ROOT = pathlib.Path(__file__).resolve().parent.parent


def number(text):
    """(major, minor, patch) of "1.2.3"; (major, minor) of "1.2"."""
    return tuple(map(int, text.split(".")))


def project(root=ROOT):
    text = (root / "CMakeLists.txt").read_text(encoding="utf-8")
    return re.search(r"^project\(kvrn VERSION ([\d.]+)", text, re.M).group(1)


def released(root=ROOT):
    """The versions with a date in the changelog, the newest first."""
    return re.findall(r"^## ([\d.]+) \(\d{4}-\d\d-\d\d\)$", (root / "CHANGELOG.md").read_text(encoding="utf-8"), re.M)


def git(*arguments, root=ROOT):
    return subprocess.run([*GIT, *arguments], cwd=root, check=True, capture_output=True, text=True).stdout


def tags(root=ROOT):
    """The versions with a tag, the newest first. A shallow clone may have none."""
    found = re.findall(r"^v(\d+\.\d+\.\d+)$", git("tag", "--list", "v*", root=root), re.M)
    return sorted(found, key=number, reverse=True)
