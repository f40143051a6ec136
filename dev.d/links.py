# SPDX-License-Identifier: MIT
"""Checks the links of the documents, of the site if its folder is given, and the names of files in the documents.

usage: links.py [SITE]"""
import html.parser
import pathlib
import re
import subprocess
import sys
import urllib.parse

TOP = {"cmake", "dev.d", "docs", "examples", "include", "lib", "mibs", "monitoring", "openwrt", "sim", "tests", "tools", "vm"}
PLACEHOLDER = re.compile(r"NAME|^lib/(sysusers\.d|tmpfiles\.d|udev|systemd)/")  # or a file of the installation
OUTSIDE = re.compile(r"[a-z]+:|//")


def prose(text):
    """A document without its code."""
    text = re.sub(r"^```.*?^```|^ {4,}.*?$", "", text, flags=re.M | re.S)
    return re.sub(r"<!--.*?-->", "", text, flags=re.S)


def anchor(heading):
    """As the usual web fronts of git make it."""
    words = re.sub(r"[`*]|\[([^\]]*)\]\([^)]*\)", r"\1", heading).strip().lower()
    return re.sub(r"[^\w\- ]", "", words).replace(" ", "-")


def anchors(page):
    return {anchor(heading) for heading in re.findall(r"^#+ (.*)", page.read_text(encoding="utf-8"), re.M)}


def check_documents(faults):
    command = ["git", "-c", "safe.directory=*", "ls-files", "*.md"]
    pages = subprocess.run(command, check=True, capture_output=True, text=True).stdout.split()
    for page in map(pathlib.Path, pages):
        text = prose(page.read_text(encoding="utf-8"))
        for target in re.findall(r"\[[^\]]*\]\(([^)\s]+)\)", re.sub(r"`[^`]*`", "", text)):
            if OUTSIDE.match(target):
                continue
            path, _, name = target.partition("#")
            file = page.parent / path if path else page
            if not file.exists():
                faults.append(f"{page}: links to {target}, which does not exist")
            elif name and name not in anchors(file):
                faults.append(f"{page}: links to {target}, and there is no such heading")
        for name in re.findall(r"`((?:[\w.-]+/)+[\w.-]*)`", text):
            if name.split("/")[0] in TOP and not PLACEHOLDER.search(name) and not pathlib.Path(name).exists():
                faults.append(f"{page}: names {name}, which does not exist")
    return f"{len(pages)} documents"


class Page(html.parser.HTMLParser):
    def __init__(self, path):
        super().__init__()
        self.ids, self.links, self.loads = set(), [], []
        self.feed(path.read_text(encoding="utf-8"))

    def handle_starttag(self, tag, attrs):
        attrs = dict(attrs)
        self.ids |= {attrs.get("id"), attrs.get("name")}
        for name in ("href", "src"):
            if attrs.get(name):
                (self.links if tag == "a" else self.loads).append(attrs[name])


def check_site(site, faults):
    pages = {path: Page(path) for path in site.rglob("*.html") if path.name != "404.html"}  # that one is for a server
    for path, page in pages.items():
        faults += [f"{path}: loads {target} from another place" for target in page.loads if OUTSIDE.match(target)]
        for target in page.links + page.loads:
            if OUTSIDE.match(target):
                continue
            place, _, name = urllib.parse.unquote(target).partition("#")
            file = (path.parent / place.split("?")[0]).resolve() if place else path
            if file.is_dir():
                file /= "index.html"
            if not file.exists():
                faults.append(f"{path}: links to {target}, which does not exist")
            elif name and file in pages and name not in pages[file].ids:
                faults.append(f"{path}: links to {target}, and there is no such place")
    return f"{len(pages)} pages of the site"


def main():
    faults = []
    checked = [check_documents(faults)]
    if len(sys.argv) > 1:
        checked.append(check_site(pathlib.Path(sys.argv[1]).resolve(), faults))
    if faults:
        sys.exit("\n".join(faults))
    print(f"every link leads somewhere: {', '.join(checked)}")


main()
