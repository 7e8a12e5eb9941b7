#!/usr/bin/env python3
"""Reads the installed headers that docs/library.md names for panels. Reports what other languages' importers of C++
cannot read in a public declaration: importable.py INCLUDE-FOLDER DOCUMENT"""
import pathlib
import re
import sys

# What stays, by header and declaration, and the replacement for compilers that cannot read it.
ALLOWED = {
    ("Sessions/SessionFileStore.hpp", "withLock"): "for writers; panels read by loadAll, which takes no lock",
    ("Monitor/SessionMonitor.hpp", "observe"): "for many sessions; judge takes one",
    ("Panel/PanelNavigation.hpp", "next"): "for any element; the elements of focusOrder have a plain overload",
    ("Support/FixedList.hpp", "class FixedList"): "its instantiations have names: AgentDefinition::Names, EventList",
    ("Support/File.hpp", "FileDescriptor(FileDescriptor&&"): "a move, which importers know; panels never see one",
    ("Support/File.hpp", "operator=(FileDescriptor&&"): "the same",
}
UNREADABLE = {
    "a template": re.compile(r"\btemplate\s*<(?!\s*>)"),
    "a deduced result": re.compile(r"\b(auto|decltype)\b"),
    "an rvalue reference": re.compile(r"&&"),
    "a span": re.compile(r"\bstd::span\b"),
    "a constraint": re.compile(r"\b(concept|requires)\b"),
}
HEADINGS = {
    "**For panels**": "panel",
    "**Come along**": "along",
    "**For other hook commands**": "hook",
}


def groups(document):
    """The headers that the document lists, by group."""
    lists = {name: [] for name in HEADINGS.values()}
    current = None
    for line in document.splitlines():
        for heading, name in HEADINGS.items():
            if line.startswith(heading):
                current = lists[name]
        if line.startswith("## "):
            current = None
        item = re.fullmatch(r"- `([\w/]+\.hpp)`", line)
        if item and current is not None:
            current.append(item[1])
    return lists


def public_declarations(text):
    """The declarations of a header that are neither private nor inside a function."""
    text = re.sub(r"//[^\n]*|/\*.*?\*/|\"(?:\\.|[^\"\\])*\"", "", text, flags=re.S)
    text = re.sub(r"^\s*#.*$", "", text, flags=re.M)
    declarations = []
    scopes = [("namespace", True)]
    piece = ""
    for token in re.findall(r"\b(?:public|private|protected)\s*:|[{};]|[^{};p]+|p", text, flags=re.S):
        kind, visible = scopes[-1]
        if kind == "body":
            if token == "{":
                scopes.append(("body", False))
            elif token == "}":
                scopes.pop()
        elif re.fullmatch(r"(public|private|protected)\s*:", token):
            scopes[-1] = (kind, token.startswith("public") and scopes[-2][1])
        elif token not in "{};":
            piece += token
            continue
        elif token == "}":
            scopes.pop()
        else:
            if visible and piece.strip():
                declarations.append(" ".join(piece.split()))
            if token == "{":
                opens = None if "(" in piece else re.search(r"\b(namespace|class|struct|union)\b", piece)
                public = visible and (opens is None or opens[1] != "class")
                scopes.append((opens[1] if opens else "body", public))
        piece = ""
    if len(scopes) != 1:
        sys.exit("The braces of a header do not match.")
    return declarations


def included(include, header):
    """All lines of an #include in a header and in those of this library that it includes."""
    lines, seen, queue = [], set(), [f"TavrinCore/{header}"]
    while queue:
        path = queue.pop()
        if path in seen:
            continue
        seen.add(path)
        found = re.findall(r'^#include ["<](.+)[">]', (include / path).read_text(), flags=re.M)
        lines += found
        queue += [name for name in found if name.startswith("TavrinCore/")]
    return lines


def main():
    include = pathlib.Path(sys.argv[1])
    lists = groups(pathlib.Path(sys.argv[2]).read_text())
    complaints = []

    listed = [header for headers in lists.values() for header in headers]
    installed = {str(path.relative_to(include / "TavrinCore")) for path in include.rglob("*.hpp")}
    for header in sorted(set(listed) ^ installed):
        complaints.append(f"{header} is {'not installed' if header in listed else 'in no list'}")
    if len(set(listed)) != len(listed):
        complaints.append("a header is in two lists")

    for path in include.rglob("*.hpp"):
        if re.search(r"\bboost\b", re.sub(r"//[^\n]*", "", path.read_text())):
            complaints.append(f"{path.relative_to(include)} shows Boost")

    used = set()
    count = 0
    for header in lists["panel"] + lists["along"]:
        for name in included(include, header):
            inside = name.removeprefix("TavrinCore/")
            if name.startswith("boost/") or (inside != name and inside not in lists["panel"] + lists["along"]):
                complaints.append(f"{header} brings {name} along")
        for declaration in public_declarations((include / "TavrinCore" / header).read_text()):
            count += 1
            found = [what for what, pattern in UNREADABLE.items() if pattern.search(declaration)]
            allowed = [key for key in ALLOWED if key[0] == header and key[1] in declaration]
            if found and not allowed:
                complaints.append(f"{header}: {' and '.join(found)} in: {declaration}")
            if found:
                used.update(allowed)
    complaints += [f"{header}: there is no {what} to allow any more" for header, what in set(ALLOWED) - used]

    if complaints:
        sys.exit("\n".join(sorted(set(complaints))))
    print(f"{count} declarations of {len(lists['panel']) + len(lists['along'])} headers can be read.")


if __name__ == "__main__":
    main()
