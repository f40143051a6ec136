# SPDX-License-Identifier: MIT
"""Makes the manual pages: those of docs/man, and in section 3 one for each header, with a link for each function.

usage: manuals.py OUT SCDOC

Pages in docs/man may contain, on a line of its own:
  @section PAGE TITLE    the text of a section of docs/PAGE.md
  @record NAME           the fields of a record, with their offsets
  @headers               the pages of all headers"""
import pathlib
import re
import subprocess
import sys

import headers

ROOT = pathlib.Path(__file__).resolve().parent.parent


def escaped(text):
    return re.sub(r"([\\*_+#|\[\];`])", r"\\\1", text)


def inline(text):
    """Markdown within a paragraph, as scdoc has it."""
    text = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", text)
    parts = re.split(r"`([^`]+)`|\*\*(.+?)\*\*", text)
    done = ""
    for at in range(0, len(parts), 3):
        done += escaped(re.sub(r"\\(.)", r"\1", parts[at]))
        if at + 2 < len(parts):
            done += f"*{escaped((parts[at + 1] or parts[at + 2]).replace(chr(92) + '|', '|'))}*"
    return done


def table(rows):
    """A column with a long cell takes its part of the width that is left."""
    lines = []
    wide = [max(map(len, column)) > 24 for column in zip(*rows)]
    for number, row in enumerate(rows):
        for column, cell in enumerate(row):
            kind = " " if number else "<" if wide[column] and column else "["
            text = inline(cell) if number else f"*{escaped(cell)}*" if cell else ""
            lines.append(f"{':' if column else '|'}{kind} {text}")
    return "\n".join(lines)


def converted(markdown):
    """Paragraphs, tables, lists and code of a document."""
    blocks = []
    for block in re.split(r"\n\s*\n", re.sub(r"<!--.*?-->\n*", "", markdown, flags=re.S).strip("\n")):
        if block.startswith("|"):
            rows = [[cell.strip() for cell in re.split(r"(?<!\\)\|", line.strip())[1:-1]]
                    for line in block.splitlines()]
            blocks.append(table([rows[0], *rows[2:]]))
        elif block.startswith("    "):
            blocks.append("```\n" + re.sub(r"(?m)^    ", "", block) + "\n```")
        elif block.startswith("- "):
            blocks.append("\n".join("- " + inline(headers.fill(point)) for point in re.split(r"(?:^|\n)- ", block)[1:]))
        elif block.startswith("#"):
            blocks.append("## " + block.lstrip("# "))
        else:
            blocks.append(inline(headers.fill(block)))
    return "\n\n".join(blocks)


def section(page, title):
    text = (ROOT / f"docs/{page}.md").read_text(encoding="utf-8")
    found = re.search(rf"^(##+) {re.escape(title)}\n(.*?)(?=^##? |\Z)", text, re.M | re.S)
    if not found:
        sys.exit(f"docs/{page}.md: no section '{title}'")
    return converted(found.group(2))


def record(read, name):
    size, rows = headers.checked_fields(ROOT, read, name)
    text = table([("Offset", "Bytes", "Type", "Field", "Meaning"),
                  *((str(offset), str(length), f"`{kind}`", f"`{field}`", meaning)
                    for offset, length, kind, field, meaning in rows if not field.startswith("reserved"))])
    return f"*{escaped(name)}*, {size} bytes. Bytes that are not listed are reserved.\n\n{text}"


def indented(text, depth=1):
    return "\n".join("\t" * depth + line if line else "" for line in text.split("\n"))


def described(item):
    parts = [converted(text) for text in item.text]
    parts += [f"_{escaped(names)}_\n{indented(converted(text))}" for names, text in item.parameters]
    if item.result:
        parts.append(f"Returns {converted(item.result)}.".replace("..", "."))
    if item.kind in ("type", "macro"):
        return "\n\n".join([*parts, "```\n" + item.code.replace("/**<", "/*") + "\n```"])
    lines = "++\n".join(f"*{escaped(line)}*" for line in item.code.splitlines())
    return lines + "\n" + indented("\n\n".join(parts))


