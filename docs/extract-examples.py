#!/usr/bin/env python3
"""Turns every ```cpp block of the guides into a program, so that the examples are compiled and run as
tests (docs/CMakeLists.txt; docs/README.md states the convention for authors).

A block is a complete snippet: its leading #include lines stay at file scope, everything after them
becomes the body of main(). Assertions work in every build type (NDEBUG is undefined). #line directives
point compiler errors at the guide's own lines.

Usage: extract-examples.py OUTPUT_DIR GUIDE.md...
Writes OUTPUT_DIR/<guide>_<n>.cpp for the n-th block of each guide (a file is rewritten only when its
content changes, so that unchanged examples are not rebuilt), removes stale ones, and prints the example
names, one a line.
"""

import pathlib
import re
import sys

FENCE = re.compile(r"^(\s*)```\s*(\S*)\s*$")


def blocks(path):
    """(first line number, lines) of every ```cpp block of a Markdown file."""
    found = []
    current = None
    indent = ""
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), start=1):
        fence = FENCE.match(line)
        if current is None:
            if fence:
                indent = fence.group(1)
                current = (number + 1, []) if fence.group(2) == "cpp" else (number + 1, None)
            continue
        if fence and fence.group(1) == indent and not fence.group(2):
            if current[1] is not None:
                found.append(current)
            current = None
        elif current[1] is not None:
            current[1].append(line[len(indent):] if line.startswith(indent) else line.lstrip())
    if current is not None:
        sys.exit(f"{path}: a ``` block opened at line {current[0] - 1} is never closed")
    return found


def program(path, first, lines):
    """The source of one example."""
    body_at = 0
    while body_at < len(lines) and (lines[body_at].startswith("#include") or not lines[body_at].strip()):
        body_at += 1
    guide = str(path.resolve())
    out = [
        f"// Generated from {path.name}, line {first}, by docs/extract-examples.py: edit the guide, not this file.",
        "#undef NDEBUG",
        "#include <cassert>",
        f'#line {first} "{guide}"',
    ]
    out += lines[:body_at]
    out.append("int main() {")
    out.append(f'#line {first + body_at} "{guide}"')
    out += lines[body_at:]
    out.append("}")
    return "\n".join(out) + "\n"


def main():
    output = pathlib.Path(sys.argv[1])
    output.mkdir(parents=True, exist_ok=True)
    names = []
    for guide in map(pathlib.Path, sys.argv[2:]):
        stem = re.sub(r"[^A-Za-z0-9]+", "_", guide.stem).strip("_").lower()
        for n, (first, lines) in enumerate(blocks(guide), start=1):
            name = f"{stem}_{n}"
            if name in names:
                sys.exit(f"extract-examples.py: two guides named {guide.stem}; rename one")
            source = program(guide, first, lines)
            target = output / f"{name}.cpp"
            if not target.exists() or target.read_text(encoding="utf-8") != source:
                target.write_text(source, encoding="utf-8")
            names.append(name)
    for stale in output.glob("*.cpp"):
        if stale.stem not in names:
            stale.unlink()
    print("\n".join(names))


if __name__ == "__main__":
    main()
