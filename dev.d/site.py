# SPDX-License-Identifier: MIT
"""Makes the site: the documents, the manual pages and a reference of the headers. mkdocs makes it from plain pages.

usage: site.py PAGES SITE MANUALS"""
import html
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys

import headers

ROOT = pathlib.Path(__file__).resolve().parent.parent
START = [("Start", "README.md"), ("Tutorial", "docs/tutorial.md"), ("Interface", "docs/interface.md")]
BAR = r"\|"
DEVELOP = ("CONTRIBUTING.md", "SECURITY.md", "docs/architecture.md", "docs/extending.md", "docs/target.md",
           "docs/performance.md", "docs/releasing.md", "CHANGELOG.md")


def title(page):
    return re.search(r"^# (.*)", page.read_text(encoding="utf-8"), re.M).group(1)


def linked(text, places, folder):
    """`function()` becomes a link to its description."""
    def link(found):
        name = found.group(2)
        if name not in places:
            return found.group()
        target = os.path.relpath(f"reference/{places[name]}.md", folder) + f"#{name}"
        return f"[{found.group(1)}{name}(){found.group(1)}]({target})"
    parts = re.split(r"((?:^(?:    .*)?\n)+|^```.*?^```\n)", text, flags=re.M | re.S)  # code stays as it is
    for at in range(0, len(parts), 2):
        parts[at] = re.sub(r"(`?)\b(\w+)\(\)\1(?!\])", link, parts[at])
    return "".join(parts)


def plain(text):
    return re.sub(r"(?<!`)<(?!`)", "&lt;", text)


def for_mkdocs(text):
    """What mkdocs reads in another way than the other readers of the documents."""
    # The content of a numbered point has four blanks in front.
    text = re.sub(r"(?m)^\d+\. .*\n(?:(?: {3}.*)?\n)*", lambda found: re.sub(r"(?m)^ {3}", "    ", found.group()), text)
    # A bar within code within a table.
    return re.sub(r"`([^`\n]*\\\|[^`\n]*)`",
                  lambda found: f"<code>{html.escape(found.group(1)).replace(BAR, '&#124;')}</code>", text)


def reference(header):
    lines = [f"# kvrn/{header.name}", "", header.brief, ""]
    for text in header.text:
        lines += [plain(text), ""]
    for item in header.items:
        if item.kind == "section":
            lines += [f"## {item.code.rstrip('.')}", ""]
            continue
        for name in item.names[:1]:
            lines += [f"### {name} {{#{name}}}", ""]
        # Further names of the same item.
        lines += [f'<a id="{name}"></a>' for name in item.names[1:]]
        if item.code:
            lines += ["```c", item.code.replace("/**<", "/*"), "```", ""]
        for text in item.text:
            lines += [plain(text).replace(": - ", ":\n\n- "), ""]
        if item.parameters:
            lines += ["| parameter | meaning |", "| --- | --- |"]
            lines += [*(f"| `{names}` | {plain(text)} |" for names, text in item.parameters), ""]
        if item.result:
            lines += [f"**Returns** {plain(item.result)}", ""]
    return "\n".join(lines)


def manual(page, names):
    def link(found):
        name = f"{found.group(1)}.{found.group(2)}"
        return f'<a href="{name}.html">{found.group()}</a>' if name in names else found.group()
    command = ["mandoc", "-Thtml", "-Ofragment", page]
    text = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    text = re.sub(r"<b>([\w.-]+)</b>\((\d)\)", link, text)
    # An empty line would end the block of HTML.
    return f"# {page.stem}({page.suffix[1:]})\n\n" + re.sub(r"\n\s*\n", "\n&#8203;\n", text)


def main():
    pages, site, manuals = map(pathlib.Path, sys.argv[1:])
    shutil.rmtree(pages, ignore_errors=True)
    shutil.copytree(ROOT / "docs", pages / "docs", ignore=shutil.ignore_patterns("man"))
    for name in ("README.md", "CONTRIBUTING.md", "SECURITY.md", "CHANGELOG.md", "LICENSE"):
        shutil.copy(ROOT / name, pages / name)
    (pages / "reference").mkdir()
    (pages / "man").mkdir()

    read = headers.read_all(ROOT)
    places = {name: header.name for header in read.values() for name in header.names()}
    for header in read.values():
        (pages / f"reference/{header.name}.md").write_text(reference(header), encoding="utf-8")
    face = (ROOT / "include/kvrn/kvrn.hpp").read_text(encoding="utf-8")
    (pages / "reference/kvrn.hpp.md").write_text(f"# kvrn/kvrn.hpp\n\n```cpp\n{face}```\n", encoding="utf-8")
    rows = [f"| `{name}()` | [{places[name]}]({places[name]}.md) |\n"
            for header in read.values() for item in header.of("function") for name in item.names]
    index = "# All functions\n\n| function | header |\n| --- | --- |\n" + "".join(sorted(rows, key=str.lower))
    (pages / "reference/index.md").write_text(index, encoding="utf-8")
    for page in pages.rglob("*.md"):
        text = re.sub(r"\(docs/man/([\w.-]+)\.scd\)", r"(man/\1.md)", page.read_text(encoding="utf-8"))
        page.write_text(linked(for_mkdocs(text), places, page.parent.relative_to(pages)), encoding="utf-8")
    found = sorted(page for page in manuals.glob("man*/kvrn*") if not page.is_symlink())
    for page in found:
        (pages / f"man/{page.name}.md").write_text(manual(page, {page.name for page in found}), encoding="utf-8")

    shown = {path for _, path in START} | set(DEVELOP)
    guides = sorted(path for path in pages.glob("docs/*.md") if str(path.relative_to(pages)) not in shown)
    navigation = [*({name: path} for name, path in START),
                  {"Guides": [{title(path): str(path.relative_to(pages))} for path in guides]},
                  {"Reference": [f"reference/{name}.md" for name in ("index", *sorted({*places.values()}), "kvrn.hpp")]},
                  {"Manual pages": [f"man/{page.name}.md" for page in found]},
                  {"Development": [{title(pages / path): path} for path in DEVELOP]}]
    # Pages that work without a server, and load nothing from another place.
    settings = {"site_name": "kvrn", "site_url": "", "docs_dir": str(pages.absolute()),
                "site_dir": str(site.absolute()), "use_directory_urls": False, "strict": True, "nav": navigation,
                "theme": {"name": "mkdocs", "highlightjs": False},
                "markdown_extensions": ["attr_list", "sane_lists"]}
    (pages.parent / "mkdocs.json").write_text(json.dumps(settings, indent=1), encoding="utf-8")
    subprocess.run(["mkdocs", "build", "--quiet", "-f", pages.parent / "mkdocs.json"], check=True)


main()
