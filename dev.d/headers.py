# SPDX-License-Identifier: MIT
"""Reads the public C headers: what their comments say about each declaration, and how the records lie in memory."""
import dataclasses
import re
import sys

HEADERS = ("board", "hw", "cache", "battery", "psu", "cfg", "status", "util", "snmp", "observe", "bytes")
SIZES = {"8": 1, "16": 2, "32": 4, "64": 8}
COMMENT = re.compile(r"/\*.*?\*/", re.S)


@dataclasses.dataclass
class Item:
    """A declaration with its comment. A section is an item without code; its text may be empty."""
    kind: str  # "function", "data", "type", "macro", "section", "text"
    names: list
    code: str = ""
    text: list = dataclasses.field(default_factory=list)        # paragraphs; a list is one string with "- " lines
    parameters: list = dataclasses.field(default_factory=list)  # (names, text)
    result: str = ""


@dataclasses.dataclass
class Header:
    name: str
    brief: str
    text: list
    items: list

    def of(self, *kinds):
        return [item for item in self.items if item.kind in kinds]

    def names(self):
        """Every name that a program can call or read."""
        return [name for item in self.of("function", "data") for name in item.names]


def plain(comment):
    """The text of a comment, without its frame of asterisks."""
    body = re.sub(r"^/\*\*?<?|\*/$", "", comment.strip())
    return "\n".join(re.sub(r"^\s*\*? ?", "", line).strip() for line in body.split("\n")).strip()


def fill(text):
    """Joins the lines of a paragraph. The points of a list stay on lines of their own."""
    return re.sub(r"\s*\n(?!- )\s*", " ", text.strip())


def paragraphs(text):
    return [fill(part) for part in re.split(r"\n\s*\n|(?<=:)\n(?=- )", text) if part.strip()]


def document(item, comment):
    """Divides a comment into text, parameters and result."""
    text, *tags = re.split(r"@(?=param|return)", plain(comment))
    item.text = paragraphs(text)
    for tag in tags:
        if tag.startswith("return"):
            item.result = fill(tag.removeprefix("return"))
        else:
            names, words = re.match(r"param(?:\[out\])?\s+(\w+(?:,\s*\w+)*)\s+(.*)", tag, re.S).groups()
            item.parameters.append((names, fill(words)))
    return item


def declaration(source, start):
    """The end of the declaration: its semicolon outside of braces and comments."""
    depth, at = 0, start
    while source[at] != ";" or depth:
        if source.startswith("/*", at):
            at = source.index("*/", at) + 1
        depth += {"{": 1, "}": -1}.get(source[at], 0)
        at += 1
    return at + 1


def item_of(code):
    bare = re.sub(r"\s+", " ", COMMENT.sub("", code)).strip()
    if re.match(r"(typedef|enum|struct)\b", bare):
        found = re.search(r"(\w+)\)?\([^()]*\);$|(\w+);$", bare) if bare.startswith("typedef") else None
        name = next(filter(None, found.groups())) if found else bare.split()[1].rstrip(";")
        return Item("type", [name], code)
    kind = "data" if "extern" in bare else "function"
    bare = re.sub(r" ?__attribute__ ?\(\(.*\)\)| ?KVRN_PATTERN_ARGS\([^)]*\)|KVRN_API |extern ", "", bare)
    name = re.search(r"(\w+)(?:\[\w*\])?;$" if kind == "data" else r"(\w+)\(", bare).group(1)
    return Item(kind, [name], bare)


