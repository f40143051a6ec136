# SPDX-License-Identifier: MIT
"""Reads the library's version script: the nodes, oldest first, with the exported names of each."""
import dataclasses
import pathlib
import re

PATH = pathlib.Path(__file__).resolve().parent.parent / "cmake/libkvrn.map"


@dataclasses.dataclass
class Node:
    name: str
    exported: list
    parent: str  # the node that it inherits, or ""


def nodes(path=PATH):
    text = re.sub(r"/\*.*?\*/", "", path.read_text(encoding="utf-8"), flags=re.S)
    return [Node(name, re.findall(r"(\w+)\s*;", re.sub(r"local:.*", "", body, flags=re.S)), parent)
            for name, body, parent in re.findall(r"([\w.]+)\s*\{(.*?)\}\s*([\w.]*)\s*;", text, re.S)]


def exported(path=PATH):
    return {name for node in nodes(path) for name in node.exported}