def header_page(header):
    name = "kvrn-" + header.name.removesuffix(".h")
    functions = [name for item in header.of("function") for name in item.names]
    brief = header.brief.rstrip(".").replace(" - ", ", ")
    parts = [f"{name}(3)", "# NAME", f"{', '.join([name, *functions])} - {inline(brief[0].lower() + brief[1:])}",
             "# SYNOPSIS", f"*#include <kvrn/{header.name}>*\n\n*cc* _program.c_ *$(pkg-config --cflags --libs kvrn)*"]
    parts += ["# DESCRIPTION", *(converted(text) for text in [header.brief, *header.text])]
    types = header.of("type", "macro")
    named = False
    for item in (item for item in header.items if item not in types):
        if item.kind == "section":
            parts.append("# " + escaped(item.code.rstrip(".").upper()))
            named = True
        elif item.kind == "text":
            parts += [converted(text) for text in item.text]
        else:
            if not named:
                parts.append("# FUNCTIONS")
                named = True
            parts.append(described(item))
    if types:
        parts += ["# TYPES AND CONSTANTS", *map(described, types)]
    return "\n\n".join([*parts, "# SEE ALSO", "*kvrn*(3)"]) + "\n"


def expanded(path, read):
    def line(found):
        word, *rest = found.group(1).split(None, 2)
        if word == "section":
            return section(*rest)
        if word == "record":
            return record(read, rest[0])
        return "\n".join(f"*kvrn-{name}*(3){'++' * (name != headers.HEADERS[-1])}" for name in headers.HEADERS)
    return re.sub(r"(?m)^@(.*)$", line, path.read_text(encoding="utf-8"))


def cell(found):
    """A short cell of a table is one line. In a long one a path or name may be divided, without a hyphen, and the right
    margin is ragged: narrow lines cannot be adjusted."""
    text = found.group(1)
    if "\n" not in text and len(re.sub(r"\\f.|\\&", "", text)) <= 24:
        return text
    return "T{\n.nh\n.ad l\n" + re.sub(r"(?<=\w)([_/])(?=\w)", r"\1\\:", text) + "\nT}"


def repaired(roff):
    """scdoc begins a paragraph where none follows; mandoc warns of that. Nor does it say that a page has tables: not every
    man looks for them without the first line."""
    roff = re.sub(r"T\{\n(.*?)\nT\}", cell, roff, flags=re.S)
    roff = re.sub(r"(?m)(?:^\.PP?\n)+(?=\.(?:SH|SS|RE|PP?)\b|\Z)", "", roff)
    return "'\\\" t\n" * ("\n.TS\n" in roff) + re.sub(r"(?m)^(\.S[HS] .*\n)\.PP?\n", r"\1", roff)


def main():
    out, scdoc = pathlib.Path(sys.argv[1]), sys.argv[2]
    read = headers.read_all(ROOT)
    pages = {f"kvrn-{name}.3": header_page(header) for name, header in read.items()}
    pages |= {path.stem: expanded(path, read) for path in sorted((ROOT / "docs/man").glob("*.[0-9].scd"))}
    for name, text in pages.items():
        folder = out / f"man{name[-1]}"
        folder.mkdir(parents=True, exist_ok=True)
        done = subprocess.run([scdoc], input=text, capture_output=True, text=True)
        if done.returncode != 0:
            number = int((re.search(r":(\d+)", done.stderr) or [0, 1])[1])
            sys.exit(f"{name}: {done.stderr}{text.splitlines()[number - 1]}")
        (folder / name).write_text(repaired(done.stdout), encoding="utf-8")
    for name, header in read.items():
        for function in (function for item in header.of("function") for function in item.names):
            link = out / f"man3/{function}.3"
            link.unlink(missing_ok=True)
            link.symlink_to(f"kvrn-{name}.3")


if __name__ == "__main__":
    main()