def read(path):
    source = path.read_text(encoding="utf-8")
    found = re.search(r"/\*\*\n? ?\*? @file (\S+)\s+(.*?)\*/", source, re.S)
    brief, *text = paragraphs("\n".join(re.sub(r"^ \* ?", "", line) for line in found.group(2).split("\n")))
    header = Header(found.group(1), brief, text, [])
    if path.name == "bytes.h":  # its fields have one macro each
        for name, kind in re.findall(r"^KVRN_BE_FIELD\((\w+), (\w+), ", source, re.M):
            header.items.append(Item("function", [f"kvrn_{name}", f"kvrn_to_{name}"],
                                     f"{kind} kvrn_{name}(kvrn_be_{name} field);\n"
                                     f"kvrn_be_{name} kvrn_to_{name}({kind} value);",
                                     [f"Reads and makes a big-endian field that holds a `{kind}`."]))
        return header
    # Macros may stand before the declarations.
    at = min(place.start() for place in re.finditer(r"KVRN_BEGIN_DECLS\n|/\*\*[^\n]*\n#define", source))
    end, pending = source.rindex("KVRN_END_DECLS"), None
    while at < end:
        rest = source[at:]
        if found := re.match(r"\s+|KVRN_BEGIN_DECLS|KVRN_STATIC_ASSERT\(", rest):
            at = declaration(source, at) if "ASSERT" in found.group() else at + found.end()
        elif rest.startswith("/*"):
            comment = COMMENT.match(rest).group()
            at += len(comment)
            if title := re.match(r"/\* -+ (.*?) -+ \*/$", comment):
                header.items.append(Item("section", [], title.group(1)))
            elif comment.startswith("/**<"):
                document(header.items[-1], comment)
            elif comment.startswith("/**"):
                # Two comments in a row: the first one is about all that follows.
                if pending:
                    header.items.append(document(Item("text", []), pending))
                pending = comment
            else:
                header.items.append(document(Item("text", []), comment))
        else:
            if rest.startswith("#"):
                line = re.match(r"(?:.*\\\n)*.*", rest).group()
                at += len(line)
                code, _, trailing = line.partition("/**<")
                item = Item("macro", [code.split()[1].split("(")[0]], code.rstrip())
                pending = pending or (trailing and "/**" + trailing)
            else:
                stop = declaration(source, at)
                item = item_of(source[at:stop])
                at = stop
            if re.fullmatch(r"(typedef )?struct \w+( \w+)?;", item.code):
                continue  # the comment belongs to the definition that follows
            if item.kind == "function" and not pending:
                sys.exit(f"{path}: {item.names[0]}() has no comment")
            header.items.append(document(item, pending) if pending else item)
            pending = None
    return header


def read_all(root):
    return {name: read(root / f"include/kvrn/{name}.h") for name in HEADERS}


# ---- Records ----

def all_text(root):
    return "\n".join(path.read_text(encoding="utf-8") for path in sorted((root / "include/kvrn").glob("*.h")))


def constants(root):
    return {name: int(value) for name, value in re.findall(r"#define (\w+) (\d+)\b", all_text(root))}


def fields(headers, values, name):
    """The size, the alignment, and (offset, size, type, field, meaning) of a record with its natural alignment."""
    code = next(item.code for header in headers.values() for item in header.of("type") if item.names == [name])
    offset, most, rows = 0, 1, []
    member = re.compile(r"^\s*(\w+) (\w+)(?:\[(\w+)\])?;(?:\s*/\*\*< (.*?) \*/)?", re.M)
    for kind, field, count, meaning in member.findall(code):
        if scalar := re.search(r"[iuf](?:nt)?(8|16|32|64)(?:_t)?$", kind):
            size = align = SIZES[scalar.group(1)]
        else:
            size, align, _ = fields(headers, values, kind)
        total = size * (int(values.get(count, count)) if count else 1)
        offset = -(-offset // align) * align
        shown = kind.removeprefix("kvrn_be_") + (f"[{values.get(count, count)}]" if count else "")
        rows.append((offset, total, shown, field, meaning))
        offset, most = offset + total, max(most, align)
    return -(-offset // most) * most, most, rows


def checked_fields(root, headers, name):
    """fields(), compared with the sizes and offsets that the headers assert."""
    size, _, rows = fields(headers, constants(root), name)
    text = all_text(root)
    wanted = dict(re.findall(rf"offsetof\({name}, (\w+)\) == (\d+)", text))
    wanted["sizeof"] = re.search(rf"sizeof\({name}\) == (\d+)", text).group(1)
    seen = {field: offset for offset, _, _, field, _ in rows} | {"sizeof": size}
    for field, value in wanted.items():
        if seen.get(field) != int(value):
            sys.exit(f"{name}: {field} is {seen.get(field)}, and the headers assert {value}")
    return size, rows
