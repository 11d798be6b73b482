#!/usr/bin/env python3
"""Doxygen input filter: the headers are written with plain comments, which this turns into
documentation comments as Doxygen reads them, so the headers stay plain C and C++.

- the first comment of a file documents the file;
- a comment on lines of its own documents what follows (/* -> /**, // -> ///);
- a comment after code on the same line documents that code (/**<, ///<);
- "/* ---- Title ---- */" separators stay plain comments.
Line numbers do not change, so Doxygen's messages point at the real lines.

Usage: doxygen_filter.py HEADER (prints the filtered header)
"""
import re
import sys


def main():
    with open(sys.argv[1], encoding="utf-8") as f:
        lines = f.read().split("\n")
    first, in_block, in_body = True, False, 0
    out = []
    for line in lines:
        stripped = line.strip()
        if in_block:
            in_block = "*/" not in line
        elif re.match(r"/\* -{2,}", stripped):
            in_block = "*/" not in line
        elif stripped.startswith("/*") and not stripped.startswith("/**") and not in_body:
            name = sys.argv[1].rsplit("/", 1)[-1]
            line = line.replace("/*", f"/** @file {name}" if first else "/**", 1)
            in_block = "*/" not in line
            first = False
        elif stripped.startswith("//") and not stripped.startswith("///") and not in_body:
            line = line.replace("//", "///", 1)
        elif not in_body and re.search(r"\S.*?(/\*(?![*<])|//(?![/<]))", line):
            line = re.sub(r"/\*(?![*<])", "/**<", line, count=1)
            line = re.sub(r"(?<![:/])//(?![/<])", "///<", line, count=1)
        # Comments inside a function body stay plain: brace depth of an inline definition.
        if not in_block and not stripped.startswith(("/*", "//", "*", "#")):
            code = re.sub(r'"[^"]*"', "", line.split("//")[0])
            if re.search(r"\)\s*(const\s*)?\{", code) or in_body:
                in_body = max(0, in_body + code.count("{") - code.count("}"))
        out.append(line)
    sys.stdout.write("\n".join(out))


if __name__ == "__main__":
    main()
